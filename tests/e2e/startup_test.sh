#!/usr/bin/env bash
# Start-up: the state-file checks before option parsing, the option check and
# its precedence, module mode, the default package documents, exit statuses.
source "$(dirname "$0")/lib.sh"

# --- missing and empty state files: silent 254, nothing created ---
fresh_home
rm "$CONF/zr-inventory"
expect 254 "" -h
expect 254 "" -s
assert_missing "$CONF/zr-inventory"
fresh_home
: >"$CONF/zr-network"
expect 254 "" -h
expect 254 "" -u
assert_missing "$CONF/zr-delay-packages"
assert_missing "$CONF/zr-partial-files"
fresh_home
: >"$CONF/zr-inventory"
expect 254 "" -v
# The checks are made on the standard files, even in module mode.
fresh_home
cp "$CONF/zr-inventory" "$CONF/zr-module-inventory"
cp "$CONF/zr-network" "$CONF/zr-module-network"
rm "$CONF/zr-network"
expect 254 "" -M -v
# The home and its log directory are created by any run.
rm -rf "$ZRUPDATE_HOME"
expect 254 "" -s
[[ -d "$ZRUPDATE_HOME/logs" ]] || fail "home and logs/ not created"

# --- command line ---
fresh_home
expect 255 "$TRY_HELP"
expect 255 "$TRY_HELP" stray words
expect 255 "$TRY_HELP" -ru --id 5
expect 255 "$TRY_HELP" -x
zr -h
assert_eq 0 "$RC" "-h status"
assert_eq 43 "$(printf '%s' "$OUT" | wc -l)" "usage lines"
assert_eq "$USAGE_FIRST_LINE" "$(printf '%s' "$OUT" | head -1)" "usage first line"
assert_eq "-h/--help:                  This help text" "$(printf '%s' "$OUT" | tail -1)" "usage last line"
help_short="$OUT"
zr --help
assert_eq "$help_short" "$OUT" "--help prints the same text"
# A help request that loses to another command prints no usage.
expect 0 "1.0.0.0
" -h -v
# Module mode alone and help with module mode: nothing to do.
cp "$CONF/zr-inventory" "$CONF/zr-module-inventory"
cp "$CONF/zr-network" "$CONF/zr-module-network"
expect 0 "" -M

# --- precedence ---
expect 255 "ZRUpdate: no product install path is specified!
$TRY_HELP" -r --id 5 --name x
# Registration wins over an earlier -v and an invalid network option, and is
# run before a deregistration on the same line.
expect 0 "" -v -S --type ftp -r --id 5 --name x --path /p --version 1.0
expect 0 "" -d -r --id 5 --name x --path /p --version 2.0
# Status comes before -S, whose options are then not checked.
zr -S --timeout bad -s --id 5
assert_eq 0 "$RC" "status beats set"
assert_contains "$OUT" "Version:     2.0.0.0" "registered, not deregistered"
# -S is checked before -v.
expect 255 "ZRUpdate: unsupported protocol type: 'ftp'
$TRY_HELP" -v -S --type ftp
# Deregistration before status.
expect 0 "" -s -d --id 5 --name whatever
expect 255 "No any products exist in inventory" -s --id 5

# Dispatch order: status, update, ping, package, set, version.
expect 0 "ZRUpdate: Create default delay package config file
ZRUpdate: Create default delay package config file OK
ZRUpdate: Create default partial downloaded file info  config file
ZRUpdate: Create default partial downloaded file info config file OK
ProductID:   1000
ProductName: Updater
Installpath: /opt/Orvanta/ZRUpdate
Description: Orvanta Updater
Version:     1.0.0.0
" -S --timeout 5 -P -p -u -s --id 1000
expect 251 "" -v -S -P -p -u
expect 228 "" -v -S -P -p
expect 0 '<?xml version="1.0" encoding="UTF-8"?>
<PackageInfoList/>
' -v -S --timeout 5 -P
expect 0 "ZRUpdate: network settings are changed
" -v -S --timeout 5
rm -f "$CONF/zr-delay-packages" "$CONF/zr-partial-files"

# --- invalid numeric ids of status, update and package ---
expect 255 "ZRUpdate: invalid product id is specified!
" -s --id abc
expect 255 "ZRUpdate: invalid product id is specified!
$TRY_HELP" -d --id 12a --name n
# The id of -v is text: never invalid.
expect 0 "0
" -v --id abc

# --- broken documents: 254 and the file untouched ---
for which in inventory network; do
  fresh_home
  printf '<?xml version="1.0"?>\n<Broken>\n<Unclosed>\n' >"$CONF/zr-$which"
  cp "$CONF/zr-$which" "$ZR_SCRATCH/before"
  for cmd in "-s" "-r --id 9 --name n --path /p --version 1" "-S --timeout 5" "-v"; do
    # shellcheck disable=SC2086
    expect 254 "Bad update inventory or network config file
" $cmd
    assert_same_file "$ZR_SCRATCH/before" "$CONF/zr-$which" "broken $which left as it was ($cmd)"
  done
done
# The same for the module files in module mode, while the standard ones are fine.
fresh_home
expect 254 "Bad update inventory or network config file
" -M -s
printf 'not xml at all' >"$CONF/zr-module-inventory"
cp "$CONF/zr-network" "$CONF/zr-module-network"
expect 254 "Bad update inventory or network config file
" -M -s
assert_eq "not xml at all" "$(cat "$CONF/zr-module-inventory")" "broken module inventory untouched"

# --- module mode uses the module files ---
fresh_home
write_inventory "$CONF/zr-module-inventory" "$(product_xml 77 Module /opt/m 3 1 0 2)"
write_network "$CONF/zr-module-network" "" module.orvanta.test
cp "$CONF/zr-inventory" "$ZR_SCRATCH/std-inventory"
cp "$CONF/zr-network" "$ZR_SCRATCH/std-network"
expect 0 "3.1.0.2
" -M -v --id 77
expect 0 "0
" -v --id 77
expect 0 "" --moduleverify -r --id 78 --name M2 --path /opt/m2 --version 4.0
zr -M -s
assert_contains "$OUT" "ProductID:   78" "module registration"
expect 255 "No any products exist in inventory" -s --id 78
# -M counts as an option of its own, so -M -S applies instead of showing.
expect 0 "ZRUpdate: network settings are changed
" -M -S
grep -q 'host="module.orvanta.test"' "$CONF/zr-module-network" || fail "module servers kept"
expect 0 "ZRUpdate: network settings are changed
" -M -S --timeout 9
grep -q 'timeout="9"' "$CONF/zr-module-network" || fail "module network not written"
assert_same_file "$ZR_SCRATCH/std-inventory" "$CONF/zr-inventory" "standard inventory untouched in module mode"
assert_same_file "$ZR_SCRATCH/std-network" "$CONF/zr-network" "standard network untouched in module mode"

# --- default package documents ---
fresh_home
expect 0 "ZRUpdate: Create default delay package config file
ZRUpdate: Create default delay package config file OK
<?xml version=\"1.0\" encoding=\"UTF-8\"?>
<PackageInfoList/>
" -P
assert_eq '<?xml version="1.0" encoding="UTF-8"?>
<PackageInfoList/>' "$(cat "$CONF/zr-delay-packages")" "default delay-package document"
assert_missing "$CONF/zr-partial-files"
expect 251 "ZRUpdate: Create default partial downloaded file info  config file
ZRUpdate: Create default partial downloaded file info config file OK
" --update
assert_eq '<?xml version="1.0" encoding="UTF-8"?>
<PartialFiles/>' "$(cat "$CONF/zr-partial-files")" "default partial-file document"
# Present documents are left alone; an empty one is made again.
printf '<PackageInfoList><PackageInfo/></PackageInfoList>' >"$CONF/zr-delay-packages"
: >"$CONF/zr-partial-files"
expect 251 "ZRUpdate: Create default partial downloaded file info  config file
ZRUpdate: Create default partial downloaded file info config file OK
" -u
assert_eq '<PackageInfoList><PackageInfo/></PackageInfoList>' "$(cat "$CONF/zr-delay-packages")" "existing delay list kept"
expect 228 "" -p
assert_eq '<PackageInfoList><PackageInfo/></PackageInfoList>' "$(cat "$CONF/zr-delay-packages")" "ping leaves the delay list"
# The id of update and package is checked after the documents are made.
rm "$CONF/zr-delay-packages"
expect 255 "ZRUpdate: Create default delay package config file
ZRUpdate: Create default delay package config file OK
ZRUpdate: invalid product id is specified!
" -P --id x1
# A document that cannot be made stops the run with 254.
fresh_home
mkdir "$CONF/zr-delay-packages"
touch "$CONF/zr-delay-packages/keep"
expect 254 "ZRUpdate: Create default delay package config file
ZRUpdate: Create default delay package config file failed
" -P --action remove
[[ -f "$CONF/zr-delay-packages/keep" ]] || fail "directory in the way was changed"

# --- --debug lets the diagnostics into the log ---
fresh_home
printf '<UpdateInfo><Broken></UpdateInfo>' >"$CONF/zr-lastupdate"
mark_log
zr -s --id 1000 --debug
assert_eq 0 "$RC" "status with a broken last-update file"
assert_not_contains "$OUT" "LastUpdate" "no last-update lines from a broken file"
assert_contains "$(new_log_text)" "mismatched tag at line 1" "parse error logged in debug mode"
mark_log
zr -s --id 1000
assert_eq "" "$(new_log_text)" "no diagnostics without --debug"
echo "startup: all passed"
