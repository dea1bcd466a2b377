#!/usr/bin/env bash
# Register, deregister, status and version against the real inventory file.
source "$(dirname "$0")/lib.sh"

UPDATER_BLOCK='ProductID:   1000
ProductName: Updater
Installpath: /opt/Orvanta/ZRUpdate
Description: Orvanta Updater
Version:     1.0.0.0
'

fresh_home
expect 0 "Installed Orvanta products: 

$UPDATER_BLOCK" -s
expect 0 "$UPDATER_BLOCK" -s --id 1000
# An empty id means all products.
expect 0 "Installed Orvanta products: 

$UPDATER_BLOCK" --status --id ""
expect 255 "No any products exist in inventory" -s --id 5
expect 0 "1.0.0.0
" -v
expect 0 "1.0.0.0
" --version --id 1000
expect 0 "0
" -v --id ""
expect 0 "0
" -v --id 01000

# --- registration with every option, logged at the debug level ---
SCAN_FIELDS='ProductID:   42
ProductName: Scan Engine
Installpath: /opt/Orvanta/scan
Description: Engine & more
LangCode:    en
OEM:    <OEM>
ParentIDs:   1000,7
SerialNo:    SN-1
'
mark_log
expect 0 "" -r --id 42 --name "Scan Engine" --path /opt/Orvanta/scan --desc "Engine & more" \
  --lang-code en --oem "<OEM>" --serialno SN-1 --parent "1000,7" --version 2.5 \
  --version-status beta --version-desc "first \"beta\"" --debug
assert_eq "debug	ZRUpdate: register product successful: ${SCAN_FIELDS} (2.5,beta,first \"beta\")" \
  "$(new_log_text)" "registration log message"
SCAN_BLOCK="${SCAN_FIELDS}Version:     2.5.0.0
"
expect 0 "$SCAN_BLOCK" -s --id 42
expect 0 "2.5.0.0
" -v --id 42
grep -q '<ZRVersionInfo major="2" minor="5" patchLevel="0" buildNum="0" status="beta"' \
  "$CONF/zr-inventory" || fail "numeric version stored"
xmllint --noout "$CONF/zr-inventory" || fail "inventory is not well-formed after special characters"

# --- registering the same id again replaces it, at the end of the list ---
expect 0 "" -r --id 42 --name Scan2 --path /opt/s2 --version 3.1.4.15
expect 0 "" -r --id 1000 --name Updater --path /opt/Orvanta/ZRUpdate --version 1.2 --desc "Orvanta Updater"
expect 0 "Installed Orvanta products: 

ProductID:   42
ProductName: Scan2
Installpath: /opt/s2
Version:     3.1.4.15

ProductID:   1000
ProductName: Updater
Installpath: /opt/Orvanta/ZRUpdate
Description: Orvanta Updater
Version:     1.2.0.0
" -s
assert_eq 2 "$(grep -c '<InstalledProduct>' "$CONF/zr-inventory")" "one record per id"

# A version that is not numbers is kept as text.
expect 0 "" -r --id 7 --name Seven --path /opt/7 --version beta
expect 0 "beta
" -v --id 7
grep -q '<ExtVersionInfo version="beta"' "$CONF/zr-inventory" || fail "text version stored"
expect 0 "0
" -v --id 007

# --- invalid registrations change nothing ---
cp "$CONF/zr-inventory" "$ZR_SCRATCH/before"
expect 255 "ZRUpdate: invalid product version is specified!
$TRY_HELP" -r --id 8 --name n --path /p --version 1.x
expect 255 "ZRUpdate: invalid product id is specified!
$TRY_HELP" -r --id abc --name n --path /p --version 1
expect 255 "ZRUpdate: no product id is specified!
$TRY_HELP" -r --id --name n --path /p --version 1
expect 255 "ZRUpdate: no product name is specified!
$TRY_HELP" -r --id 8 --path /p --version 1
expect 255 "ZRUpdate: no product version is specified!
$TRY_HELP" -r --id 8 --name n --path /p --version
assert_same_file "$ZR_SCRATCH/before" "$CONF/zr-inventory" "rejected registrations"

# --- last-update lines from conf/zr-lastupdate ---
cat >"$CONF/zr-lastupdate" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<UpdateInfo>
<Product ProductID="7" LastUpdate="2024-01-02 03:04:05" LASTSUCCESSUPDATE="2024-01-01" LastUpdateStatus="ok" UpdateMessage="all fine"/>
<Other productid="42" LastUpdate="yesterday"/>
<Product ProductID="7" LastUpdate="ignored"/>
</UpdateInfo>
XML
expect 0 "ProductID:   7
ProductName: Seven
Installpath: /opt/7
Version:     beta
LastUpdate: 2024-01-02 03:04:05
LastSuccessUpdate: 2024-01-01
LastUpdateStatus: ok
UpdateMessage: all fine
" -s --id 7
zr -s
assert_eq 0 "$RC" "status of all"
assert_contains "$OUT" "Version:     3.1.4.15
LastUpdate: yesterday
LastSuccessUpdate: 
LastUpdateStatus: 
UpdateMessage: 

ProductID:   1000" "missing attributes give empty values"

# --- deregistration ---
mark_log
expect 0 "" -d --id 7 --name "not compared" --debug
assert_eq "debug	ZRUpdate: deregister product successful: ProductID:   7
ProductName: Seven
Installpath: /opt/7
 (beta)" "$(new_log_text)" "deregistration log message"
expect 255 "No any products exist in inventory" -s --id 7
cp "$CONF/zr-inventory" "$ZR_SCRATCH/before"
mark_log
expect 252 "" --deregister --id 7 --name Seven --debug
assert_eq "debug	ZRUpdate: deregister product failed: ProductID:   7
ProductName: Seven
Installpath: 
 ()" "$(new_log_text)" "failed deregistration log message"
assert_same_file "$ZR_SCRATCH/before" "$CONF/zr-inventory" "failed deregistration"

# Removing every product leaves an empty list; without --debug the debug
# lines of a change stay out of the log.
mark_log
expect 0 "" -d --id 42 --name x
assert_eq "" "$(new_log_text)" "no debug line without --debug"
expect 0 "" -d --id 1000 --name x
expect 255 "No any products exist in inventory" -s
expect 0 "0
" -v
grep -q '<Products' "$CONF/zr-inventory" || fail "Products element kept"
expect 0 "" -r --id 1 --name One --path /one --version 1
expect 0 "Installed Orvanta products: 

ProductID:   1
ProductName: One
Installpath: /one
Version:     1
" -s

# An inventory without a product list cannot be registered into.
printf '<?xml version="1.0" encoding="UTF-8"?>\n<Inventory>\n<PlatformInfo os="Linux"/>\n</Inventory>\n' >"$CONF/zr-inventory"
cp "$CONF/zr-inventory" "$ZR_SCRATCH/before"
expect 253 "" -r --id 2 --name Two --path /two --version 2
expect 255 "No any products exist in inventory" -s
assert_same_file "$ZR_SCRATCH/before" "$CONF/zr-inventory" "failed registration"
echo "product: all passed"
