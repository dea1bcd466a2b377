#!/usr/bin/env bash
# -P: the delay-package list shown, one package installed from it, entries
# removed with their files; install and remove wait for the run lock.
source "$(dirname "$0")/lib.sh"
: "${ZRUPDATE_DELAY_STATUS_FILE:?}"

list="$CONF/zr-delay-packages"
held="$ZRUPDATE_HOME/tmp/zrupdate"   # where held-back packages live
count() { xmllint --xpath "count(//PackageInfo$1)" "$2"; }

# A held-back package of product ID whose script records its arguments and
# exits with EXIT.
held_package() {  # ID EXIT
  local dir="$held/$1/2_0_0_0"
  mkdir -p "$dir"
  printf '#!/bin/sh\necho "$*" >"%s/args"\nexit %s\n' "$ZR_SCRATCH" "$2" >"$dir/install-package"
  chmod +x "$dir/install-package"
  package_xml "$dir" "$1" "Product $1" "$([[ $1 == 7 ]] && echo /opt/p7)" 2 0 0 0 "u$1" "m$1"
}

setup() {  # EXIT7 EXIT9
  fresh_home
  write_inventory "$CONF/zr-inventory" "$UPDATER_XML" "$(product_xml 7 Seven /opt/p7 1 0 0 0)"
  write_package_list "$list" "$(held_package 7 "$1")" "$(held_package 9 "$2")"
}

setup 0 2
# Status: the whole list, or the entries of one product, with nothing left
# in the scratch status file.
zr -P
assert_eq 0 "$RC" "-P status"
printf '%s' "$OUT" >"$ZR_SCRATCH/out.xml"
assert_eq 2 "$(count "" "$ZR_SCRATCH/out.xml")" "-P prints the whole list"
zr -P --id 9
printf '%s' "$OUT" >"$ZR_SCRATCH/out.xml"
assert_eq "1 1" "$(count "" "$ZR_SCRATCH/out.xml") $(count "[ProductInfo/@id=9]" "$ZR_SCRATCH/out.xml")" "-P --id 9"
assert_missing "$ZRUPDATE_DELAY_STATUS_FILE"

# A link planted at the status file's name is never written through.
ln -s "$ZR_SCRATCH/victim" "$ZRUPDATE_DELAY_STATUS_FILE"
add_cleanup "rm -f '$ZRUPDATE_DELAY_STATUS_FILE'"
mark_log
zr -P --id 9 --debug
assert_eq 255 "$RC" "status through a planted link"
assert_missing "$ZR_SCRATCH/victim"
assert_contains "$(new_log_text)" "failed to write packages to $ZRUPDATE_DELAY_STATUS_FILE" "log of the refusal"
rm -f "$ZRUPDATE_DELAY_STATUS_FILE"

expect 255 "" -P --action install
mark_log
zr -P --action install --id 5 --debug
assert_eq 255 "$RC" "install of an id not in the list"
assert_contains "$(new_log_text)" "ZRUpdate: failed to install delay package, NO such id: 5" "log of a missing id"

# Script exit 0: the product gets the package's version, the entry and its
# files go, the other entry stays.
cp "$CONF/zr-inventory" "$ZR_SCRATCH/inventory.before"
zr -P --action INSTALL --id 7
assert_eq 0 "$RC" "install of 7"
assert_eq "-d /opt/p7 -s $held/7/2_0_0_0" "$(cat "$ZR_SCRATCH/args")" "script arguments"
expect 0 "2.0.0.0
" -v --id 7
assert_eq "0 1" "$(count "[ProductInfo/@id=7]" "$list") $(count "" "$list")" "list after install"
assert_missing "$held/7"

# Script exit 2 (no install path: only -s): passed on, inventory unchanged.
cp "$CONF/zr-inventory" "$ZR_SCRATCH/inventory.before"
zr -P --action install --id 9
assert_eq 2 "$RC" "script result 2"
assert_eq "-s $held/9/2_0_0_0" "$(cat "$ZR_SCRATCH/args")" "arguments without install path"
assert_same_file "$ZR_SCRATCH/inventory.before" "$CONF/zr-inventory" "inventory after result 2"
assert_eq 0 "$(count "" "$list")" "list after the second install"

# A failing script: 255, inventory as before, entry gone.
setup 5 0
cp "$CONF/zr-inventory" "$ZR_SCRATCH/inventory.before"
zr -P --action install --id 7
assert_eq 255 "$RC" "failing script"
assert_same_file "$ZR_SCRATCH/inventory.before" "$CONF/zr-inventory" "inventory after a failing script"
assert_contains "$(log_messages)" "Install Product 7 (2.0.0.0) failed" "failure line"

# Remove one product's entry, then all; unknown actions do nothing.
setup 0 0
expect 0 "" -P --action remove --id 9
assert_eq "1 0" "$(count "[ProductInfo/@id=7]" "$list") $(count "[ProductInfo/@id=9]" "$list")" "remove --id 9"
[[ -d "$held/7" && ! -e "$held/9" ]] || fail "files of the removed entry only"
cp "$list" "$ZR_SCRATCH/list.before"
expect 0 "" -P --action foo
assert_same_file "$ZR_SCRATCH/list.before" "$list" "unknown action"

# The run lock cannot be had: 3, nothing changed.
printf '#!/usr/bin/perl\nexit 1;\n' >"$ZRUPDATE_HOME/bin/write_lock.pl"
expect 3 "" -P --action remove
assert_same_file "$ZR_SCRATCH/list.before" "$list" "list without the lock"
echo "delay: all passed"
