#!/usr/bin/env bash
# Every wait of -u has an end as a whole: a first server that sends header
# lines without end, never reads a large request, or trickles its head or its
# answer one byte a second is given up within the time-out, and the next
# server in the list answers. A package download goes on while it keeps a
# minimum rate and is given up when it falls below.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"

WORK="${ZRUPDATE_WORK_DIR:?}"
PK="$ZR_SCRATCH/packages"
TIMEOUT=2
NET_HTTP="type=\"http\" mac=\"\" isUsingProxy=\"0\" proxy=\"\" proxyuser=\"\" user=\"\" timeout=\"$TIMEOUT\""

python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$PK" --id 7 --version 2.5.0.0 --bytes 6144 >/dev/null
start_update_server A "$PK"
GOOD="127.0.0.1:$UPDATE_PORT_A"

start_hostile() {  # MODE [UPSTREAM_PORT] -> HOSTILE
  start_python_peer hostile.py "$@" || fail "hostile peer $1 did not start"
  HOSTILE="127.0.0.1:$PEER_PORT"
}

# A home with the updater and product 7 at VERSION reaching HOSTS in turn;
# extra products (XML lines) make the request as large as a test needs.
home() {  # VERSION HOSTS... [-- PRODUCTS...]
  local major="$1" hosts=() products=()
  shift
  while [[ $# -gt 0 && "$1" != "--" ]]; do hosts+=("$1"); shift; done
  [[ $# -gt 0 ]] && shift
  products=("$@")
  fresh_home
  rm -rf "$WORK"
  write_inventory "$CONF/zr-inventory" "$UPDATER_XML" "$(product_xml 7 Seven /opt/seven 2 "$major" 0 0)" \
    "${products[@]+"${products[@]}"}"
  write_network "$CONF/zr-network" "$NET_HTTP" "${hosts[@]}"
  "$ZRUPDATE_BIN" -P >/dev/null
  : >"$ZR_SCRATCH/A.requests"
  mark_log
}

# timed_update STATUS WHAT: -u ends with STATUS within three time-outs.
timed_update() {
  local start=$SECONDS
  zr -u
  local took=$((SECONDS - start))
  assert_eq "$1" "$RC" "$2: exit status"
  ((took <= 3 * TIMEOUT)) || fail "$2: took ${took}s, more than three time-outs"
}

# passed_over WHAT TEXT: the hostile first server failed with TEXT in the
# log, and the good one then answered that product 7 is up to date.
passed_over() {
  timed_update 0 "$1"
  assert_contains "$(new_log_text)" "$2" "$1: failure logged"
  assert_eq 1 "$(grep -c '"path": "/zr-update"' "$ZR_SCRATCH/A.requests")" "$1: the next server asked"
}

# --- a head without end is a failed answer ---
start_hostile endless-head
home 5 "$HOSTILE" "$GOOD"
passed_over "endless head" "ZRUpdate: http response: -1"

# --- a server that never reads a large request (8 MB) ---
filler="$(head -c 1000000 /dev/zero | tr '\0' n)"
big=()
for id in 11 12 13 14 15 16 17 18; do big+=("$(product_xml "$id" "$filler" /opt/p 1 0 0 0)"); done
start_hostile no-read
home 5 "$HOSTILE" "$GOOD" -- "${big[@]}"
passed_over "request never read" "EC_WRITE_TIMEOUT"
# ... or reads it so slowly that each wait ends in time, but not the whole.
start_hostile slow-read
home 5 "$HOSTILE" "$GOOD" -- "${big[@]}"
passed_over "request read slowly" "EC_WRITE_TIMEOUT"

# --- a head, then an update answer, one byte a second ---
for mode in trickle-head trickle-body; do
  start_hostile "$mode"
  home 5 "$HOSTILE" "$GOOD"
  passed_over "$mode" "EC_READ_TIMEOUT"
done

# --- over TLS a time-out ends the run, the work directory cleared ---
servers_scratch
make_cert "$PEER_DIR" peer localhost
start_hostile tls-trickle-head "$PEER_DIR/peer.crt" "$PEER_DIR/peer.key"
home 5 "$HOSTILE" "$GOOD"
sed -i 's/type="http"/type="https"/' "$CONF/zr-network"
timed_update 247 "trickled TLS head"
assert_eq "info	socket connect or read or write timeout!!!" "$(new_log_text | grep -v '^debug' | tail -n 1)" \
  "trickled TLS head: time-out logged"

# --- a CONNECT proxy that trickles its answer is given up as well ---
start_hostile trickle-head
home 5 "$GOOD"
via_proxy="type=\"https\" mac=\"\" isUsingProxy=\"1\" proxy=\"$HOSTILE\" proxyuser=\"\" user=\"\""
write_network "$CONF/zr-network" "$via_proxy timeout=\"$TIMEOUT\"" "$GOOD"
timed_update 251 "trickled proxy answer"
assert_contains "$(new_log_text)" "EC_READ_TIMEOUT" "trickled proxy answer: failure logged"

# --- downloads: below the minimum rate given up, above it completed ---
start_hostile trickle-download "$UPDATE_PORT_A"
home 0 "$HOSTILE"
timed_update 251 "trickled download"
assert_contains "$(new_log_text)" "EC_ZRUPDATE_READ_TIMEOUT" "trickled download: failure logged"
assert_eq "2.0.0.0" "$("$ZRUPDATE_BIN" -v --id 7)" "trickled download: version kept"

start_hostile slow-download "$UPDATE_PORT_A"
home 0 "$HOSTILE"
start=$SECONDS
zr -u
assert_eq 2 "$RC" "slow download: exit status"
((SECONDS - start > TIMEOUT)) || fail "slow download: not slower than one time-out, so it proves nothing"
assert_eq "2.5.0.0" "$("$ZRUPDATE_BIN" -v --id 7)" "slow download: installed"
echo "waits: all passed"
