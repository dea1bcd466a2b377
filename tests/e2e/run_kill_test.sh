#!/usr/bin/env bash
# Updates that run at the same time or are killed: the run lock lets one
# install at a time, a killed update never blocks the next, and the
# inventory and the delay list are whole documents, unchanged by a run that
# did not finish.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"

WORK="${ZRUPDATE_WORK_DIR:?}"
PK="$ZR_SCRATCH/packages"
NET_HTTP='type="http" mac="" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="10"'
MARK="$ZR_SCRATCH/mark"
TRACE="$ZR_SCRATCH/installs"

# The install script: records when it runs; the first run started after
# `hold` waits until it is killed.
cat >"$ZR_SCRATCH/script" <<SH
#!/bin/sh
echo "start" >>"$TRACE"
if [ -e "$ZR_SCRATCH/hold" ] && [ ! -e "$MARK" ]; then echo \$\$ >"$MARK"; sleep 60; fi
sleep 1
echo "end" >>"$TRACE"
SH
python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$PK" --id 7 --version 2.5.0.0 \
  --script "$ZR_SCRATCH/script" --bytes 200000 >/dev/null
start_update_server A "$PK"

home() {
  fresh_home
  rm -rf "$WORK" "$MARK" "$TRACE" "$ZR_SCRATCH/hold"
  write_inventory "$CONF/zr-inventory" "$UPDATER_XML" "$(product_xml 7 Seven /opt/seven 2 0 0 0)"
  write_network "$CONF/zr-network" "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_A"
  "$ZRUPDATE_BIN" -P >/dev/null  # makes the delay list
  cp "$CONF/zr-inventory" "$ZR_SCRATCH/inventory.before"
  cp "$CONF/zr-delay-packages" "$ZR_SCRATCH/list.before"
}
whole_and_unchanged() {  # WHAT
  xmllint --noout "$CONF/zr-inventory" "$CONF/zr-delay-packages" || fail "$1: broken document"
  assert_same_file "$ZR_SCRATCH/inventory.before" "$CONF/zr-inventory" "$1: inventory"
  assert_same_file "$ZR_SCRATCH/list.before" "$CONF/zr-delay-packages" "$1: delay list"
}
wait_for() {  # FILE: at most 60 s
  local i
  for ((i = 0; i < 600; i++)); do [[ -s "$1" ]] && return 0; sleep 0.1; done
  fail "$1 never appeared"
}
# kill_update PID: kills the update and what it was waiting for.
kill_update() {
  kill -9 "$1"
  wait "$1" 2>/dev/null
  [[ -s "$MARK" ]] && kill "$(cat "$MARK")" 2>/dev/null
  return 0
}
completes() {  # WHAT: the next update installs
  zr -u
  assert_eq 2 "$RC" "$1: the next update"
  assert_eq "2.5.0.0" "$("$ZRUPDATE_BIN" -v --id 7)" "$1: version"
}

# --- two updates at once: installs never overlap, results as the run says ---
home
"$ZRUPDATE_BIN" -u >/dev/null 2>&1 & first=$!
"$ZRUPDATE_BIN" -u >/dev/null 2>&1 & second=$!
wait "$first"; r1=$?
wait "$second"; r2=$?
for r in $r1 $r2; do
  [[ " 0 2 250 251 " == *" $r "* ]] || fail "concurrent update ended with $r"
done
xmllint --noout "$CONF/zr-inventory" "$CONF/zr-delay-packages" || fail "broken document after concurrent updates"
[[ "$(tr '\n' ' ' <"$TRACE")" =~ ^(start\ end\ )+$ ]] || fail "installs overlapped: $(cat "$TRACE")"
zr -u
[[ " 0 2 " == *" $RC "* ]] || fail "update after the concurrent ones: $RC"
assert_eq "2.5.0.0" "$("$ZRUPDATE_BIN" -v --id 7)" "version after concurrent updates"

# --- killed during the download (held in a progress report) ---
home
printf '#!/usr/bin/perl\nif ("@ARGV" =~ /downloaded_size [1-9]/ && !-e "%s") { open(my $f, ">", "%s"); print $f "$$\\n"; close($f); sleep 60; }\n' \
  "$MARK" "$MARK" >"$ZRUPDATE_HOME/bin/update_status.pl"
"$ZRUPDATE_BIN" -u >/dev/null 2>&1 & pid=$!
wait_for "$MARK"
whole_and_unchanged "during the download"
kill_update "$pid"
whole_and_unchanged "killed during the download"
install_scripts
completes "killed during the download"

# --- killed during the install, holding the run lock ---
home
touch "$ZR_SCRATCH/hold"
"$ZRUPDATE_BIN" -u >/dev/null 2>&1 & pid=$!
wait_for "$MARK"
whole_and_unchanged "during the install"
kill_update "$pid"
whole_and_unchanged "killed during the install"
completes "killed during the install"
echo "update_kill: all passed"
