#!/usr/bin/env bash
# The two scripts of the home: update_status.pl writes the record the status
# command shows, whole; write_lock.pl gives the run lock to one live process.
source "$(dirname "$0")/lib.sh"

fresh_home
write_inventory "$CONF/zr-inventory" "$UPDATER_XML" "$(product_xml 7 Seven /opt/p7 1 0 0 0)"
status() { perl "$ZRUPDATE_HOME/bin/update_status.pl" --action update "$@"; }
record="$CONF/zr-lastupdate"
attr() { xmllint --xpath "string(//*[@ProductID='$1']/@$2)" "$record"; }

# id 0 reports for every registered product; the status command shows it.
status --id 0 --status request || fail "request report"
assert_eq "request" "$(attr 1000 LastUpdateStatus)" "request for all products reaches 1000"
assert_eq "request" "$(attr 7 LastUpdateStatus)" "request for all products reaches 7"
status --id 7 --status download --downloaded_size 512 --total_size 1024 || fail "download report"
status --id 7 --status install || fail "install report"
zr -s --id 7
assert_contains "$OUT" "LastUpdateStatus: install
UpdateMessage: Updates downloaded, installing
" "status command shows the report"
[[ "$OUT" =~ LastSuccessUpdate:\ [0-9]{4}-[0-9]{2}-[0-9]{2}\ [0-9:]{8} ]] || fail "no success time in: $OUT"
assert_eq "request" "$(attr 1000 LastUpdateStatus)" "a report for 7 leaves 1000 alone"

# Reports running at once each land, and no temporary file is left behind.
for id in $(seq 100 119); do status --id "$id" --status request & done
wait
assert_eq 22 "$(xmllint --xpath 'count(/UpdateInfo/*)' "$record")" "every concurrent report kept"
assert_eq "" "$(ls "$CONF" | grep -v -x -e zr-inventory -e zr-network -e zr-lastupdate)" "files left in conf/"

# A record that cannot be replaced keeps its old content.
chattr +i "$CONF" 2>/dev/null && add_cleanup "chattr -i '$CONF'" && {
  status --id 7 --status request 2>/dev/null && fail "report into a read-only folder succeeded"
  assert_eq "install" "$(attr 7 LastUpdateStatus)" "record kept after a failed write"
  chattr -i "$CONF"
}

# A record spelt any way XML allows is kept through a report about another
# product: quotes of either kind, character references, tabs and line breaks
# in values; a record inside a comment is no record.
cat >"$record" <<'EOF'
<?xml version="1.0" encoding="UTF-8"?>
<!-- <Product ProductID="7" LastUpdateStatus="ghost"/> -->
<UpdateInfo>
<Product productid='1000' LastUpdate='2026-01-02 03:04:05' LastUpdateStatus="install"
  UpdateMessage='Caf&#233; &amp; &lt;co&gt; &quot;x&quot;&#9;tab&#10;line&#13;end'/>
</UpdateInfo>
EOF
status --id 7 --status request || fail "report beside a record in single quotes"
xmllint --noout "$record" || fail "record no longer XML"
assert_eq "1" "$(xmllint --xpath 'count(/UpdateInfo/*[@ProductID=7])' "$record")" "commented record"
message=$'Caf\u00e9 & <co> "x"\ttab\nline\rend'
assert_eq "$message" "$(xmllint --xpath 'string(//*[@ProductID=1000]/@UpdateMessage)' "$record")" \
  "message after a round trip"
zr -s
assert_contains "$OUT" "LastUpdate: 2026-01-02 03:04:05" "status of the record in single quotes"
assert_contains "$OUT" "UpdateMessage: $message" "message shown by the status command"
assert_contains "$OUT" "LastUpdateStatus: request" "status of the new report"

# The run lock.
lock() { perl "$ZRUPDATE_HOME/bin/write_lock.pl" "$@"; }
sleep 60 & holder=$!
add_cleanup "kill $holder 2>/dev/null"
lock --action TRYLOCK --pid "$holder" || fail "free lock not taken"
lock --action TRYLOCK --pid "$holder" || fail "holder cannot take its own lock again"
lock --action TRYLOCK --pid $$ && fail "lock held by a live process taken"
lock --action UNLOCK --pid $$ && fail "lock of another process released"
start=$SECONDS
lock --action LOCK --pid $$ --timeout 1 && fail "LOCK obtained from a live holder"
(( SECONDS - start >= 1 )) || fail "LOCK gave up before its time-out"
# LOCK waits for the holder to go away, then has it.
(sleep 1; kill "$holder") &
lock --action LOCK --pid $$ --timeout 20 || fail "LOCK not obtained after the holder ended"
wait "$holder" 2>/dev/null
lock --action UNLOCK --pid $$ || fail "UNLOCK by the holder"
lock --action FOO --pid $$ 2>/dev/null; assert_eq 2 "$?" "unknown action"

# A dead holder leaves the lock free.
sleep 0 & dead=$!; wait "$dead"
lock --action TRYLOCK --pid "$dead" || fail "lock for a short-lived pid"
lock --action TRYLOCK --pid $$ || fail "lock of a process that no longer exists is not free"
lock --action UNLOCK --pid $$ || fail "unlock"
# A live process id that now names another process (its start time is not
# the one recorded) does not hold the lock.
sleep 60 & reused=$!
add_cleanup "kill $reused 2>/dev/null"
lock --action TRYLOCK --pid "$reused" || fail "lock for a live process"
read -r pid start <"$ZRUPDATE_HOME/tmp/zr-run-lock"
[[ $pid == "$reused" && -n $start ]] || fail "lock state: $pid $start"
echo "$pid $((start - 1))" >"$ZRUPDATE_HOME/tmp/zr-run-lock"
lock --action TRYLOCK --pid $$ || fail "lock of a reused process id is not free"
lock --action UNLOCK --pid $$ || fail "unlock"
# Nor does a holder that has ended but was not yet reaped by its parent.
perl -e '$| = 1; my $p = fork() // die; exit 0 unless $p; print "$p\n"; sleep 60' >"$ZR_SCRATCH/zombie" &
add_cleanup "kill $! 2>/dev/null"
for _ in $(seq 50); do [[ -s "$ZR_SCRATCH/zombie" ]] && break; sleep 0.1; done
zombie="$(cat "$ZR_SCRATCH/zombie")"
for _ in $(seq 50); do [[ "$(cut -d' ' -f3 "/proc/$zombie/stat")" == Z ]] && break; sleep 0.1; done
lock --action TRYLOCK --pid "$zombie" || fail "lock for the zombie's pid"
lock --action TRYLOCK --pid $$ || fail "lock of a zombie is not free"
lock --action UNLOCK --pid $$ || fail "unlock"

echo "scripts: all passed"
