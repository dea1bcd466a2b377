#!/usr/bin/env bash
# The -S/--set command: show, apply and default, against the real file.
source "$(dirname "$0")/lib.sh"

show() {  # SAVED CURRENT MAC TYPE PROXYFLAG PROXYSERVER PORTTEXT PUSER PPASS USER TIMEOUT
  printf 'server:     %s\ncurrentlist:     %s\nmac:        %s\ntype:       %s\nisUsingProxy:      %s\nproxyserver:      %s\nproxyport:      %s\nproxyuser:  %s\nproxypass:  %s\nuser:       %s\ntimeout:    %s\n' "$@"
}
attr() {  # NAME: value of attribute NAME of ServerList
  xmllint --xpath "string(//ServerList/@$1)" "$CONF/zr-network"
}
hosts() {  # ELEMENT: hosts of its Server children, comma-separated
  xmllint --xpath "//$1/Server/@host" "$CONF/zr-network" 2>/dev/null |
    sed -E 's/ *host="([^"]*)"/\1\n/g' | sed '/^$/d' | paste -sd,
}

fresh_home
expect 0 "$(show "" update.orvanta.test "" https 0 "" "" "" "" "" 180)
" -S
expect 0 "$(show "" update.orvanta.test "" https 0 "" "" "" "" "" 180)
" --set

# --- a full change; the stored values are written as the file keeps them ---
expect 0 "ZRUpdate: network settings are changed
" -S --server h1,,h2, --type HTTP --isUsingProxy 1 --proxyserver px.local --proxyport 3128 \
  --proxyuser alice --proxypass "s3cret:x" --timeout 30 --mac 00:11:22:33:44:55
assert_eq "HTTP" "$(attr type)" "type as typed"
assert_eq "px.local:3128" "$(attr proxy)" "proxy host and port"
assert_eq "$(printf 'alice:s3cret:x' | base64)" "$(attr proxyuser)" "proxy credentials in Base64"
assert_eq "30" "$(attr timeout)" "timeout"
assert_eq "h1,h2" "$(hosts ServerList)" "current list"
assert_eq "h1,h2" "$(hosts OriginalServerList)" "saved list follows"
expect 0 "$(show h1,h2 h1,h2 00:11:22:33:44:55 HTTP 1 px.local "      3128" alice "s3cret:x" "" 30)
" -S

# --- settings not given again fall back to their defaults ---
expect 0 "ZRUpdate: network settings are changed
" -S --timeout 45
expect 0 "$(show h1,h2 h1,h2 "" https 0 "" "" "" "" "" 45)
" -S

# --- server lists and --keeporiginal ---
expect 0 "ZRUpdate: network settings are changed
" -S --server a,b --keeporiginal 1
assert_eq "a,b" "$(hosts ServerList)" "current list with keeporiginal"
assert_eq "h1,h2" "$(hosts OriginalServerList)" "saved list kept with keeporiginal 1"
assert_eq "45" "$(attr timeout)" "stored timeout kept when not given"
expect 0 "ZRUpdate: network settings are changed
" -S --server c --keeporiginal 0
assert_eq "c" "$(hosts OriginalServerList)" "keeporiginal 0 replaces the saved list"

# A stored timeout of 0 is shown as 180 and replaced by 180 on the next change.
fresh_home
write_network "$CONF/zr-network" 'type="http" mac="m" isUsingProxy="1" proxy="10.0.0.1:x" proxyuser="" user="Ym9iOnB3" timeout="0"' s1 s2
zr -S
assert_eq 0 "$RC" "show"
assert_eq "$(show "" s1,s2 m http 1 "10.0.0.1:x" "" "" "" "bob:******" 180)
" "$OUT" "show with a web user, an odd proxy and timeout 0"
assert_not_contains "$OUT" "pw" "web password never shown"
expect 0 "ZRUpdate: network settings are changed
" -S --server n1 --debug
assert_eq "180" "$(attr timeout)" "timeout 0 becomes 180"
assert_eq "" "$(attr user)" "web user cleared by every change"
assert_eq "" "$(attr proxy)" "proxy cleared"
assert_eq "https" "$(attr type)" "type back to https"
assert_eq "n1" "$(hosts ServerList)" "current list"

# --user is accepted but changes nothing.
expect 0 "ZRUpdate: network settings are changed
" -S --user bob:pw
assert_eq "" "$(attr user)" "--user is not read"

# --- default mode keeps the lists and the proxy password ---
write_network "$CONF/zr-network" 'type="http" mac="m" isUsingProxy="1" proxy="p:8080" proxyuser="'"$(printf 'u:pw' | base64)"'" user="Ym9iOnB3" timeout="20"' cur
expect 0 "ZRUpdate: network settings are changed to default settings
" -S --default --server ignored --timeout 99
assert_eq "cur" "$(hosts ServerList)" "default keeps the current list"
expect 0 "$(show "" cur "" https 0 "" "" "" "" "" 180)
" -S

# --- server certificate line ---
touch "$CONF/server.pem"
sed -i 's#</ZRNetClientSettings>#<ServerVerify>\n<Param name="ssl.server.cert" value="'"$CONF"'/server.pem"/>\n</ServerVerify>\n</ZRNetClientSettings>#' "$CONF/zr-network"
zr -S
assert_contains "$OUT" "timeout:    180
ssl.server.cert: $CONF/server.pem
" "certificate shown"
rm "$CONF/server.pem"
zr -S
assert_not_contains "$OUT" "ssl.server.cert" "missing certificate not shown"

# --- -M -S and -S --debug apply instead of showing ---
fresh_home
cp "$CONF/zr-inventory" "$CONF/zr-module-inventory"
cp "$CONF/zr-network" "$CONF/zr-module-network"
expect 0 "ZRUpdate: network settings are changed
" -M -S

# --- an empty current list is refused by the store; the message all the same ---
write_network "$CONF/zr-network" 'type="https" timeout="180"' x
sed -i '/<Server /d' "$CONF/zr-network"
cp "$CONF/zr-network" "$ZR_SCRATCH/before"
expect 0 "ZRUpdate: network settings are changed
" -S --timeout 5
assert_same_file "$ZR_SCRATCH/before" "$CONF/zr-network" "empty server list not written"

# --- invalid values: message, try-help, 255, file unchanged ---
fresh_home
cp "$CONF/zr-network" "$ZR_SCRATCH/before"
bad() {
  local message="$1"
  shift
  expect 255 "$message
$TRY_HELP" -S "$@"
  assert_same_file "$ZR_SCRATCH/before" "$CONF/zr-network" "rejected: $*"
}
bad "ZRUpdate: no server host is specified!" --server
bad "ZRUpdate: no protocol type is specified!" --type
bad "ZRUpdate: unsupported protocol type: 'ftp'" --type ftp
bad "ZRUpdate: unsupported protocol type: '%s%s%n'" --type '%s%s%n'
bad "ZRUpdate: no isUsingProxy is specified!" --isUsingProxy
bad "ZRUpdate: unsupported isUsingProxy: 'yes'" --isUsingProxy yes
bad "ZRUpdate: invalid proxyport is specified!" --proxyport 80a
bad "ZRUpdate: no connection timeout is specified!" --timeout -5
bad "ZRUpdate: no connection timeout is specified!" --timeout
bad "ZRUpdate: invalid connection timeout is specified!" --timeout soon
echo "network: all passed"
