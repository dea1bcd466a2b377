#!/usr/bin/env bash
# The HTTPS client against real TLS peers on 127.0.0.1 with certificates made
# now: nginx serving files, tinyproxy as a CONNECT tunnel with Basic
# credentials, a TLS peer (clean and cut ends, a stalled record, client
# certificates, the server names asked for) and a silent peer for the
# handshake time-out. An installed home verifies its servers.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"
: "${ZR_TLS_FETCH:?ZR_TLS_FETCH is not set}"

fetch() { FETCHED="$("$ZR_TLS_FETCH" "$@")"; }
S="$ZR_SCRATCH"
C="$S/certs"
mkdir -p "$S/www" "$C"
make_cert "$C" server localhost
make_cert "$C" other elsewhere.test
make_cert "$C" ca "Test CA"
make_cert "$C" good localhost ca
make_cert "$C" wrong elsewhere.test ca
make_cert "$C" addr 127.0.0.1 ca
make_cert "$C" client client-one ca
# The names each peer was asked for, one line per handshake ("-": none).
names() { tr '\n' ' ' <"$1/names"; }
openssl pkey -in "$C/client.key" -aes128 -passout pass:secret -out "$C/locked.key"
printf 0123456789 >"$S/www/digits"

# --- nginx over TLS: Range, verification against the configured certificate ---
start_nginx "$S/www" "$C/server.crt" "$C/server.key"
fetch --ca "$C/server.crt" --host-check 2 --range 4 "https://localhost:$NGINX_PORT/digits"
assert_contains "$FETCHED" $'status=206\nbody=456789\nend=0' "verified range request"

# --- another server: refused by verification and by host check 2 ---
MISMATCH="exception=SSL: certificate subject name 'elsewhere.test' does not match target host name 'localhost'"
start_tls_peer "$C/other.crt" "$C/other.key"
peer="https://localhost:$TLS_PEER_PORT"
fetch --ca "$C/other.crt" "$peer/echo"
assert_eq "$MISMATCH" "$FETCHED" "trusted certificate of another host refused"
fetch --host-check 2 "$peer/echo"
assert_eq "$MISMATCH" "$FETCHED" "host name mismatch with host check 2"
fetch --host-check 1 --log "$S/clean.log" "$peer/echo"
assert_contains "$FETCHED" $'status=200\nbody=GET '"$peer"$'/echo HTTP/1.0\r\n' "mismatch accepted with host check 1"
assert_contains "$FETCHED" $'\nend=0' "clean end of stream"
assert_contains "$(cat "$S/clean.log")" "SSL: read failed: the connection was shut down by peer cleanly" "clean end logged"
fetch --log "$S/cut.log" "$peer/cut"
assert_contains "$FETCHED" $'body=cut\nend=0' "cut connection ends the stream"
assert_not_contains "$(cat "$S/cut.log")" "cleanly" "cut end not taken for a clean one"

# --- verification against a CA: chain, host name, server name sent ---
start_tls_peer "$C/server.crt" "$C/server.key"
fetch --ca "$C/ca.crt" "https://localhost:$TLS_PEER_PORT/echo"
assert_eq "exception=SSL: certificate verify failed: 18" "$FETCHED" "self-signed certificate refused"
start_tls_peer "$C/good.crt" "$C/good.key"
good_port=$TLS_PEER_PORT good_dir=$TLS_PEER_DIR
fetch --ca "$C/ca.crt" "https://localhost:$good_port/echo"
assert_contains "$FETCHED" $'status=200\nbody=GET ' "certificate issued for the host accepted"
assert_eq "localhost " "$(names "$good_dir")" "host name sent as the server name"
start_tls_peer "$C/wrong.crt" "$C/wrong.key"
wrong_port=$TLS_PEER_PORT
fetch --ca "$C/ca.crt" "https://localhost:$wrong_port/echo"
assert_eq "$MISMATCH" "$FETCHED" "certificate issued for another host refused"
start_tls_peer "$C/addr.crt" "$C/addr.key"
addr_port=$TLS_PEER_PORT addr_dir=$TLS_PEER_DIR
fetch --ca "$C/ca.crt" "https://127.0.0.1:$addr_port/echo"
assert_contains "$FETCHED" $'status=200\nbody=GET ' "certificate naming the address accepted"
fetch --ca "$C/ca.crt" "https://localhost:$addr_port/echo"
assert_eq "exception=SSL: certificate subject name '127.0.0.1' does not match target host name 'localhost'" \
  "$FETCHED" "an address does not name a host"
assert_eq "- localhost " "$(names "$addr_dir")" "no server name for an address"

# --- CONNECT tunnel through tinyproxy: credentials only in the CONNECT text ---
start_tinyproxy tester s3cret
fetch --proxy "127.0.0.1:$TINYPROXY_PORT" --proxy-auth tester:s3cret "$peer/echo"
assert_contains "$FETCHED" $'status=200\nbody=GET '"$peer"$'/echo HTTP/1.0\r\n' "request through the tunnel"
assert_contains "$FETCHED" $'Proxy-Connection: Keep-Alive\r\n' "tunnelled request keeps Proxy-Connection"
assert_not_contains "$FETCHED" "Proxy-authorization" "credentials not inside the tunnel"
fetch --proxy "127.0.0.1:$TINYPROXY_PORT" --proxy-auth 'tester:wrong' "$peer/echo"
assert_eq "exception=EC_PROXY_FAILED: http tunnel failed" "$FETCHED" "tunnel refused"
# Through the tunnel the socket's peer is the proxy: the URL's host is checked
# and sent, not the proxy's name.
fetch --ca "$C/ca.crt" --proxy "127.0.0.1:$TINYPROXY_PORT" --proxy-auth tester:s3cret "https://localhost:$good_port/echo"
assert_contains "$FETCHED" $'status=200\nbody=GET ' "verified server through the tunnel"
assert_eq "localhost localhost " "$(names "$good_dir")" "server name sent through the tunnel"
fetch --ca "$C/ca.crt" --proxy "localhost:$TINYPROXY_PORT" --proxy-auth tester:s3cret "https://127.0.0.1:$addr_port/echo"
assert_contains "$FETCHED" $'status=200\nbody=GET ' "verified address through a proxy reached by name"
assert_eq "- localhost - " "$(names "$addr_dir")" "no server name through the tunnel for an address"
fetch --ca "$C/ca.crt" --proxy "127.0.0.1:$TINYPROXY_PORT" --proxy-auth tester:s3cret "https://localhost:$wrong_port/echo"
assert_eq "$MISMATCH" "$FETCHED" "certificate of another host refused through the tunnel"

# --- an installed home verifies its servers against the system's CA bundle ---
: "${ZR_INIT:?ZR_INIT is not set}" "${ZR_CA_BUNDLE:?ZR_CA_BUNDLE is not set}"
[[ "$ZR_CA_BUNDLE" == "$ZRUPDATE_SCRATCH"/* ]] || fail "CA bundle $ZR_CA_BUNDLE is not in the scratch folder"
network="$CONF/zr-network"
verify_param() { xmllint --xpath 'concat(//ServerVerify/Param/@name, "=", //ServerVerify/Param/@value)' "$network"; }
rm -rf "$ZRUPDATE_HOME" "$ZR_CA_BUNDLE"
"$ZR_INIT" >/dev/null || fail "zrupdate-init without a CA bundle"
assert_eq 0 "$(xmllint --xpath 'count(//ServerVerify)' "$network")" "no bundle, no certificate setting"
cp "$C/ca.crt" "$ZR_CA_BUNDLE"
add_cleanup "rm -f '$ZR_CA_BUNDLE'"
rm -rf "$ZRUPDATE_HOME"
"$ZR_INIT" >/dev/null || fail "zrupdate-init"
assert_eq "ssl.server.cert=$ZR_CA_BUNDLE" "$(verify_param)" "new home names the CA bundle"
expect 0 "ZRUpdate: network settings are changed
" -S --server "localhost:$good_port" --timeout 5
zr -S
assert_contains "$OUT" $'timeout:    5\nssl.server.cert: '"$ZR_CA_BUNDLE"$'\n' "certificate shown after a change"
zr -p --debug
assert_eq 0 "$RC" "installed home reaches the server with a certificate for its name"
zr -S --server "localhost:$wrong_port" --timeout 5
zr -p --debug
[[ "$RC" != 0 ]] || fail "installed home accepted a certificate for another host"
assert_contains "$(log_messages)" "${MISMATCH#exception=}" "mismatch logged"
zr -S --default
assert_eq "ssl.server.cert=$ZR_CA_BUNDLE" "$(verify_param)" "default settings keep the certificate"
zr -S
assert_contains "$OUT" "ssl.server.cert: $ZR_CA_BUNDLE" "certificate shown after -S --default"
cp "$network" "$ZR_SCRATCH/network"
"$ZR_INIT" >/dev/null || fail "zrupdate-init over an existing home"
assert_same_file "$ZR_SCRATCH/network" "$network" "existing network settings kept"

# --- client certificates ---
start_tls_peer "$C/server.crt" "$C/server.key" "$C/ca.crt"
peer="https://localhost:$TLS_PEER_PORT"
fetch --cert "$C/client.crt" --key "$C/locked.key" --key-password secret "$peer/"
assert_contains "$FETCHED" "body=client=client-one" "client certificate with an encrypted key"
fetch --cert "$C/client.crt" --key "$C/other.key" "$peer/"
assert_eq "exception=SSL: load client certificate failed" "$FETCHED" "key of another certificate"
fetch "$peer/"
# The refusal comes while the request is written or read, as it happens.
assert_not_contains "$FETCHED" "status=200" "no client certificate"

# --- time-outs end the program: a record that stalls, a silent handshake ---
# Milliseconds since the epoch.
now_ms() { date +%s%3N; }
# timed_out WHAT LOG ELAPSED_MS: status 247, the log line, within 2 s + 1 s.
timed_out() {
  assert_eq 247 "$RC" "$1: exit status"
  assert_contains "$(cut -f2- "$2")" $'info\tsocket connect or read or write timeout!!!' "$1: log line"
  ((ELAPSED >= 1900 && ELAPSED <= 3000)) || fail "$1: ended after $ELAPSED ms"
}
ulimit -n 2048 || fail "cannot raise the descriptor limit"
mkdir -p "$ZRUPDATE_WORK_DIR/pkg" "$S/outside"
add_cleanup "rm -rf '$ZRUPDATE_WORK_DIR'"
echo partial >"$ZRUPDATE_WORK_DIR/pkg/file.zip"
echo keep >"$S/outside/file"
ln -s "$S/outside" "$ZRUPDATE_WORK_DIR/pkg/link"
start_tls_peer "$C/server.crt" "$C/server.key"
t0=$(now_ms)
"$ZR_TLS_FETCH" --fds 1100 --timeout 2000 --log "$S/stall.log" "https://localhost:$TLS_PEER_PORT/stall" >"$S/out"
RC=$?
ELAPSED=$(($(now_ms) - t0))
timed_out "stalled record" "$S/stall.log"
fd="$(sed -n 's/^fd=//p' "$S/out")"
((fd >= 1100)) || fail "connection descriptor $fd not above the 1,100 held open"
assert_missing "$ZRUPDATE_WORK_DIR"
assert_eq keep "$(cat "$S/outside/file")" "link in the work directory not followed"

start_recorder silence silence
fetch --timeout 2000 "https://127.0.0.1:$RECORDER_PORT/"
assert_eq "exception=EC_CONNECT_TIMEOUT: SSL: connection timeout" "$FETCHED" "silent handshake without the program's handler"
t0=$(now_ms)
"$ZR_TLS_FETCH" --timeout 2000 --log "$S/silent.log" "https://127.0.0.1:$RECORDER_PORT/" >/dev/null
RC=$?
ELAPSED=$(($(now_ms) - t0))
timed_out "silent handshake" "$S/silent.log"
echo "tls: all passed"
