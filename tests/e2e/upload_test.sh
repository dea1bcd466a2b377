#!/usr/bin/env bash
# zrupload and the uploader client: the exact requests of the four
# exchanges, the walk over the servers (refused, silent, answering, 404),
# bodies stored up to Content-Length and byte for byte, an empty server list,
# input refused before connecting and an upload through a proxy with
# credentials.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"

: "${ZR_UPLOAD:?ZR_UPLOAD is not set}"
fresh_home
cd "$ZR_SCRATCH"

CR=$'\r'
HTTP_ATTRS='type="http" mac="" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="1"'
# upload ARGS...: runs zrupload; UP_RC its status, UP_ERR its standard error.
upload() {
  "$ZR_UPLOAD" "$@" >"$ZR_SCRATCH/up.out" 2>"$ZR_SCRATCH/up.err"
  UP_RC=$?
  UP_ERR="$(cat "$ZR_SCRATCH/up.err")"
}
printf 'HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n0123456789 and more' >ok10
printf 'HTTP/1.0 404 Not Found\r\nContent-Length: 9\r\n\r\nnot here\n' >missing
printf '<request id="7"/>\n' >request.xml
printf 'MZ\0\1sample bytes\r\n' >sample.bin
printf 'scan report\nline two\n' >report.txt

# The head every exchange starts with; then its own headers, the connection
# lines and the body.
expected() {  # METHOD PATH PORT BODYFILE HEADER...
  local method="$1" path="$2" port="$3" body="$4"
  shift 4
  printf '%s http://127.0.0.1:%s%s HTTP/1.0\r\n' "$method" "$port" "$path"
  printf 'Accept: */*\r\nUser-Agent: Mozilla/4.0 (compatible; MSIE 5.0; Windows 98)\r\n'
  printf 'Accept-Language: en-us\r\nAccept-Encoding: gzip, deflate\r\n'
  printf 'X-ZR-Upload-Protocol-Version: 1.0\r\nX-ZR-Serial-No: SN-42\r\n'
  local h
  for h in "$@"; do printf '%s\r\n' "$h"; done
  printf 'Connection: Keep-Alive\r\n'
  [[ -z "$body" ]] || printf 'Content-Length: %s\r\n' "$(stat -c %s "$body")"
  printf 'Connection: close\r\n\r\n'
  [[ -z "$body" ]] || cat "$body"
}

# 1. The four exchanges. Each walks past a refused port and a silent server
# (read time-out) to the recorder, which must see the request exactly as a
# first server would: nothing the earlier attempts added.
closed="$(free_port)"
start_recorder silence ok10 silence ok10 silence ok10 silence ok10
port=$RECORDER_PORT
write_network "$CONF/zr-network" "$HTTP_ATTRS" "127.0.0.1:$closed" "127.0.0.1:$port" "127.0.0.1:$port"
n=0
check_exchange() {  # NAME EXPECTED_FILE ARGS...
  local name="$1" want="$2"
  shift 2
  upload --serial SN-42 "$@"
  assert_eq 0 "$UP_RC" "$name: exit status ($UP_ERR)"
  n=$((n + 2))
  assert_same_file "$want" "$RECORDER_DIR/request.$n" "$name: request"
}
expected GET /zr-upload-config "$port" "" "X-ZR-Date: 2026-11-23" >want.config
mark_log
check_exchange config want.config config 2026-11-23 config.out
assert_eq "0123456789" "$(cat config.out)" "config body cut at Content-Length"
assert_eq "Connecting to 127.0.0.1:$closed...
Connecting to 127.0.0.1:$closed failed: EC_CONNECT_REFUSED: connecting refused failed
Connecting to 127.0.0.1:$port...
Connecting to 127.0.0.1:$port failed: EC_READ_TIMEOUT: reading data from socket timeout
Connecting to 127.0.0.1:$port..." "$(new_log_text | grep -v $'^debug\t' | cut -f2-)" "log of the walk"
expected POST /zr-upload-request "$port" request.xml >want.request
check_exchange request want.request request request.xml request.out
assert_eq "0123456789" "$(cat request.out)" "request answer stored"
expected POST /zr-upload-send "$port" sample.bin "X-ZR-Date: 2026-11-22" "X-ZR-Virus-Name: EICAR-Test" \
  "X-ZR-MD5: 44d88612fea8a8f36de82e1278abb02f" >want.sample
check_exchange sample want.sample sample 2026-11-22 EICAR-Test 44d88612fea8a8f36de82e1278abb02f sample.bin
expected POST /zr-upload-report "$port" report.txt "X-ZR-Date: 2026-11-21" >want.report
check_exchange report want.report report 2026-11-21 report.txt

# 2. An answer other than 200 ends the walk and stores nothing.
start_recorder missing
first=$RECORDER_PORT
start_recorder ok10
second_dir=$RECORDER_DIR
write_network "$CONF/zr-network" "$HTTP_ATTRS" "127.0.0.1:$first" "127.0.0.1:$RECORDER_PORT"
upload config 2026-11-23 config404.out
assert_eq 1 "$UP_RC" "exit status after a 404"
assert_eq "zrupload: the server answered 404" "$UP_ERR" "message after a 404"
assert_missing config404.out
assert_missing "$second_dir/request.1"

# 3. An empty server list: -1 without a single connection.
write_network "$CONF/zr-network" "$HTTP_ATTRS" ""
sed -i '/<Server /d' "$CONF/zr-network"
mark_log
ASAN_OPTIONS="$TRACED_ASAN" strace -f -e trace=connect -o trace.txt "$ZR_UPLOAD" --debug report d report.txt 2>/dev/null
assert_eq 2 "$?" "exit status without servers"
assert_not_contains "$(cat trace.txt)" "AF_INET" "traffic without servers"
assert_contains "$(new_log_text)" $'debug\tZRUploader: No server is available in server store' "log without servers"

# 4. Input that cannot be sent is refused before any connection, naming the
# file or the header: a missing, an unreadable and a folder input, and a
# value with a line break (the request would drop it). The recorder answers
# one connection only, so the upload after them succeeds only when none of
# them connected.
start_recorder ok10
write_network "$CONF/zr-network" "$HTTP_ATTRS" "127.0.0.1:$RECORDER_PORT"
mark_log
refused() {  # MESSAGE ARGS...
  local want="$1"
  shift
  upload "$@"
  assert_eq 3 "$UP_RC" "exit status for refused input: $*"
  assert_eq "zrupload: $want" "$UP_ERR" "message for refused input: $*"
}
refused "cannot read the input file no-such-file: No such file or directory" sample d name md5 no-such-file
mkdir -p a-folder
refused "cannot read the input file a-folder: it is a folder" report d a-folder
refused "cannot read the input file a-folder: it is a folder" request a-folder refused-request.out
refused "the value of X-ZR-Virus-Name holds a line break" sample d $'EICAR\r\nX-Injected: 1' md5 sample.bin
refused "the value of X-ZR-Serial-No holds a line break" --serial $'SN\n' config d refused-config.out
# Root reads any file whatever its mode: without the capabilities that let
# it, a mode-000 file is unreadable to root as to anybody.
printf 'secret\n' >unreadable.txt
chmod 000 unreadable.txt
reader=()
[[ "$(id -u)" -ne 0 ]] ||
  reader=(setpriv --inh-caps -dac_override,-dac_read_search --bounding-set -dac_override,-dac_read_search)
"${reader[@]}" "$ZR_UPLOAD" report d unreadable.txt >/dev/null 2>up.err
assert_eq 3 "$?" "exit status for an unreadable report"
assert_eq "zrupload: cannot read the input file unreadable.txt: Permission denied" "$(cat up.err)" \
  "message for an unreadable report"
assert_contains "$(new_log_text)" $'info\tZRUploader: cannot read the input file no-such-file' "log of a refusal"
assert_missing refused-config.out
assert_missing refused-request.out
upload report d report.txt
assert_eq 0 "$UP_RC" "upload after the refused ones ($UP_ERR)"
assert_contains "$(head -n 1 "$RECORDER_DIR/request.1")" "POST http://127.0.0.1:$RECORDER_PORT/zr-upload-report" \
  "the first connection the server saw"

# 5. Answers are stored byte for byte, NUL bytes included, with and without
# a Content-Length.
{ printf 'MZ\0\0\1\377'; head -c 2994 /dev/urandom; } >answer.bin
{ printf 'HTTP/1.0 200 OK\r\nContent-Length: 3000\r\n\r\n'; cat answer.bin; } >binary-sized
{ printf 'HTTP/1.0 200 OK\r\n\r\n'; cat answer.bin; } >binary-to-end
start_recorder binary-sized binary-to-end
write_network "$CONF/zr-network" "$HTTP_ATTRS" "127.0.0.1:$RECORDER_PORT"
upload config 2026-11-23 binary-config.out
assert_eq 0 "$UP_RC" "binary config answer ($UP_ERR)"
assert_same_file answer.bin binary-config.out "binary config answer with its length"
upload request request.xml binary-request.out
assert_eq 0 "$UP_RC" "binary request answer ($UP_ERR)"
assert_same_file answer.bin binary-request.out "binary request answer to the end of the stream"

# 6. The reference update server keeps what it receives, with its headers.
mkdir -p packages uploads
printf '{"packages": []}\n' >packages/manifest.json
start_update_server ref packages --upload-dir "$ZR_SCRATCH/uploads" --upload-answer '<UploadConfig max="5"/>'
write_network "$CONF/zr-network" "$HTTP_ATTRS" "127.0.0.1:$UPDATE_PORT_ref"
for args in "config 2026-11-23 ref-config.xml" "request request.xml ref-answer.xml" \
  "sample 2026-11-22 EICAR-Test 0123 sample.bin" "report 2026-11-21 report.txt"; do
  upload --serial SN-42 $args
  assert_eq 0 "$UP_RC" "reference server: $args ($UP_ERR)"
done
assert_eq '<UploadConfig max="5"/><UploadConfig max="5"/>' "$(cat ref-config.xml ref-answer.xml)" "answers stored"
assert_same_file request.xml uploads/002-zr-upload-request.body "request kept by the reference server"
assert_same_file sample.bin uploads/003-zr-upload-send.body "sample kept by the reference server"
assert_same_file report.txt uploads/004-zr-upload-report.body "report kept by the reference server"
assert_contains "$(cat uploads/003-zr-upload-send.headers)" '"X-ZR-Virus-Name": "EICAR-Test"' "sample headers"

# 7. Through a proxy with Basic credentials (tinyproxy refuses a request
# without them).
command -v tinyproxy >/dev/null || skip "tinyproxy is not installed"
start_tinyproxy uploader 's3cret'
start_recorder ok10
write_network "$CONF/zr-network" "$HTTP_ATTRS" "127.0.0.1:$RECORDER_PORT"
zr -S --type http --isUsingProxy 1 --proxyserver 127.0.0.1 --proxyport "$TINYPROXY_PORT" \
  --proxyuser uploader --proxypass 's3cret'
upload --serial SN-42 report 2026-11-21 report.txt
assert_eq 0 "$UP_RC" "report through the proxy ($UP_ERR)"
assert_contains "$(cat "$RECORDER_DIR/request.1")" "X-ZR-Date: 2026-11-21${CR}
Content-Length: 21${CR}
${CR}
$(cat report.txt)" "report through the proxy"
echo "upload: all passed"
