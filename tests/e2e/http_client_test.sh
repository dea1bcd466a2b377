#!/usr/bin/env bash
# The HTTP client (HttpConnection and the messages) against real peers on
# 127.0.0.1: nginx serving files, tinyproxy with Basic credentials, and a
# recording peer that checks the exact request bytes and answers with broken
# heads, cut connections, a refused tunnel and silence.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"
: "${ZR_HTTP_FETCH:?ZR_HTTP_FETCH is not set}"

fetch() { FETCHED="$("$ZR_HTTP_FETCH" "$@")"; }
# Request N as the recorder stored it, with "|" for every CR.
recorded() { tr '\r' '|' <"$RECORDER_DIR/request.$1"; }

S="$ZR_SCRATCH"
mkdir -p "$S/www"
head -c 200000 /dev/urandom >"$S/www/blob"
truncate -s 5G "$S/www/huge"     # sparse: 5 GiB of zeros
printf 'HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok' >"$S/ok"
printf 'HTTP/1.0 200 Connection established\r\n\r\n' >"$S/established"
printf 'HTTP/1.0 407 Proxy Authentication Required\r\nContent-Length: 0\r\n\r\n' >"$S/refused"
printf 'HTTP/1.0 200\r\n\r\nbody' >"$S/no_reason"
{ printf 'HTTP/1.0 200 OK\r\nX-Long: '; head -c 9000 /dev/zero | tr '\0' a; printf '\r\n\r\n'; } >"$S/long_line"
head -c 3000 /dev/urandom >"$S/upload"

# --- nginx: whole file, Range past 4 GiB, HEAD of a 5 GiB file ---
start_nginx "$S/www"
base="http://127.0.0.1:$NGINX_PORT"
fetch --out "$S/got" "$base/blob"
assert_eq $'sent=1\nstatus=200\nlength=200000\nbytes=200000' "$FETCHED" "plain download"
assert_same_file "$S/www/blob" "$S/got" "downloaded bytes"
fetch --range 5368709000 "$base/huge"
assert_eq $'sent=1\nstatus=206\nlength=120\nbytes=120' "$FETCHED" "range past 4 GiB answered 206"
fetch --method HEAD "$base/huge"
assert_contains "$FETCHED" $'status=200\nlength=5368709120' "5 GiB Content-Length"

# --- recorder: exact request bytes, then the broken answers ---
start_recorder "$S/ok" "$S/ok" "$S/ok" "$S/ok" "tunnel:$S/established" "$S/ok" "$S/refused" \
  "$S/no_reason" "$S/long_line" cut silence
rec="127.0.0.1:$RECORDER_PORT"
DEFAULTS='Accept: */*|
User-Agent: Mozilla/4.0 (compatible; MSIE 5.0; Windows 98)|
Accept-Language: en-us|
Accept-Encoding: gzip, deflate|'

fetch --method POST --header X-ZR-Test:1 --post-data hello "http://$rec/zr-update"
assert_eq $'sent=1\nstatus=200\nlength=2\nbytes=2' "$FETCHED" "post answered"
assert_eq "POST http://$rec/zr-update HTTP/1.0|
$DEFAULTS
X-ZR-Test: 1|
Connection: Keep-Alive|
Content-Length: 5|
Connection: close|
|
hello" "$(recorded 1)" "direct POST of a buffer"

fetch --method POST --no-keep-alive --header Keep-Alive:300 --post-file "$S/upload" "http://$rec/up"
assert_eq "POST http://$rec/up HTTP/1.0|
$DEFAULTS
Keep-Alive: 300|
Content-Length: 3000|
|" "$(head -n 8 "$RECORDER_DIR/request.2" | tr '\r' '|')" "file POST head, no Connection: close"
cmp -s "$S/upload" <(tail -c 3000 "$RECORDER_DIR/request.2") || fail "posted file bytes"

fetch --post-data x --post-file "$S/upload" "http://$rec/both"
assert_eq $'sent=0\nstatus=-1\nlength=-1\nbody=none' "$FETCHED" "data and file together refused"
fetch --proxy "$rec" --proxy-auth u:p "http://target.test:8080/a//b"
assert_eq "GET http://target.test:8080/a/b HTTP/1.0|
$DEFAULTS
Proxy-Connection: Keep-Alive|
Proxy-authorization: Basic dTpw|
Connection: close|
|" "$(recorded 4)" "plain proxy request"

fetch --tunnel --proxy "$rec" --proxy-auth u:p "http://target.test:8080/t"
assert_eq $'tunnel=1\nsent=1\nstatus=200\nlength=2\nbytes=2' "$FETCHED" "tunnel opened"
assert_eq "CONNECT target.test:8080 HTTP/1.0|
User-Agent: Mozilla/4.0|
Proxy-authorization: Basic dTpw|
|" "$(recorded 5)" "CONNECT text"
assert_eq "GET http://target.test:8080/t HTTP/1.0|
$DEFAULTS
Proxy-Connection: Keep-Alive|
Connection: close|
|" "$(recorded 5.tunnel)" "request in the tunnel carries no credentials"

fetch --tunnel --proxy "$rec" "http://target.test/t"
assert_eq $'tunnel=0\nexception=EC_PROXY_FAILED: http tunnel failed' "$FETCHED" "407 to CONNECT"
for expected in "-1 reason phrase missing" "200 header line over the limit" "-1 connection cut"; do
  fetch "http://$rec/x"
  assert_eq $'sent=1\nstatus='"${expected%% *}"$'\nlength=-1\nbody=none' "$FETCHED" "${expected#* }"
done
start=$SECONDS
fetch --timeout 1000 "http://$rec/quiet"
assert_eq "exception=EC_READ_TIMEOUT: reading data from socket timeout" "$FETCHED" "silent peer"
((SECONDS - start <= 3)) || fail "the time-out took $((SECONDS - start)) s"

# --- tinyproxy: plain proxy and CONNECT tunnel with Basic credentials ---
start_tinyproxy zr 's3cret'
proxy="127.0.0.1:$TINYPROXY_PORT"
fetch --out "$S/got" --proxy "$proxy" --proxy-auth zr:s3cret "$base/blob"
assert_contains "$FETCHED" $'status=200\nlength=200000\nbytes=200000' "through the proxy"
assert_same_file "$S/www/blob" "$S/got" "bytes through the proxy"
fetch --proxy "$proxy" --proxy-auth zr:wrong "$base/blob"
assert_not_contains "$FETCHED" "status=200" "wrong proxy password"
fetch --out "$S/got" --tunnel --proxy "$proxy" --proxy-auth zr:s3cret "$base/blob"
assert_contains "$FETCHED" $'tunnel=1\nsent=1\nstatus=200' "through the tunnel"
assert_same_file "$S/www/blob" "$S/got" "bytes through the tunnel"
fetch --tunnel --proxy "$proxy" --proxy-auth zr:wrong "$base/blob"
assert_eq $'tunnel=0\nexception=EC_PROXY_FAILED: http tunnel failed' "$FETCHED" "tunnel with a wrong password"

echo "http client: all checks passed"
