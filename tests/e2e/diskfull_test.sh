#!/usr/bin/env bash
# Running out of disk space, or a read-only home, in the middle of a change
# leaves the previous documents intact, and the commands end with their own
# status and output: the log, on the same file system, cannot be written
# either, and that changes nothing. The home (conf/ and logs/) is put on a
# small tmpfs, filled up, then made read-only.
source "$(dirname "$0")/lib.sh"

fresh_home
for id in 1 2 3 4 5 6 7 8; do
  "$ZRUPDATE_BIN" -r --id "$id" --name "Product $id" --path "/opt/p$id" --version "$id.0" \
    --desc "a product with a description long enough to fill some bytes" >/dev/null ||
    fail "set-up registration $id"
done
saved="$ZR_SCRATCH/home"
cp -a "$ZRUPDATE_HOME" "$saved"

if ! mount -t tmpfs -o size=256k zr-e2e-full "$ZRUPDATE_HOME" 2>/dev/null; then
  skip "cannot mount a tmpfs here (not root or no permission)"
fi
add_cleanup "umount '$ZRUPDATE_HOME'"
cp -a "$saved/." "$ZRUPDATE_HOME/"
cp "$CONF/zr-inventory" "$ZR_SCRATCH/inventory-before"
cp "$CONF/zr-network" "$ZR_SCRATCH/network-before"

# Fill the file system to the last byte, the slack of the log's last page
# included (a blank line of the right length).
pad=$(( (4096 - $(stat -c %s "$LOG") % 4096) % 4096 ))
[[ $pad == 0 ]] || printf '%*s\n' $((pad - 1)) '' >>"$LOG"
dd if=/dev/zero of="$CONF/filler" bs=4k 2>/dev/null
dd if=/dev/zero of="$CONF/filler2" bs=1 2>/dev/null
[[ "$(df --output=avail "$CONF" | tail -1 | tr -d ' ')" == 0 ]] || fail "file system not full"
cp "$LOG" "$ZR_SCRATCH/log-before"

# full: the disk is full; read-only: the home is mounted read-only.
for state in full read-only; do
  [[ $state == full ]] || mount -o remount,ro "$ZRUPDATE_HOME" || fail "remount read-only"
  expect 253 "" -r --id 9 --name Nine --path /opt/p9 --version 9.0
  assert_eq "ZRUpdate: cannot write $CONF/zr-inventory; see $LOG" "$ERR" "failure named, $state"
  assert_same_file "$ZR_SCRATCH/inventory-before" "$CONF/zr-inventory" "inventory, $state"
  # Replacing an existing product removes it first; that change must not
  # survive alone either.
  expect 253 "" -r --id 3 --name Three --path /opt/3 --version 3.1
  assert_same_file "$ZR_SCRATCH/inventory-before" "$CONF/zr-inventory" "inventory after a failed replacement, $state"
  expect 252 "" -d --id 4 --name x
  assert_same_file "$ZR_SCRATCH/inventory-before" "$CONF/zr-inventory" "inventory after a failed deregistration, $state"
  expect 0 "ZRUpdate: network settings are changed
" -S --server full1 --timeout 12
  # Standard output and status as ever, but the lost change is named.
  assert_eq "ZRUpdate: cannot write $CONF/zr-network; see $LOG" "$ERR" "lost settings named, $state"
  assert_same_file "$ZR_SCRATCH/network-before" "$CONF/zr-network" "network settings, $state"
  expect 0 "3.0.0.0
" -v --id 3
  assert_same_file "$ZR_SCRATCH/log-before" "$LOG" "log, $state"
done
mount -o remount,rw "$ZRUPDATE_HOME" || fail "remount read-write"

# With space again, everything works and nothing is left behind.
rm "$CONF/filler" "$CONF/filler2"
expect 0 "" -r --id 9 --name Nine --path /opt/p9 --version 9.0 --debug
expect 0 "9.0.0.0
" -v --id 9
assert_eq "filler-free" "$( ls -A "$CONF" | grep -vxE 'zr-inventory|zr-network' || echo filler-free)" \
  "no temporary files left in conf/"
[[ $(stat -c %s "$LOG") -gt $(stat -c %s "$ZR_SCRATCH/log-before") ]] || fail "logging did not resume"
echo "diskfull: all passed"
