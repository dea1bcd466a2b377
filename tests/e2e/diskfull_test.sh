#!/usr/bin/env bash
# Running out of disk space in the middle of a change leaves the previous
# documents intact: the home's conf/ is put on a small tmpfs and filled up.
source "$(dirname "$0")/lib.sh"

fresh_home
for id in 1 2 3 4 5 6 7 8; do
  "$ZRUPDATE_BIN" -r --id "$id" --name "Product $id" --path "/opt/p$id" --version "$id.0" \
    --desc "a product with a description long enough to fill some bytes" >/dev/null ||
    fail "set-up registration $id"
done
saved="$ZR_SCRATCH/conf"
cp -a "$CONF" "$saved"

if ! mount -t tmpfs -o size=256k zr-e2e-full "$CONF" 2>/dev/null; then
  skip "cannot mount a tmpfs here (not root or no permission)"
fi
add_cleanup "umount '$CONF'"
cp -a "$saved/." "$CONF/"
cp "$CONF/zr-inventory" "$ZR_SCRATCH/inventory-before"
cp "$CONF/zr-network" "$ZR_SCRATCH/network-before"

# Fill the file system to the last byte.
dd if=/dev/zero of="$CONF/filler" bs=4k 2>/dev/null
dd if=/dev/zero of="$CONF/filler2" bs=1 2>/dev/null
[[ "$(df --output=avail "$CONF" | tail -1 | tr -d ' ')" == 0 ]] || fail "file system not full"

expect 253 "" -r --id 9 --name Nine --path /opt/p9 --version 9.0
assert_same_file "$ZR_SCRATCH/inventory-before" "$CONF/zr-inventory" "inventory after a full disk"
# Replacing an existing product removes it first; that change must not
# survive alone either.
zr -r --id 3 --name Three --path /opt/3 --version 3.1
[[ "$RC" != 0 ]] || fail "registration on a full disk reported success"
assert_same_file "$ZR_SCRATCH/inventory-before" "$CONF/zr-inventory" "inventory after a failed replacement"
expect 252 "" -d --id 4 --name x
assert_same_file "$ZR_SCRATCH/inventory-before" "$CONF/zr-inventory" "inventory after a failed deregistration"
expect 0 "ZRUpdate: network settings are changed
" -S --server full1 --timeout 12
assert_same_file "$ZR_SCRATCH/network-before" "$CONF/zr-network" "network settings after a full disk"
expect 0 "3.0.0.0
" -v --id 3
log_messages | grep -q "store network settings failed: " || fail "failed network save not logged"

# With space again, everything works and nothing is left behind.
rm "$CONF/filler" "$CONF/filler2"
expect 0 "" -r --id 9 --name Nine --path /opt/p9 --version 9.0
expect 0 "9.0.0.0
" -v --id 9
assert_eq "filler-free" "$( ls -A "$CONF" | grep -vxE 'zr-inventory|zr-network' || echo filler-free)" \
  "no temporary files left in conf/"
echo "diskfull: all passed"
