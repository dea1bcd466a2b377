#!/usr/bin/env bash
# A kill at any moment of a change leaves the state file whole: ZRUpdate is
# killed just before each file-changing system call of a registration, a
# deregistration and a network change, for every occurrence the run reaches
# (bounded), and each time the file must be the previous or the new document
# byte for byte, and the next commands must work.
source "$(dirname "$0")/lib.sh"

command -v strace >/dev/null || skip "strace is not installed"

CALLS=(open openat creat write pwrite64 ftruncate fsync fdatasync rename renameat renameat2)
MAX_PER_CALL=${ZR_KILL_MAX:-80}
START="$ZR_SCRATCH/start"

# Each case: the file it changes and the command line that changes it.
# When the kill came after the change was made, running the command again
# ends with `done_status` (a second deregistration finds nothing to remove).
run_case() {
  local file="$1" done_status="$2"
  shift 2
  local args=("$@")

  # Start state, previous and new documents from an undisturbed run.
  fresh_home
  "$ZRUPDATE_BIN" -r --id 5 --name Five --path /opt/5 --version 5.0 >/dev/null ||
    fail "set-up registration"
  rm -rf "$START" && cp -a "$CONF" "$START"
  cp "$CONF/$file" "$ZR_SCRATCH/previous"
  zr "${args[@]}"
  assert_eq 0 "$RC" "undisturbed run of ${args[*]}"
  cp "$CONF/$file" "$ZR_SCRATCH/new"
  cmp -s "$ZR_SCRATCH/previous" "$ZR_SCRATCH/new" && fail "${args[*]} changes nothing"

  # How often the run makes each call.
  restore
  ASAN_OPTIONS="$TRACED_ASAN" strace -f -qq -o "$ZR_SCRATCH/trace" \
    -e trace="$(IFS=,; echo "${CALLS[*]}")" "$ZRUPDATE_BIN" "${args[@]}" >/dev/null 2>&1 ||
    fail "traced run of ${args[*]}"
  local call count n kills=0 killed=0 before=0 after=0
  for call in "${CALLS[@]}"; do
    count=$(grep -cE "^[0-9]+ +$call\(" "$ZR_SCRATCH/trace" || true)
    ((count > MAX_PER_CALL)) && count=$MAX_PER_CALL
    for ((n = 1; n <= count; n++)); do
      restore
      # In a subshell whose standard error is dropped, so that the shell's
      # "Killed" notice stays quiet.
      local rc
      rc=$({
        ASAN_OPTIONS="$TRACED_ASAN" strace -f -qq -o /dev/null -e trace="$call" -e inject="$call":signal=SIGKILL:when="$n" \
          "$ZRUPDATE_BIN" "${args[@]}" >/dev/null 2>&1
        echo $?
      } 2>/dev/null)
      ((rc == 128 + 9)) && killed=$((killed + 1))
      local expected_rerun=0
      if cmp -s "$CONF/$file" "$ZR_SCRATCH/previous"; then
        before=$((before + 1))
      elif cmp -s "$CONF/$file" "$ZR_SCRATCH/new"; then
        expected_rerun=$done_status
        after=$((after + 1))
      else
        diff "$ZR_SCRATCH/previous" "$CONF/$file" >&2
        fail "killed at $call #$n (status $rc) of ${args[*]}: $file is neither document"
      fi
      # The next commands work: the status, then the change itself.
      zr -s
      assert_eq 0 "$RC" "status after a kill at $call #$n"
      zr "${args[@]}"
      assert_eq "$expected_rerun" "$RC" "${args[*]} after a kill at $call #$n"
      assert_same_file "$ZR_SCRATCH/new" "$CONF/$file" "${args[*]} completes after a kill at $call #$n"
      kills=$((kills + 1))
    done
  done
  ((kills >= 5)) || fail "only $kills kill points reached for ${args[*]}"
  # The kills must really happen, both before and after the change is made.
  ((killed * 2 >= kills)) || fail "only $killed of $kills runs were killed"
  ((before > 0 && after > 0)) || fail "kills left $before old and $after new documents"
  echo "${args[*]}: $kills kill points, $killed killed, $before old and $after new documents"
}

restore() {
  rm -rf "$CONF"
  cp -a "$START" "$CONF"
}

run_case zr-inventory 0 -r --id 42 --name Scan --path /opt/scan --version 2.5 --desc "Scan engine"
run_case zr-inventory 252 -d --id 5 --name Five
run_case zr-network 0 -S --server h1,h2 --timeout 30 --mac 00:11:22:33:44:55
echo "kill: all passed"
