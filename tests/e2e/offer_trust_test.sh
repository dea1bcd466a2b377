#!/usr/bin/env bash
# Only what was downloaded and checked is installed, whatever the update
# answer says: a package that names its own folder, file and results but is
# not downloaded (download refused, URL without a file name, version too
# long for a folder name) installs nothing, raises no version and touches
# nothing outside the work directory; a bad package beside a good one does
# not end the run. The server is a scripted peer answering one connection
# after the other: the update answer, then session id and file per package
# that is fetched.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"

WORK="${ZRUPDATE_WORK_DIR:?}"
S="$ZR_SCRATCH"
NET_HTTP='type="http" mac="" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="10"'

python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$S/pk" --id 7 --version 2.5.0.0 >/dev/null
GOOD="$S/pk/p7-2.5.0.0.zip"
GOOD_MD5=$(md5sum "$GOOD" | cut -d' ' -f1)
GOOD_SIZE=$(stat -c %s "$GOOD")
# A package outside the work directory whose script leaves a mark when run.
OUTSIDE="$S/outside"
printf '#!/bin/sh\ntouch "%s"\nexit 0\n' "$S/evil-ran" >"$S/evil-script"
python3 "$ZR_SOURCE_DIR/tools/zr-make-package.py" --root "$OUTSIDE" --id 8 --version 3.0.0.0 \
  --file evil.zip --script "$S/evil-script" >/dev/null
rm "$OUTSIDE/manifest.json"
outside_state() { (cd "$OUTSIDE" && find . -printf '%p %s %T@\n' | sort); }
BEFORE=$(outside_state)

http_file() {  # NAME STATUS BODY_FILE
  { printf 'HTTP/1.0 %s\r\nContent-Length: %s\r\n\r\n' "$2" "$(stat -c %s "$3")"; cat "$3"; } >"$S/$1"
}
printf 'S000001' >"$S/sid.body"
: >"$S/empty.body"
http_file sid "200 OK" "$S/sid.body"
http_file good "200 OK" "$GOOD"
http_file missing "404 Not Found" "$S/empty.body"
# The whole file as a 206 that nobody asked for.
{ printf 'HTTP/1.0 206 Partial Content\r\nContent-Range: bytes 0-%s/%s\r\nContent-Length: %s\r\n\r\n' \
    $((GOOD_SIZE - 1)) "$GOOD_SIZE" "$GOOD_SIZE"; cat "$GOOD"; } >"$S/unasked"

# offer ID VERSION URL MD5 SIZE: one PackageInfo that claims to be
# downloaded (result 1) into the outside folder and already installed.
offer() {
  printf '<PackageInfo path="%s" file="evil.zip"><ProductInfo id="%s" name="N%s" desc="Product %s" installPath="/srv/elsewhere"/>' "$OUTSIDE" "$1" "$1" "$1"
  printf '<PlatformInfo arch="" os="Linux" vendor="" version=""/><ExtVersionInfo version="%s" status="" desc=""/>' "$2"
  printf '<DownloadInfo url="%s" md5="%s" size="%s" time="" result="1"/>' "$3" "$4" "$5"
  printf '<RunInfo format="zip" installScript="install-package" result="%s"/></PackageInfo>' "${6:-1}"
}
answer() {  # PACKAGE_XML...
  printf '<?xml version="1.0"?>\n<ZRUpdateResponse><Result code="201" status="ok"/><PackageInfoList>%s</PackageInfoList></ZRUpdateResponse>\n' "$*" >"$S/answer.body"
  http_file answer "200 OK" "$S/answer.body"
}

# run_update STATUS CONNECTIONS...: -u against a peer that answers the
# update request and then CONNECTIONS.
run_update() {
  local status="$1"
  shift
  fresh_home
  rm -rf "$WORK" "$S/evil-ran"
  local products=""
  for id in 7 8 9 10; do products+="$(product_xml $id "P$id" "/opt/p$id" 2 0 0 0)"$'\n'; done
  write_inventory "$CONF/zr-inventory" "$UPDATER_XML" "$products"
  start_recorder "$S/answer" "$@"
  write_network "$CONF/zr-network" "$NET_HTTP" "127.0.0.1:$RECORDER_PORT"
  zr -u
  assert_eq "$status" "$RC" "exit status of -u"
}
version_of() { "$ZRUPDATE_BIN" -v --id "$1"; }

# A good package, then: 8 refused by the server, 9 with no file name in
# its URL, 10 with a version no folder can be named after.
long_version=$(printf '1.%.0s' {1..150})
answer "$(offer 7 2.5.0.0 p7-2.5.0.0.zip "$GOOD_MD5" "$GOOD_SIZE" 0)" \
  "$(offer 8 3.0.0.0 p8.zip "$GOOD_MD5" "$GOOD_SIZE")" \
  "$(offer 9 3.0.0.0 . "$GOOD_MD5" "$GOOD_SIZE" -1)" \
  "$(offer 10 "$long_version" p10.zip "$GOOD_MD5" "$GOOD_SIZE")"
run_update 2 "$S/sid" "$S/good" "$S/sid" "$S/missing"
assert_eq "2.5.0.0" "$(version_of 7)" "the good package installed"
for id in 8 9 10; do assert_eq "2.0.0.0" "$(version_of $id)" "version of $id"; done
assert_missing "$S/evil-ran"
assert_eq "$BEFORE" "$(outside_state)" "the outside folder"
assert_eq "" "$(ls -A "$WORK")" "work directory after the run"
assert_eq 0 "$(xmllint --xpath 'count(//PackageInfo)' "$CONF/zr-delay-packages")" "delay list"
newpkgs="$CONF/zr-newpkgs"
assert_eq "1 0 0 0" "$(for i in 1 2 3 4; do xmllint --xpath "string(//PackageInfo[$i]/DownloadInfo/@result)" "$newpkgs"; echo -n ' '; done | xargs)" "download results"
assert_eq "/opt/p7" "$(xmllint --xpath 'string(//PackageInfo[1]/ProductInfo/@installPath)' "$newpkgs")" "install path from the inventory"
assert_eq "" "$(xmllint --xpath 'string(//PackageInfo[2]/@path)' "$newpkgs")$(xmllint --xpath 'string(//PackageInfo[2]/@file)' "$newpkgs")" "folder and file of a failed package"

# A URL that ends in "/" before a good package: the run goes on.
answer "$(offer 8 3.0.0.0 http://127.0.0.1:1/dir/ "$GOOD_MD5" "$GOOD_SIZE")" \
  "$(offer 7 2.5.0.0 p7-2.5.0.0.zip "$GOOD_MD5" "$GOOD_SIZE" 0)"
run_update 2 "$S/sid" "$S/good"
assert_eq "2.5.0.0" "$(version_of 7)" "the package beside a URL without file name"
assert_eq "2.0.0.0" "$(version_of 8)" "version of the package without file name"
assert_missing "$S/evil-ran"
# A part answered to a request for the whole file is refused.
answer "$(offer 7 2.5.0.0 p7-2.5.0.0.zip "$GOOD_MD5" "$GOOD_SIZE" 0)"
run_update 251 "$S/sid" "$S/unasked"
assert_eq "2.0.0.0" "$(version_of 7)" "version after an unasked 206"
echo "offer trust: all passed"
