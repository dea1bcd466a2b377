#!/usr/bin/env bash
# -P: the delay-package list shown, one package installed from it, entries
# removed with their files; install and remove wait for the run lock.
source "$(dirname "$0")/lib.sh"
: "${ZRUPDATE_DELAY_STATUS_FILE:?}" "${ZRUPDATE_WORK_DIR:?}"

list="$CONF/zr-delay-packages"
held="$ZRUPDATE_HOME$ZRUPDATE_WORK_DIR"   # where held-back packages live
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

# What another user put at the status file's name, a link or their folder
# with a link inside, is cleared away without being followed.
mkdir "$ZR_SCRATCH/victim" && echo keep >"$ZR_SCRATCH/victim/file"
add_cleanup "rm -rf '$ZRUPDATE_DELAY_STATUS_FILE'"
for planted in link folder; do
  if [[ $planted == link ]]; then
    ln -s "$ZR_SCRATCH/victim/file" "$ZRUPDATE_DELAY_STATUS_FILE"
  else
    mkdir "$ZRUPDATE_DELAY_STATUS_FILE" && ln -s "$ZR_SCRATCH/victim" "$ZRUPDATE_DELAY_STATUS_FILE/x"
    chown -R -h nobody "$ZRUPDATE_DELAY_STATUS_FILE"
  fi
  zr -P --id 9
  assert_eq "0 1" "$RC $(printf '%s' "$OUT" | xmllint --xpath 'count(//PackageInfo)' -)" "status past a planted $planted"
  assert_eq "file keep" "$(ls "$ZR_SCRATCH/victim") $(cat "$ZR_SCRATCH/victim/file")" "$planted target"
  assert_missing "$ZRUPDATE_DELAY_STATUS_FILE"
done

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

# Removal never leaves the folder of held-back packages, whatever the paths
# say: dots, doubled separators, the home's own folders, links out of it.
setup 0 0
outside="$ZR_SCRATCH/outside" && mkdir -p "$outside/x" && echo keep >"$outside/x/file"
ln -s "$outside" "$held/8"        # a link in the folder: removed, not its target
ln -s "$ZRUPDATE_HOME" "$held/6"  # a link leading back to the home
fingerprint() { find "$ZRUPDATE_HOME/bin" "$CONF" "$ZRUPDATE_HOME/logs" "$outside" -not -name "zr*.log*" -not -name "zr-delay-packages*" | sort; }
entries=("$(held_package 7 0)")   # another product's package: kept
for path in "$ZRUPDATE_HOME/./x" "$ZRUPDATE_HOME//conf/x" "$ZRUPDATE_HOME/conf/x" "$held/.." "$held/x" \
            "$held/7/../x" "$held/6/bin/x" "$held/6/x" "$outside/x/y" "$held/8/x"; do
  entries+=("$(package_xml "$path" 3 "Product 3" "" 1 0 0 0 "u-$path" m)")
done
write_package_list "$list" "${entries[@]}"
before="$(fingerprint)"
expect 0 "" -P --action remove --id 3
assert_eq "$before" "$(fingerprint)" "home and outside target after removal"
[[ -x "$held/7/2_0_0_0/install-package" && ! -e "$held/8" ]] || fail "only the removed entries' folders go"
assert_eq "1 1" "$(count "" "$list") $(count "[ProductInfo/@id=7]" "$list")" "list after removing 3"
# A listed package is run only from that folder.
write_package_list "$list" "$(package_xml "$outside/x" 7 "Product 7" "" 2 0 0 0 u m)"
printf '#!/bin/sh\ntouch "%s/ran"\n' "$ZR_SCRATCH" >"$outside/x/install-package" && chmod +x "$outside/x/install-package"
mark_log
zr -P --action install --id 7
assert_eq 255 "$RC" "install from outside the folder"
assert_missing "$ZR_SCRATCH/ran"
assert_contains "$(new_log_text)" "ZRUpdate: refusing a package folder outside $held/7: $outside/x" "log of the refusal"
echo "delay: all passed"
