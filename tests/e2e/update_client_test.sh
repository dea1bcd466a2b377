#!/usr/bin/env bash
# The update client against the reference update server, nginx and
# tinyproxy: every answer code of the exchange, redirects, self-update,
# failed and resumed downloads, refusals, and the transfer through a proxy.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"

: "${ZR_CLIENT_DRIVER:?ZR_CLIENT_DRIVER is not set}"
WORK="${ZRUPDATE_WORK_DIR:?ZRUPDATE_WORK_DIR is not set}"
PK="$ZR_SCRATCH/packages"
STATUS_LOG="$ZR_SCRATCH/status.log"
NET_HTTP='type="http" mac="00:11:22:33:44:55" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="10"'

python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$PK" --id 7 --version 2.5.0.0 --bytes 300000 >/dev/null
python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$PK" --id 1000 --version 1.1.0.0 >/dev/null
P7="$PK/p7-2.5.0.0.zip"
P7_SIZE=$(stat -c %s "$P7")
P7_LOCAL="$WORK/7/2_5_0_0/p7-2.5.0.0.zip"
P7_SAVED="$ZRUPDATE_HOME/tmp/${P7_LOCAL//\//\$}"
CUT=100000

# A home with the updater and product 7 (2.0), the status script replaced
# by one that records its arguments, and the servers given.
home() {  # SERVERLIST_ATTRS HOSTS...
  fresh_home
  rm -rf "$WORK" "$STATUS_LOG"
  write_inventory "$CONF/zr-inventory" "$UPDATER_XML" "$(product_xml 7 Seven /opt/seven 2 0 0 0)"
  write_network "$CONF/zr-network" "$@"
  printf 'open(my $f, ">>", "%s"); print $f "@ARGV\\n";\n' "$STATUS_LOG" >"$ZRUPDATE_HOME/bin/update_status.pl"
}

# client ID HTTP_DOWNLOAD EXPECTED: runs one update; standard error must stay
# empty (it is not a terminal).
client() {
  mark_log
  local out
  out=$("$ZR_CLIENT_DRIVER" update "$1" "$2" 2>"$ZR_SCRATCH/client.err")
  assert_eq "$3" "$out" "update $1 $2"
  [[ ! -s "$ZR_SCRATCH/client.err" ]] || fail "standard error not empty: $(cat "$ZR_SCRATCH/client.err")"
}

log_has() { assert_contains "$(new_log_text)" "$1" "log after update"; }
requests() { grep -c "\"path\": \"$2" "$ZR_SCRATCH/$1.requests" 2>/dev/null || true; }
assert_p7_ok() { assert_same_file "$P7" "$P7_LOCAL" "downloaded package"; }
partial_entry() { grep -o '<PartialFile [^>]*>' "$CONF/zr-partial-files" || true; }

# A and B serve plainly; X misbehaves as each case asks.
start_update_server A "$PK"
start_update_server B "$PK"
start_update_server X "$PK"
# behave OPTIONS...: X's behaviour from now on, with a fresh request log.
behave() { update_server_options X "$@"; : >"$ZR_SCRATCH/X.requests"; }

# --- answer codes -----------------------------------------------------------
for code in 200 500; do
  behave --code $code
  home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
  client 0 1 "result 0 status 200"
  log_has "Orvanta products and components are up-to-date"
  assert_eq 0 "$(requests X /zr-sessionid)" "no download after code $code"
done

home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_A"
client 0 1 "result 1 status 200"
assert_p7_ok
log_has "Download Product 7 ($P7_SIZE of $P7_SIZE)"
grep -q '"X-ZR-Update-SessionID": "S0' "$ZR_SCRATCH/A.requests" || fail "download without the session id"
grep -q '"X-ZR-Update-MAC": "00:11:22:33:44:55"' "$ZR_SCRATCH/A.requests" || fail "MAC not sent"
assert_contains "$(cat "$STATUS_LOG")" "--id 0 --status request" "status script: request"
# A start report and one for every further 5 %.
assert_eq 21 "$(grep -c -- '--status download' "$STATUS_LOG")" "status script download reports"
assert_contains "$(tail -1 "$STATUS_LOG")" "--downloaded_size $P7_SIZE --total_size $P7_SIZE" "last report"

# Already up to date: the server answers 200 for the same inventory with 2.5.
write_inventory "$CONF/zr-inventory" "$UPDATER_XML" "$(product_xml 7 Seven /opt/seven 2 5 0 0)"
client 0 1 "result 0 status 200"

# Self-update: its own request path and only the updater's package.
home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_A"
client 1000 0 "result 1 status 200"
log_has "Download Product 1000"
assert_eq 1 "$(requests A /zr-self-update)" "self-update request"
[[ -f "$WORK/1000/1_1_0_0/p1000-1.1.0.0.zip" ]] || fail "self-update package missing"
assert_missing "$WORK/7"

# 210: the new server is saved in front and used at once; 211: used only.
behave --redirect-code 210 --redirect-count 1 --redirect-hosts "127.0.0.1:$UPDATE_PORT_B"
home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
client 0 0 "result 1 status 200"
log_has "Redirect to new update server"
assert_contains "$(tr -d '\n' <"$CONF/zr-network")" "<Server host=\"127.0.0.1:$UPDATE_PORT_B\"/><Server host=\"127.0.0.1:$UPDATE_PORT_X\"/>" "saved servers"
behave --redirect-code 211 --redirect-count 1 --redirect-hosts "127.0.0.1:$UPDATE_PORT_B"
home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
cp "$CONF/zr-network" "$ZR_SCRATCH/network.before"
b_before=$(requests B /zr-update)
client 0 0 "result 1 status 200"
assert_same_file "$ZR_SCRATCH/network.before" "$CONF/zr-network" "211 leaves the settings"
assert_eq $((b_before + 1)) "$(requests B /zr-update)" "211 sends the request to the new server"

# An endless chain of redirects is cut off.
behave --redirect-code 211
home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
client 0 1 "result -1 status 200"
log_has "ZRUpdate: stopped after 10 redirects: the update servers keep redirecting"
assert_eq 11 "$(requests X /zr-update)" "requests of a redirect chain"

# HTTP 401 on the exchange; an unreachable first server is passed over.
behave --status 401
home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
client 0 1 "result -1 status 401"
log_has $'ZRUpdate: http response: 401\ninfo\tEC_ZRUPDATE_UPDATE_ERROR'
closed=$(free_port)
home "$NET_HTTP" "127.0.0.1:$closed" "127.0.0.1:$UPDATE_PORT_A"
client 0 1 "result 1 status 200"
log_has $'Connecting to 127.0.0.1:'"$closed"' failed: EC_CONNECT_REFUSED'
assert_p7_ok

# --- refused downloads ------------------------------------------------------
refused() {  # HTTP_STATUS LOG_TEXT SERVER_OPTIONS...
  local status="$1" text="$2"
  shift 2
  behave "$@"
  home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
  client 0 0 "result -1 status $status"
  log_has "$text"
  assert_missing "$WORK/7"
}
refused 200 $'invalid md5 in downloading file: p7-2.5.0.0.zip\ninfo\tEC_ZRUPDATE_PACKAGE_ERROR' --wrong-md5
refused 200 "ZRUpdate: invalid file length in response" --length-delta -10
refused 200 "ZRUpdate: invalid file length in response" --length-delta 10
refused 401 "Download 'Product 7' unauthorized" --download-status 401
refused 404 "Download 'Product 7' not found" --download-status 404
# A body that goes on past its Content-Length is cut there.
behave --extra-bytes 5000
home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
client 0 0 "result 1 status 200"
assert_p7_ok
# A digest offered in lower case; a folder emptied of what an earlier run
# left in it before the download.
LOWER="$ZR_SCRATCH/lower"
mkdir -p "$LOWER" && cp "$P7" "$LOWER/"
sed 's/"md5": "\([0-9A-F]*\)"/"md5": "\L\1"/' "$PK/manifest.json" >"$LOWER/manifest.json"
grep -q '"md5": "[0-9a-f]*[a-f][0-9a-f]*"' "$LOWER/manifest.json" || fail "no lower-case digest offered"
behave --root "$LOWER"
home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
mkdir -p "$WORK/7/2_5_0_0/old" && touch "$WORK/7/2_5_0_0/install-package"
client 0 0 "result 1 status 200"
assert_eq "p7-2.5.0.0.zip" "$(ls "$WORK/7/2_5_0_0")" "package folder after the download"
# Two packages of one product: the failure of the second (its file is
# missing on the server) leaves the first one's folder alone.
TWO="$ZR_SCRATCH/two"
cp -r "$LOWER" "$TWO"
python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$TWO" --id 7 --version 2.6.0.0 >/dev/null
rm "$TWO/p7-2.6.0.0.zip"
# The first package offered once more is not fetched into its folder again.
python3 -c 'import json, sys; m = json.load(open(sys.argv[1])); m["packages"].append(m["packages"][0]); json.dump(m, open(sys.argv[1], "w"))' "$TWO/manifest.json"
behave --root "$TWO"
home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
client 0 0 "result 1 status 404"
assert_p7_ok
assert_missing "$WORK/7/2_6_0_0"
# A delay package with the offer's URL holds it back only with its digest.
P7_MD5=$(md5sum "$P7" | cut -d' ' -f1)
for md5 in "00000000000000000000000000000000" "$P7_MD5"; do
  behave --root "$LOWER"
  home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
  write_package_list "$CONF/zr-delay-packages" "$(package_xml /x 7 D /opt/seven 2 5 0 0 p7-2.5.0.0.zip "$md5")"
  if [[ $md5 == "$P7_MD5" ]]; then
    client 0 0 "result -1 status 200"
    log_has "EC_ZRUPDATE_DELAY_PACKAGE"
  else
    client 0 0 "result 1 status 200"
  fi
done

# --- interrupted and resumed downloads -----------------------------------------
# cut_run OPTIONS...: a download cut after $CUT bytes leaves the part and
# its entry; X then behaves as OPTIONS say.
cut_run() {
  behave --cut-after $CUT
  home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
  client 0 0 "result -1 status 200"
  log_has "EC_ZRUPDATE_UPDATE_ERROR"
  assert_eq $CUT "$(stat -c %s "$P7_SAVED")" "size of the kept part"
  assert_contains "$(partial_entry)" "size=\"$P7_SIZE\" actualSize=\"$CUT\"" "partial entry"
  assert_missing "$WORK/7"
  behave "$@"
}

cut_run
: >"$STATUS_LOG"
client 0 0 "result 1 status 206"
assert_contains "$(tail -1 "$ZR_SCRATCH/X.requests")" "\"Range\": \"bytes=$CUT-\"" "Range of the resumption"
log_has "enter partial download!!!"
assert_p7_ok
assert_eq "" "$(partial_entry)" "entry after the resumption"
assert_missing "$P7_SAVED"
# The start report, then one for every further 5 % beyond the part held.
assert_eq $((21 - CUT * 20 / P7_SIZE)) "$(grep -c -- '--status download' "$STATUS_LOG")" "reports of a resumption"
# In the log, likewise, a line for the start and for every further percent.
assert_eq $((101 - CUT * 100 / P7_SIZE)) "$(new_log_text | grep -c '^info	Download Product 7 (')" "log lines of a resumption"

# A server that ignores Range: the whole file again, from the start.
cut_run --ignore-range
client 0 0 "result 1 status 200"
assert_p7_ok

# No full download from zero after a refused resumption: a 206 whose
# length does not complete the file, or (with the right length) one that
# starts elsewhere, leaves no part and no entry.
resumed_from_zero() {  # WHAT
  behave
  client 0 0 "result 1 status 200"
  assert_not_contains "$(cat "$ZR_SCRATCH/X.requests")" '"Range"' "$1: request of the next run"
  assert_p7_ok
}
for refusal in "--length-delta -10" "--range-shift 10 --length-delta 10"; do
  # shellcheck disable=SC2086 # the options of one refusal
  cut_run $refusal
  client 0 0 "result -1 status 206"
  assert_eq "" "$(partial_entry)" "entry after a refused resumption ($refusal)"
  assert_missing "$P7_SAVED"
  resumed_from_zero "refused resumption ($refusal)"
done
# A transfer that breaks off ends the package: the next server is not asked.
behave --cut-after $CUT
home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X" "127.0.0.1:$UPDATE_PORT_A"
a_before=$(requests A /zr-download)
client 0 0 "result -1 status 200"
assert_eq "$a_before" "$(requests A /zr-download)" "downloads from the second server"
# A saved part whose length no longer matches its entry is not resumed.
cut_run
printf 'x' >>"$P7_SAVED"
resumed_from_zero "part of another length"
log_has "info in ZRUPDATE_PARTIAL_FILE did not match real one $P7_SAVED"

# Packages below MinSize, and listed products, are not kept.
for config in "<SizeLimit MinSize=\"$((P7_SIZE + 1))\"/>" '<SizeLimit MinSize="0"><P id="7"/></SizeLimit>'; do
  behave --cut-after $CUT
  home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
  printf '%s\n' "$config" >"$CONF/zr-partial-config"
  client 0 0 "result -1 status 200"
  log_has "partail result: true"
  assert_eq "" "$(partial_entry)" "no entry for an excluded package ($config)"
  assert_missing "$P7_SAVED"
done

# --- nginx for downloads, tinyproxy in between ----------------------------------
command -v nginx >/dev/null || { echo "SKIP: nginx is not installed"; exit 0; }
mkdir -p "$ZR_SCRATCH/www"
cp "$P7" "$ZR_SCRATCH/www/"
start_nginx "$ZR_SCRATCH/www"
FULL="$ZR_SCRATCH/full"
python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$FULL" --id 7 --version 2.5.0.0 --bytes 300000 \
  --url "http://127.0.0.1:$NGINX_PORT/p7-2.5.0.0.zip" >/dev/null
behave --root "$FULL"
# A part left by an earlier run is completed by nginx's 206.
home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_X"
mkdir -p "$ZRUPDATE_HOME/tmp"
head -c $CUT "$P7" >"$P7_SAVED"
printf '<PartialFiles><PartialFile productID="7" url="http://127.0.0.1:%s/p7-2.5.0.0.zip" path="%s" size="%s" actualSize="%s"/></PartialFiles>\n' \
  "$NGINX_PORT" "$P7_SAVED" "$P7_SIZE" "$CUT" >"$CONF/zr-partial-files"
client 0 0 "result 1 status 206"
assert_p7_ok

command -v tinyproxy >/dev/null || { echo "SKIP: tinyproxy is not installed"; exit 0; }
start_tinyproxy alice 's3cret'
proxy_creds=$(printf 'alice:s3cret' | base64)
home "type=\"http\" mac=\"\" isUsingProxy=\"1\" proxy=\"127.0.0.1:$TINYPROXY_PORT\" proxyuser=\"$proxy_creds\" user=\"\" timeout=\"10\"" "127.0.0.1:$UPDATE_PORT_A"
client 0 1 "result 1 status 200"
assert_p7_ok
# Wrong credentials: the proxy refuses the exchange.
home "type=\"http\" mac=\"\" isUsingProxy=\"1\" proxy=\"127.0.0.1:$TINYPROXY_PORT\" proxyuser=\"$(printf 'alice:wrong' | base64)\" user=\"\" timeout=\"10\"" "127.0.0.1:$UPDATE_PORT_A"
client 0 1 "result -1 status 401"

# HTTPS through the proxy's CONNECT tunnel, the credentials in the CONNECT.
make_cert "$ZR_SCRATCH" srv localhost
start_update_server T "$PK" --tls-cert "$ZR_SCRATCH/srv.crt" --tls-key "$ZR_SCRATCH/srv.key"
home "type=\"https\" mac=\"\" isUsingProxy=\"1\" proxy=\"127.0.0.1:$TINYPROXY_PORT\" proxyuser=\"$proxy_creds\" user=\"\" timeout=\"10\"" "127.0.0.1:$UPDATE_PORT_T"
client 0 0 "result 1 status 200"
assert_p7_ok
log_has "Connecting to 127.0.0.1:$UPDATE_PORT_T via secure connection..."
assert_eq 1 "$(requests T /zr-download)" "download over the tunnel"

# At a terminal the download shows one self-rewriting line.
if command -v script >/dev/null; then
  home "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_A"
  script -qec "$ZR_CLIENT_DRIVER update 0 1" /dev/null >"$ZR_SCRATCH/tty" </dev/null
  assert_contains "$(cat "$ZR_SCRATCH/tty")" $'\rProduct 7 100% '"$P7_SIZE/$P7_SIZE bytes" "terminal progress"
fi
echo "update client: all cases passed"
