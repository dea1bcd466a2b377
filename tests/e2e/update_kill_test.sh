#!/usr/bin/env bash
# A package download killed at any point finishes on the next run with the
# right file, and "conf/zr-partial-files" is a whole document at every kill
# point. The client is killed just before file-changing system calls (its
# own and those of the programs it starts), both while a cut download is
# being kept and while a kept part is being resumed.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"

command -v strace >/dev/null || { echo "SKIP: strace is not installed"; exit 0; }
: "${ZR_CLIENT_DRIVER:?ZR_CLIENT_DRIVER is not set}"
WORK="${ZRUPDATE_WORK_DIR:?ZRUPDATE_WORK_DIR is not set}"

CALLS=(openat write fsync rename renameat2 unlink unlinkat ftruncate)
POINTS_PER_CALL=${ZR_KILL_POINTS:-3}
PK="$ZR_SCRATCH/packages"
CUT=40000
python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$PK" --id 7 --version 2.5.0.0 --bytes 120000 >/dev/null
P7="$PK/p7-2.5.0.0.zip"
P7_LOCAL="$WORK/7/2_5_0_0/p7-2.5.0.0.zip"
START="$ZR_SCRATCH/start"

start_update_server X "$PK"
fresh_home
write_inventory "$CONF/zr-inventory" "$UPDATER_XML" "$(product_xml 7 Seven /opt/seven 2 0 0 0)"
write_network "$CONF/zr-network" 'type="http" mac="" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="10"' \
  "127.0.0.1:$UPDATE_PORT_X"
printf '1;\n' >"$ZRUPDATE_HOME/bin/update_status.pl"
"$ZR_CLIENT_DRIVER" update 0 0 >/dev/null  # creates the default documents
rm -rf "$WORK"

save_state() { rm -rf "$START" && mkdir -p "$START" && cp -a "$ZRUPDATE_HOME" "$START/home"; }
restore() {
  rm -rf "$ZRUPDATE_HOME" "$WORK"
  cp -a "$START/home" "$ZRUPDATE_HOME"
}

partial_files_whole() {
  python3 - "$CONF/zr-partial-files" <<'PY' || return 1
import sys, xml.etree.ElementTree as ET
root = ET.parse(sys.argv[1]).getroot()
assert root.tag == "PartialFiles", root.tag
PY
}

# run_case WHAT SERVER_OPTIONS...: the run killed is one against a server
# behaving as the options say, from the saved start state.
run_case() {
  local what="$1"
  shift
  update_server_options X "$@"
  restore
  ASAN_OPTIONS="$TRACED_ASAN" strace -f -qq -o "$ZR_SCRATCH/trace" -e trace="$(IFS=,; echo "${CALLS[*]}")" \
    "$ZR_CLIENT_DRIVER" update 0 0 >/dev/null 2>&1 || fail "traced run ($what)"
  local call count n step kills=0 killed=0
  for call in "${CALLS[@]}"; do
    count=$(grep -cE "^[0-9]+ +$call\(" "$ZR_SCRATCH/trace" || true)
    ((count > 0)) || continue
    step=$(((count + POINTS_PER_CALL - 1) / POINTS_PER_CALL))
    for ((n = 1; n <= count; n += step)); do
      update_server_options X "$@"
      restore
      local rc
      rc=$({
        ASAN_OPTIONS="$TRACED_ASAN" strace -f -qq -o /dev/null -e trace="$call" \
          -e inject="$call":signal=SIGKILL:when="$n" "$ZR_CLIENT_DRIVER" update 0 0 >/dev/null 2>&1
        echo $?
      } 2>/dev/null)
      ((rc == 128 + 9)) && killed=$((killed + 1))
      partial_files_whole || fail "$what: conf/zr-partial-files broken after a kill at $call #$n"
      # The next run against a well-behaved server completes the package.
      update_server_options X
      local out
      out=$("$ZR_CLIENT_DRIVER" update 0 0 2>&1)
      assert_contains "$out" "result 1 " "$what: run after a kill at $call #$n"
      assert_same_file "$P7" "$P7_LOCAL" "$what: package after a kill at $call #$n"
      partial_files_whole || fail "$what: conf/zr-partial-files broken after the run following $call #$n"
      kills=$((kills + 1))
    done
  done
  ((kills >= 8)) || fail "$what: only $kills kill points reached"
  ((killed * 2 >= kills)) || fail "$what: only $killed of $kills runs were killed"
  echo "$what: $kills kill points, $killed killed"
}

# A cut download being kept for later.
save_state
run_case "keeping a cut download" --cut-after $CUT

# A kept part being resumed.
update_server_options X --cut-after $CUT
"$ZR_CLIENT_DRIVER" update 0 0 >/dev/null
grep -q "actualSize=\"$CUT\"" "$CONF/zr-partial-files" || fail "no part kept to resume"
rm -rf "$WORK"
save_state
run_case "resuming a kept part"
echo "update kill: all passed"
