# Shared helpers of the end-to-end tests. Every assertion failure ends the
# script with a non-zero status and says what differed.
#
# Environment (set by CTest): ZRUPDATE_BIN, ZRUPDATE_HOME (a scratch home of
# the build tree), ZRUPDATE_SCRATCH (empty in a build with the production
# paths), ZR_SOURCE_DIR, ZR_BINARY_DIR.
set -u

# skip REASON: ends the test as skipped (CTest's SKIP_RETURN_CODE).
skip() {
  echo "SKIP: $*"
  exit 77
}

: "${ZRUPDATE_BIN:?ZRUPDATE_BIN is not set}"
: "${ZRUPDATE_HOME:?ZRUPDATE_HOME is not set}"

# These tests wipe and refill the home; a build for the production paths has
# the real one, so they do not run there.
[[ -n "${ZRUPDATE_SCRATCH:-}" ]] ||
  skip "built with the production paths (configure with -DZRUPDATE_SCRATCH=<folder> to run the end-to-end tests)"
case "$ZRUPDATE_HOME" in
  /opt/*|/) echo "refusing to run against the home $ZRUPDATE_HOME" >&2; exit 1 ;;
esac

# The log's lock files go to the build's own temporary folder.
[[ -z "${ZRUPDATE_TMP_DIR:-}" ]] || mkdir -p "$ZRUPDATE_TMP_DIR"

CONF="$ZRUPDATE_HOME/conf"
LOG="$ZRUPDATE_HOME/logs/zrupdate.log"

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# assert_eq EXPECTED ACTUAL WHAT
assert_eq() {
  if [[ "$1" != "$2" ]]; then
    echo "FAIL: $3" >&2
    echo "--- expected" >&2; printf '%s' "$1" | cat -A >&2; echo >&2
    echo "--- actual" >&2; printf '%s' "$2" | cat -A >&2; echo >&2
    exit 1
  fi
}

assert_contains() {  # HAYSTACK NEEDLE WHAT
  [[ "$1" == *"$2"* ]] || fail "$3: '$2' not found in: $1"
}

assert_not_contains() {  # HAYSTACK NEEDLE WHAT
  [[ "$1" != *"$2"* ]] || fail "$3: '$2' found in: $1"
}

# zr ARGS...: runs the program; OUT holds standard output (exactly, with the
# final newline kept), ERR standard error, RC the exit status. Standard error
# may hold only the program's own lines ("ZRUpdate: ..."): the name of a
# failure and the log, an unknown option, a warning.
zr() {
  local errfile="$ZR_SCRATCH/stderr"
  "$ZRUPDATE_BIN" "$@" >"$ZR_SCRATCH/stdout" 2>"$errfile"
  RC=$?
  OUT="$(cat "$ZR_SCRATCH/stdout"; printf x)"
  OUT="${OUT%x}"
  ERR="$(cat "$errfile")"
  ! grep -qv '^ZRUpdate: ' "$errfile" || fail "standard error of '$*' is not the program's: $ERR"
}

# expect STATUS OUTPUT ARGS...: runs the program and checks both.
expect() {
  local status="$1" output="$2"
  shift 2
  zr "$@"
  assert_eq "$output" "$OUT" "output of: ZRUpdate $*"
  assert_eq "$status" "$RC" "exit status of: ZRUpdate $*"
}

assert_same_file() {  # EXPECTED_FILE ACTUAL_FILE WHAT
  cmp -s "$1" "$2" || { diff "$1" "$2" >&2; fail "$3"; }
}

assert_missing() { [[ ! -e "$1" ]] || fail "$1 should not exist"; }

# The message part of the log lines (date and time cut off).
log_messages() { [[ -f "$LOG" ]] && cut -f2- "$LOG"; }

assert_log_line() {  # LINE WHAT: one log line, without its time stamp
  log_messages | grep -qxF -- "$1" || { log_messages >&2; fail "$2: log line '$1' missing"; }
}

write_inventory() {  # PATH [PRODUCTS...]: products as ready XML lines
  local path="$1"
  shift
  {
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<ZRUpdateClientSettings>\n<Inventory>\n'
    printf '<PlatformInfo os="Linux" vendor="" arch="x86_64" version="6.1.0"/>\n<Products>\n'
    local p
    for p in "$@"; do printf '%s\n' "$p"; done
    printf '</Products>\n</Inventory>\n</ZRUpdateClientSettings>\n'
  } >"$path"
}

# One InstalledProduct element with a numeric version.
product_xml() {  # ID NAME PATH MAJOR MINOR PATCH BUILD
  printf '<InstalledProduct>\n<ProductInfo id="%s" name="%s" desc="" installPath="%s" serialNo="" parent="" langCode="" OEM=""/>\n<ZRVersionInfo major="%s" minor="%s" patchLevel="%s" buildNum="%s" status="" desc=""/>\n</InstalledProduct>' "$@"
}

UPDATER_XML='<InstalledProduct>
<ProductInfo id="1000" name="Updater" desc="Orvanta Updater" installPath="/opt/Orvanta/ZRUpdate" serialNo="" parent="" langCode="" OEM=""/>
<ZRVersionInfo major="1" minor="0" patchLevel="0" buildNum="0" status="beta" desc="beta released on 2003/12/31"/>
</InstalledProduct>'

write_network() {  # PATH [SERVERLIST_ATTRS] [SERVER_HOSTS...]
  local path="$1" attrs="${2:-type=\"https\" mac=\"\" isUsingProxy=\"0\" proxy=\"\" proxyuser=\"\" user=\"\" timeout=\"180\"}"
  shift 2 || shift $#
  [[ $# -gt 0 ]] || set -- update.orvanta.test
  {
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<ZRNetClientSettings>\n<ServerList %s>\n' "$attrs"
    local h
    for h in "$@"; do printf '<Server host="%s"/>\n' "$h"; done
    printf '</ServerList>\n</ZRNetClientSettings>\n'
  } >"$path"
}

# fresh_home: wipes the scratch home and lays down the layout with the
# updater's own product, one update server and the scripts of bin/.
fresh_home() {
  rm -rf "$ZRUPDATE_HOME"
  mkdir -p "$CONF" "$ZRUPDATE_HOME/logs" "$ZRUPDATE_HOME/bin" "$ZRUPDATE_HOME/tmp"
  write_inventory "$CONF/zr-inventory" "$UPDATER_XML"
  write_network "$CONF/zr-network"
  install_scripts
}

# One PackageInfo element of a package list document.
package_xml() {  # PATH ID DESC INSTALLPATH MAJOR MINOR PATCH BUILD URL MD5
  printf '<PackageInfo path="%s" file="p.zip"><ProductInfo id="%s" name="N%s" desc="%s" installPath="%s"/>' "$1" "$2" "$2" "$3" "$4"
  printf '<PlatformInfo arch="" os="" vendor="" version=""/><ZRVersionInfo major="%s" minor="%s" patchLevel="%s" buildNum="%s" status="" desc=""/>' "$5" "$6" "$7" "$8"
  printf '<DownloadInfo url="%s" md5="%s" size="1" time="" result="1"/><RunInfo format="zip" installScript="install-package" result="-1"/></PackageInfo>\n' "$9" "${10}"
}

write_package_list() {  # PATH [PACKAGE_XML...]
  local path="$1"
  shift
  { printf '<?xml version="1.0" encoding="UTF-8"?>\n<PackageInfoList>\n'; printf '%s' "$@"; printf '</PackageInfoList>\n'; } >"$path"
}

# install_scripts: the status and run-lock scripts of the source tree in the
# home's bin/, where the program runs them.
install_scripts() {
  cp "${ZR_SOURCE_DIR:?ZR_SOURCE_DIR is not set}"/install/bin/*.pl "$ZRUPDATE_HOME/bin/"
}

ZR_SCRATCH="$(mktemp -d /tmp/zr-e2e.XXXXXX)"
ZR_CLEANUPS=()
# add_cleanup COMMAND: run at exit, latest first, whatever the outcome.
add_cleanup() { ZR_CLEANUPS=("$1" "${ZR_CLEANUPS[@]}"); }
run_cleanups() {
  local c
  for c in "${ZR_CLEANUPS[@]}"; do eval "$c" || true; done
  rm -rf "$ZR_SCRATCH"
}
trap run_cleanups EXIT

# Sanitizer options for runs under strace: the leak checker of a sanitizer
# build cannot run under a tracer.
TRACED_ASAN="${ASAN_OPTIONS:-}${ASAN_OPTIONS:+:}detect_leaks=0"

USAGE_FIRST_LINE='Usage: ZRUpdate [options...]'
TRY_HELP="try 'ZRUpdate --help' for more information
"

# mark_log: remembers the end of the log; new_log_text then gives what was
# written after it, with the date and time of each line cut off.
mark_log() { LOG_MARK=$( [[ -f "$LOG" ]] && stat -c %s "$LOG" || echo 0 ); }
new_log_text() {
  [[ -f "$LOG" ]] || return 0
  tail -c +$((LOG_MARK + 1)) "$LOG" | sed -E 's/^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\t//'
}
