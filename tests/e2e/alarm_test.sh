#!/usr/bin/env bash
# SIGALRM, the last guard of network time-outs, ends the process with status
# 247 after logging it. A signal handler may do only async-signal-safe work,
# so the work directory is left as it is (a timed-out TLS operation clears
# it from ordinary code; see tls_test.sh).
source "$(dirname "$0")/lib.sh"

command -v strace >/dev/null || skip "strace is not installed"
: "${ZRUPDATE_WORK_DIR:?ZRUPDATE_WORK_DIR is not set}"
case "$ZRUPDATE_WORK_DIR" in
  /tmp/zrupdate|/) fail "refusing to clear the shared work directory $ZRUPDATE_WORK_DIR" ;;
esac

# alarm_at CALL ARGS...: delivers SIGALRM at the first CALL of the run.
alarm_at() {
  local call="$1"
  shift
  ASAN_OPTIONS="$TRACED_ASAN" strace -f -qq -o /dev/null -e trace="$call" \
    -e inject="$call":signal=SIGALRM:when=1 "$ZRUPDATE_BIN" "$@" >"$ZR_SCRATCH/stdout" 2>&1
  RC=$?
}

fresh_home
mkdir -p "$ZRUPDATE_WORK_DIR/pkg/sub"
echo partial >"$ZRUPDATE_WORK_DIR/pkg/sub/file.zip"
add_cleanup "rm -rf '$ZRUPDATE_WORK_DIR'"
cp "$CONF/zr-inventory" "$ZR_SCRATCH/before"
mark_log
# At the rename that puts the new inventory in place.
alarm_at rename,renameat,renameat2 -r --id 5 --name Five --path /opt/5 --version 5.0
assert_eq 247 "$RC" "exit status after the alarm"
assert_eq "info	socket connect or read or write timeout!!!" "$(new_log_text)" "alarm logged"
assert_eq "$(date '+%Y-%m-%d %H')" "$(tail -n 1 "$LOG" | cut -c1-13)" "local date and hour of the alarm line"
assert_eq partial "$(cat "$ZRUPDATE_WORK_DIR/pkg/sub/file.zip")" "work directory untouched by the handler"
# The signal arrives as the rename is made: the inventory is whole either way.
if ! cmp -s "$ZR_SCRATCH/before" "$CONF/zr-inventory"; then
  expect 0 "5.0.0.0
" -v --id 5
fi
expect 0 "1.0.0.0
" -v

# Without a work directory there is nothing to clear and nothing to report.
mark_log
alarm_at rename,renameat,renameat2 -S --timeout 10
assert_eq 247 "$RC" "exit status after the alarm without a work directory"
assert_eq "info	socket connect or read or write timeout!!!" "$(new_log_text)" "only the alarm logged"
echo "alarm: all passed"
