#!/usr/bin/env bash
# Signed packages. With a package key in the home only a package whose
# signature verifies is installed or held back; a changed package, another
# signer's signature, a missing or malformed one are refused like a wrong
# digest while the rest of the answer goes on. A resumed download is checked
# over the whole file, a held-back package again before it runs. Without a
# key nothing changes.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/servers.sh"

WORK="${ZRUPDATE_WORK_DIR:?}"
PK="$ZR_SCRATCH/packages"
NET_HTTP='type="http" mac="" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="10"'
TOOL="$ZR_SOURCE_DIR/tools/zr-make-package.py"
KEY="$ZR_SCRATCH/signer.pem"
OTHER="$ZR_SCRATCH/other.pem"
HOME_KEY="$CONF/zr-package-key.pem"
LIST="$CONF/zr-delay-packages"
P7="$PK/p7-2.5.0.0.zip"
P7_SAVED="$ZRUPDATE_HOME/tmp/${WORK//\//\$}\$7\$2_5_0_0\$p7-2.5.0.0.zip"
STATUS_LOG="$ZR_SCRATCH/status.log"
# Large enough to pass through the download's buffers several times.
BIG=3000000
command -v openssl >/dev/null || skip "no openssl command"

python3 "$TOOL" --make-key "$KEY" >/dev/null
python3 "$TOOL" --make-key "$OTHER" >/dev/null
make_pkg() { python3 "$TOOL" --root "$PK" --version 2.5.0.0 "$@" >/dev/null; }
# signature_of ID: the manifest's signature of product ID.
signature_of() {
  python3 -c 'import json,sys; print(next(e.get("signature", "") for e in json.load(open(sys.argv[1]))["packages"] if e["id"] == int(sys.argv[2])))' "$PK/manifest.json" "$1"
}
# set_signature ID TEXT: replaces it ("" drops it).
set_signature() {
  python3 - "$PK/manifest.json" "$1" "$2" <<'PY'
import json, sys
path, pid, text = sys.argv[1], int(sys.argv[2]), sys.argv[3]
manifest = json.load(open(path))
for entry in manifest["packages"]:
    if entry["id"] == pid:
        entry.pop("signature", None)
        if text:
            entry["signature"] = text
json.dump(manifest, open(path, "w"))
PY
}
# flip_byte FILE OFFSET: changes one byte of the file in place.
flip_byte() { printf '\xff' | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }

start_update_server A "$PK"
start_update_server CUT "$PK"

# home KEY_FILE|"" [HOST]: products 7 and 9 at 2.0, the key placed when given.
home() {
  fresh_home
  rm -rf "$WORK"
  write_inventory "$CONF/zr-inventory" "$UPDATER_XML" "$(product_xml 7 Seven /opt/seven 2 0 0 0)" \
    "$(product_xml 9 Nine /opt/nine 2 0 0 0)"
  write_network "$CONF/zr-network" "$NET_HTTP" "${2:-127.0.0.1:$UPDATE_PORT_A}"
  "$ZRUPDATE_BIN" -P >/dev/null
  [[ -z "$1" ]] || cp "$1" "$HOME_KEY"
  mark_log
}
versions() { echo "$("$ZRUPDATE_BIN" -v --id 7) $("$ZRUPDATE_BIN" -v --id 9)"; }
refused() {  # WHAT REASON
  assert_contains "$(new_log_text | cut -f2-)" "ZRUpdate: invalid $2 in downloading file: p7-2.5.0.0.zip
EC_ZRUPDATE_PACKAGE_ERROR" "$1: refusal in the log"
  assert_eq "2.0.0.0 2.5.0.0" "$(versions)" "$1: only the other package installed"
  assert_missing "$WORK/7"
}

make_pkg --id 7 --sign-key "$KEY" --bytes "$BIG"
make_pkg --id 9 --sign-key "$KEY"
GOOD7="$(signature_of 7)"

# --- a good signature installs, the key is shown by -S ----------------------------
home "${KEY%.pem}.pub.pem"
# The status script records the start and end of every call, and takes its
# time: reports that overlapped or came out of order would show.
printf 'open(my $f, ">>", "%s"); $f->autoflush(1); print $f "<@ARGV\n"; select(undef, undef, undef, 0.05); print $f ">\n";\n' \
  "$STATUS_LOG" >"$ZRUPDATE_HOME/bin/update_status.pl"
zr -u
assert_eq 2 "$RC" "-u with good signatures"
assert_eq "2.5.0.0 2.5.0.0" "$(versions)" "versions after signed packages"
assert_eq "$GOOD7" "$(xmllint --xpath 'string(//PackageInfo[ProductInfo/@id=7]/DownloadInfo/@signature)' "$CONF/zr-newpkgs")" \
  "signature kept in conf/zr-newpkgs"
zr -S
assert_contains "$OUT" "package.key: $HOME_KEY
" "-S with a key"
assert_eq "" "$(paste -d' ' - - <"$STATUS_LOG" | grep -v '^<.* >$')" "status reports one at a time"
reports="$(grep -o -- '--status [a-z]*\( --downloaded_size [0-9]*\)\?' "$STATUS_LOG")"
assert_eq "--status install" "$(tail -1 <<<"$reports")" "the install report comes last"
sizes="$(grep -c -- "--downloaded_size" <<<"$reports")"
sorted="$(grep -o -- '--id 7 .*--downloaded_size [0-9]*' "$STATUS_LOG" | awk '{print $NF}' | sort -n -c && echo ok)"
assert_eq "23 ok" "$sizes $sorted" "download reports of both packages, in order"

# --- each bad signature refuses package 7 only ------------------------------------
make_pkg --id 7 --sign-key "$OTHER" --bytes "$BIG"
OTHER7="$(signature_of 7)"
make_pkg --id 7 --sign-key "$KEY" --bytes "$BIG"
for bad in changed other missing malformed truncated; do
  case $bad in
    changed) flip_byte "$P7" 1000; python3 "$TOOL" --root "$PK" --id 7 --version 2.5.0.0 --redigest >/dev/null ;;
    other) set_signature 7 "$OTHER7" ;;
    missing) set_signature 7 "" ;;
    malformed) set_signature 7 "not*base64!" ;;
    truncated) set_signature 7 "${GOOD7:0:40}" ;;
  esac
  home "${KEY%.pem}.pub.pem"
  cp "$CONF/zr-inventory" "$ZR_SCRATCH/inventory.before"
  zr -u
  assert_eq 2 "$RC" "-u with a $bad signature"
  refused "$bad" signature
  make_pkg --id 7 --sign-key "$KEY" --bytes "$BIG"
done

# A key that cannot be used refuses every package.
home "$KEY.missing"
echo "not a key" >"$HOME_KEY"
zr -u
assert_eq 251 "$RC" "-u with an unusable key"
assert_eq "2.0.0.0 2.0.0.0" "$(versions)" "nothing installed with an unusable key"
assert_contains "$(new_log_text)" "ZRUpdate: the package key cannot be used: $HOME_KEY" "log of the unusable key"

# --- without a key: unsigned packages install as before, nothing written of it --
set_signature 7 ""
set_signature 9 ""
home ""
zr -u
assert_eq 2 "$RC" "-u without a key"
assert_eq "2.5.0.0 2.5.0.0" "$(versions)" "unsigned packages without a key"
assert_not_contains "$(cat "$CONF/zr-newpkgs")" "signature" "conf/zr-newpkgs without signatures"
zr -S
assert_not_contains "$OUT" "package.key" "-S without a key"

# --- a resumed download is checked over the whole file ---------------------------
make_pkg --id 7 --sign-key "$KEY" --bytes "$BIG"
make_pkg --id 9 --sign-key "$KEY"
cut_then_resume() {  # CHANGE_KEPT_PART(0/1)
  # The first download (package 9, smaller than the cut) counts as one.
  update_server_options CUT --cut-after 100000 --cut-times 2
  home "${KEY%.pem}.pub.pem" "127.0.0.1:$UPDATE_PORT_CUT"
  "$ZRUPDATE_BIN" -u >/dev/null 2>&1
  assert_eq 100000 "$(stat -c %s "$P7_SAVED")" "kept part"
  [[ $1 == 0 ]] || flip_byte "$P7_SAVED" 50000
  update_server_options CUT
  mark_log
  zr -u
  assert_contains "$(new_log_text)" "enter partial download!!!" "resumption"
}
cut_then_resume 0
assert_eq "2.5.0.0 2.5.0.0" "$(versions)" "resumed signed package installed"
cut_then_resume 1
refused "changed kept part" md5

# --- a held-back package is checked again before it runs --------------------------
make_pkg --id 7 --sign-key "$KEY" --exit 1
HELD="$ZRUPDATE_HOME$WORK/7/2_5_0_0"
hold_back() {
  home "${KEY%.pem}.pub.pem"
  zr -u
  assert_eq "2.0.0.0" "$("$ZRUPDATE_BIN" -v --id 7)" "held back"
  assert_eq "$(signature_of 7)" "$(xmllint --xpath 'string(//DownloadInfo/@signature)' "$LIST")" \
    "signature kept in the delay list"
  cp "$CONF/zr-inventory" "$ZR_SCRATCH/inventory.before"
  mark_log
}
hold_back
zr -P --action install --id 7
assert_eq 1 "$RC" "intact held-back package installed"
hold_back
flip_byte "$HELD/p7-2.5.0.0.zip" 10
zr -P --action install --id 7
assert_eq 255 "$RC" "changed held-back package refused"
assert_contains "$(new_log_text)" "EC_ZRUPDATE_PACKAGE_ERROR" "refusal of the held-back package"
assert_same_file "$ZR_SCRATCH/inventory.before" "$CONF/zr-inventory" "inventory after the refusal"
assert_eq 0 "$(xmllint --xpath 'count(//PackageInfo)' "$LIST")" "entry dropped after the refusal"
assert_missing "$HELD"
echo "PASS"
