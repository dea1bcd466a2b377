# Test servers of the end-to-end tests. Each listens on 127.0.0.1 on a port
# the kernel picks and is stopped by the cleanup of lib.sh when the test ends.
# Source after lib.sh.

# wait_for_file PATH: the server writes PATH once it listens (at most 10 s).
wait_for_file() {
  local i
  for ((i = 0; i < 100; i++)); do
    [[ -s "$1" ]] && return 0
    sleep 0.1
  done
  fail "server did not start: $1 never appeared"
}

# start_update_server NAME ROOT [OPTIONS...]: starts the reference update
# server on the package folder ROOT; UPDATE_PORT_<NAME> holds its port and
# $ZR_SCRATCH/NAME.requests its request log (one JSON line per request).
start_update_server() {
  local name="$1" root="$2"
  shift 2
  local portfile="$ZR_SCRATCH/$name.port"
  rm -f "$portfile"
  python3 "$ZR_SOURCE_DIR/tools/zr-update-server.py" --root "$root" --port 0 --port-file "$portfile" \
    --request-log "$ZR_SCRATCH/$name.requests" "$@" >/dev/null 2>"$ZR_SCRATCH/$name.stderr" &
  local pid=$!
  add_cleanup "kill $pid 2>/dev/null; wait $pid 2>/dev/null"
  wait_for_file "$portfile"
  printf -v "UPDATE_PORT_$name" '%s' "$(cat "$portfile")"
  printf -v "UPDATE_PID_$name" '%s' "$pid"
}

# stop_update_server NAME: stops one server before the test ends.
stop_update_server() {
  local var="UPDATE_PID_$1"
  kill "${!var}" 2>/dev/null || true
  wait "${!var}" 2>/dev/null || true
}
