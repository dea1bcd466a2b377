#!/usr/bin/env bash
# -u and -p against the reference update server: a package installed, one
# held back and installed or removed later with -P, failing scripts and
# archives, a self-update, and every result of the run and of the ping.
# After every failed run the inventory and the delay list are as before.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"

WORK="${ZRUPDATE_WORK_DIR:?}"
PK="$ZR_SCRATCH/packages"
NET_HTTP='type="http" mac="" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="10"'
LIST="$CONF/zr-delay-packages"
HELD="$ZRUPDATE_HOME$WORK/7/2_5_0_0"   # where a held-back package of 7 lives

make_pkg() { python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$PK" "$@" >/dev/null; }
make_pkg --id 7 --version 2.5.0.0
start_update_server A "$PK"
start_update_server DENY "$PK" --status 401
CLOSED="127.0.0.1:$(free_port)"

# A home with the updater and product 7 at 2.0 that reaches the servers given
# (the reference server by default), with its delay list made.
home() {  # [HOSTS...]
  fresh_home
  rm -rf "$WORK"
  write_inventory "$CONF/zr-inventory" "$UPDATER_XML" "$(product_xml 7 Seven /opt/seven 2 0 0 0)"
  write_network "$CONF/zr-network" "$NET_HTTP" "${@:-127.0.0.1:$UPDATE_PORT_A}"
  "$ZRUPDATE_BIN" -P >/dev/null
  cp "$CONF/zr-inventory" "$ZR_SCRATCH/inventory.before"
  cp "$LIST" "$ZR_SCRATCH/list.before"
  mark_log
}
update() {  # STATUS ARGS...
  local status="$1"
  shift
  zr -u "$@"
  assert_eq "$status" "$RC" "exit status of -u $*"
}
unchanged() {  # WHAT
  assert_same_file "$ZR_SCRATCH/inventory.before" "$CONF/zr-inventory" "$1: inventory"
  assert_same_file "$ZR_SCRATCH/list.before" "$LIST" "$1: delay list"
}
version_of() { "$ZRUPDATE_BIN" -v --id "$1"; }
entries() { xmllint --xpath 'count(//PackageInfo)' "$LIST"; }
logged() { assert_contains "$(new_log_text)" "$1" "log"; }

# --- installed: new version, results in conf/zr-newpkgs, status shown ---
home
update 2
assert_eq "2.5.0.0" "$(version_of 7)" "version after the update"
lock_released() {  # WHAT: taken during the run, free after it
  [[ -f "$ZRUPDATE_HOME/tmp/zr-run-lock" && ! -s "$ZRUPDATE_HOME/tmp/zr-run-lock" ]] ||
    fail "run lock not released after $1"
}
lock_released "an update"
assert_eq "1" "$(xmllint --xpath 'string(//RunInfo/@result)' "$CONF/zr-newpkgs")" "run result in conf/zr-newpkgs"
logged "Orvanta ZRUpdater sucessfully downloaded and installed 1 update(s)"
assert_missing "$WORK/7"
zr -s --id 7
assert_contains "$OUT" "LastUpdateStatus: install" "status after the update"
update 0
assert_eq 0 "$(entries)" "delay list after an install"

# --- held back (script exit 1), then installed with -P ---
make_pkg --id 7 --version 2.5.0.0 --exit 1
home
update 2
assert_eq "2.0.0.0" "$(version_of 7)" "version while held back"
assert_eq 1 "$(entries)" "held-back package listed"
[[ -x "$HELD/install-package" ]] || fail "held-back package not under the home"
# Listed packages are not fetched again.
update 251
logged "EC_ZRUPDATE_DELAY_PACKAGE"
zr -P --action install --id 7
assert_eq 1 "$RC" "-P install passes the script's 1 on"
assert_eq "2.5.0.0" "$(version_of 7)" "version after -P install"
assert_eq 0 "$(entries)" "delay list after -P install"
assert_missing "$ZRUPDATE_HOME$WORK/7"
# A second held-back version of the same product replaces the first in the
# list; the files of both stay until removed.
home
update 2
make_pkg --id 7 --version 2.6.0.0 --exit 1
update 2
assert_eq "1 $ZRUPDATE_HOME$WORK/7/2_6_0_0" "$(entries) $(xmllint --xpath 'string(//PackageInfo/@path)' "$LIST")" "second hold-back listed"
[[ -x "$HELD/install-package" && -x "$ZRUPDATE_HOME$WORK/7/2_6_0_0/install-package" ]] ||
  fail "files of a held-back package lost by the next hold-back"
# ... or removed with -P.
expect 0 "" -P --action remove
assert_eq 0 "$(entries)" "delay list after -P remove"
assert_missing "$ZRUPDATE_HOME$WORK/7"
python3 -c 'import json, sys
m = json.load(open(sys.argv[1]))
m["packages"] = [e for e in m["packages"] if e["version"] != "2.6.0.0"]
json.dump(m, open(sys.argv[1], "w"))' "$PK/manifest.json"

# --- failures: nothing installed (-6), nothing lost ---
make_pkg --id 7 --version 2.5.0.0 --exit 3
home
update 250
unchanged "failing script"
lock_released "a failed installation"
logged "Install6 Product 7 (2.5.0.0) failed"
# An archive unzip cannot read (offered with its right size and digest).
printf 'not a zip archive\n' >"$PK/p7-2.5.0.0.zip"
python3 - "$PK" <<'PY'
import hashlib, json, os, sys
root = sys.argv[1]
path = os.path.join(root, "manifest.json")
m = json.load(open(path))
data = open(os.path.join(root, "p7-2.5.0.0.zip"), "rb").read()
for e in m["packages"]:
    if e["id"] == 7:
        e["size"], e["md5"] = len(data), hashlib.md5(data).hexdigest().upper()
json.dump(m, open(path, "w"))
PY
home
update 250
unchanged "failing unzip"
logged "Install5 Product 7 (2.5.0.0) failed"

# --- an inventory that cannot be written after the install: -2 ---
printf '#!/bin/sh\nchattr +i "%s"\nexit 0\n' "$CONF/zr-inventory" >"$ZR_SCRATCH/lock-inventory"
make_pkg --id 7 --version 2.5.0.0 --script "$ZR_SCRATCH/lock-inventory"
home
add_cleanup "chattr -i '$CONF/zr-inventory' 2>/dev/null"
update 254
chattr -i "$CONF/zr-inventory"
unchanged "inventory not writable"

# --- self-update: 1 ---
make_pkg --id 1000 --version 1.1.0.0
home
update 1 --id 1000
assert_eq "1.1.0.0" "$(version_of 1000)" "updater version after a self-update"

# --- exchange failures and the lock ---
make_pkg --id 7 --version 2.5.0.0
home "$CLOSED"
update 251
unchanged "no server reachable"
home "127.0.0.1:$UPDATE_PORT_DENY"
update 248
unchanged "401"
home
printf '#!/usr/bin/perl\nexit 1;\n' >"$ZRUPDATE_HOME/bin/write_lock.pl"
update 244
unchanged "no run lock"
assert_eq "0" "$(xmllint --xpath 'string(//RunInfo/@result)' "$CONF/zr-newpkgs")" "package listed, not installed"
# What another user put at the work directory's name never stops an update
# and is never followed: a link, or their folder with a link inside.
mkdir "$ZR_SCRATCH/elsewhere" && echo keep >"$ZR_SCRATCH/elsewhere/file"
for planted in link folder; do
  home
  if [[ $planted == link ]]; then
    ln -s "$ZR_SCRATCH/elsewhere" "$WORK"
  else
    mkdir "$WORK" && ln -s "$ZR_SCRATCH/elsewhere" "$WORK/7" && chown -R -h nobody "$WORK"
  fi
  update 2
  assert_eq "2.5.0.0" "$(version_of 7)" "installed past a planted $planted"
  assert_eq "file keep" "$(ls "$ZR_SCRATCH/elsewhere") $(cat "$ZR_SCRATCH/elsewhere/file")" "$planted target"
  assert_eq "755 root" "$(stat -c '%a %U' "$WORK")" "work directory after a planted $planted"
done

# --- ping: 0 answered, -28 unreachable, -2 no server ---
home
expect 0 "" -p
home "$CLOSED"
expect 228 "" -p
home
printf '<?xml version="1.0"?>\n<ZRNetClientSettings><ServerList %s></ServerList></ZRNetClientSettings>\n' "$NET_HTTP" >"$CONF/zr-network"
expect 254 "" -p
echo "update: all passed"
