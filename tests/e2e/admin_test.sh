#!/usr/bin/env bash
# What an administrator relies on: the network file (credentials) stays
# private through every writer, no credential or debug line reaches the log
# unasked, the log can be rotated, and a failure is named on standard error.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"

NET_HTTP='type="http" mac="" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="10"'
mode_of() { stat -c %a "$1"; }
assert_private() {  # WHAT
  assert_eq 600 "$(mode_of "$CONF/zr-network")" "network file mode after $1"
}

# --- the network file is 0600 after every writer, a stricter mode is kept ---
fresh_home
chmod 644 "$CONF/zr-network"
umask 022
for args in "--server h1,h2 --keeporiginal 1" "--timeout 30 --proxyserver p --proxyport 8080 --proxyuser u --proxypass pw" \
  "--default" "--set --server h3"; do
  zr -S $args
  assert_eq 0 "$RC" "-S $args"
  assert_private "-S $args"
done
cp "$CONF/zr-network" "$CONF/zr-module-network"
cp "$CONF/zr-inventory" "$CONF/zr-module-inventory"
chmod 644 "$CONF/zr-module-network"
zr -M -S --server m1
assert_eq 0 "$RC" "-M -S"
assert_eq 600 "$(mode_of "$CONF/zr-module-network")" "module network file mode after -M -S"
chmod 400 "$CONF/zr-network"
zr -S --server h4
assert_eq 400 "$(mode_of "$CONF/zr-network")" "a stricter mode stays"

INIT="${ZR_BINARY_DIR:?}/tools/zrupdate-init"
"$INIT" "$ZR_SCRATCH/newhome" >/dev/null || fail "zrupdate-init"
assert_eq 600 "$(mode_of "$ZR_SCRATCH/newhome/conf/zr-network")" "network file made by zrupdate-init"
chmod 644 "$ZR_SCRATCH/newhome/conf/zr-network"
"$INIT" "$ZR_SCRATCH/newhome" >/dev/null || fail "zrupdate-init again"
assert_eq 600 "$(mode_of "$ZR_SCRATCH/newhome/conf/zr-network")" "older network file narrowed"

# A 210 answer saves the new server list.
PK="$ZR_SCRATCH/packages"
python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$PK" --id 7 --version 2.5.0.0 >/dev/null
start_update_server A "$PK"
start_update_server R "$PK" --redirect-code 210 --redirect-count 1 --redirect-hosts "127.0.0.1:$UPDATE_PORT_A"
fresh_home
write_network "$CONF/zr-network" "$NET_HTTP" "127.0.0.1:$UPDATE_PORT_R"
chmod 644 "$CONF/zr-network"
zr -u
assert_eq 0 "$RC" "update after a saved redirect"
assert_contains "$(cat "$CONF/zr-network")" "127.0.0.1:$UPDATE_PORT_A" "redirect saved"
assert_private "a 210 answer"

# --- the log: 0640, no debug line without --debug, picked up after rotation ---
fresh_home
zr -v
assert_eq 640 "$(mode_of "$LOG")" "log mode"
write_network "$CONF/zr-network" "$NET_HTTP" "127.0.0.1:$(free_port)"
mark_log
zr -u
assert_eq 251 "$RC" "update without an answering server"
assert_not_contains "$OUT" "server" "standard output as before"
assert_eq "ZRUpdate: no update server answered; see $LOG" "$ERR" "the failure named on standard error"
assert_not_contains "$(new_log_text)" $'debug\t' "no debug line without --debug"
zr -u --debug
assert_contains "$(new_log_text)" $'debug\t' "debug lines with --debug"

mv "$LOG" "$LOG.1"
zr -p
assert_eq 228 "$RC" "ping without an answering server"
assert_eq "ZRUpdate: no update server answered; see $LOG" "$ERR" "ping failure named"
[[ -f "$LOG" ]] || fail "no new log after the old one was moved away"
assert_contains "$(cut -f2- "$LOG")" "Connecting to 127.0.0.1:" "the run's lines in the new log"
if command -v logrotate >/dev/null; then
  RULE="$ZR_BINARY_DIR/packaging/zrupdate.logrotate"
  rm -f "$LOG.1"
  zr -v
  logrotate -f -s "$ZR_SCRATCH/logrotate.state" "$RULE" || fail "logrotate with the rule"
  [[ -f "$LOG.1" && ! -e "$LOG" ]] || fail "the log was not moved away by logrotate"
  zr -s
  assert_eq 640 "$(mode_of "$LOG")" "log made again after logrotate"
  head -c 2000000 /dev/zero | tr '\0' x >>"$LOG"
  logrotate -s "$ZR_SCRATCH/logrotate.state" "$RULE" || fail "logrotate by size"
  [[ -f "$LOG.2.gz" && -f "$LOG.1" ]] || fail "a log past 1 MB is rotated and the older copy compressed"
fi

# --- no credential in the log of a proxied update, even with --debug ---
if command -v tinyproxy >/dev/null; then
  start_tinyproxy alice 's3cret'
  creds=$(printf 'alice:s3cret' | base64)
  for type in http https; do
    fresh_home
    if [[ $type == https ]]; then
      make_cert "$ZR_SCRATCH" srv localhost
      start_update_server T "$PK" --tls-cert "$ZR_SCRATCH/srv.crt" --tls-key "$ZR_SCRATCH/srv.key"
      port=$UPDATE_PORT_T
    else
      port=$UPDATE_PORT_A
    fi
    write_network "$CONF/zr-network" "type=\"$type\" mac=\"\" isUsingProxy=\"1\" proxy=\"127.0.0.1:$TINYPROXY_PORT\" proxyuser=\"$creds\" user=\"\" timeout=\"10\"" "127.0.0.1:$port"
    zr -u --debug
    assert_eq 0 "$RC" "proxied $type update"
    assert_contains "$(cat "$LOG")" "roxy-authorization: Basic ****" "masked credentials ($type)"
    assert_not_contains "$(cat "$LOG")" "$creds" "credentials in the log ($type)"
  done
fi

# --- the command line names what it does not take ---
fresh_home
expect 255 "$TRY_HELP" -x --colour red
assert_eq "ZRUpdate: unknown option '-x'
ZRUpdate: unknown option '--colour'" "$ERR" "unknown options named"
expect 0 "ZRUpdate: network settings are changed
" -S --server "good.example,bad host,h:0,h:65536,h:65535,:80"
assert_eq "ZRUpdate: warning: server 'bad host' is not \"host\" or \"host:port\" with a port from 1 to 65535
ZRUpdate: warning: server 'h:0' is not \"host\" or \"host:port\" with a port from 1 to 65535
ZRUpdate: warning: server 'h:65536' is not \"host\" or \"host:port\" with a port from 1 to 65535
ZRUpdate: warning: server ':80' is not \"host\" or \"host:port\" with a port from 1 to 65535" "$ERR" "-S warnings"
assert_contains "$(cat "$CONF/zr-network")" '<Server host="bad host"' "entries stored as given"

# --- a user who may not read the network file runs the local commands ---
if [[ $(id -u) -ne 0 ]] || ! setpriv --reuid=nobody --regid=nogroup --clear-groups true 2>/dev/null; then
  skip "cannot run as nobody"
fi
as_nobody() { setpriv --reuid=nobody --regid=nogroup --clear-groups "$ZRUPDATE_BIN" "$@"; }
# Every folder on the way to the home must be open to nobody.
dir="$ZRUPDATE_HOME"
while [[ "$dir" != / ]]; do
  [[ $(( 0$(stat -c %a "$dir") & 01 )) -ne 0 ]] || skip "$dir is closed to other users"
  dir=$(dirname "$dir")
done
fresh_home
chmod 755 "$ZRUPDATE_HOME" "$CONF"
chmod 600 "$CONF/zr-network"
out=$(as_nobody -s --id 1000 2>"$ZR_SCRATCH/nobody.err")
rc=$?
assert_eq 0 "$rc" "-s by a user who cannot read the network file"
assert_contains "$out" "ProductID:   1000" "status shown"
out=$(as_nobody -v 2>/dev/null)
assert_eq 0 "$?" "-v by that user"
as_nobody -S >/dev/null 2>&1
assert_eq 254 "$?" "-S still needs the network file"
echo "admin: all passed"
