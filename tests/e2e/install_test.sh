#!/usr/bin/env bash
# cmake --install lays down the programs, their man pages and the home with its
# first documents; a second install keeps an edited inventory.
source "$(dirname "$0")/lib.sh"

: "${ZR_BINARY_DIR:?ZR_BINARY_DIR is not set}"
stage="$ZR_SCRATCH/stage"
prefix="$ZR_SCRATCH/prefix"
home="$stage$ZRUPDATE_HOME"

install_once() {
  DESTDIR="$stage" cmake --install "$ZR_BINARY_DIR" --prefix "$prefix" >"$ZR_SCRATCH/install.log" 2>&1 ||
    { cat "$ZR_SCRATCH/install.log" >&2; fail "cmake --install failed"; }
}

install_once
[[ -x "$stage$prefix/bin/ZRUpdate" ]] || fail "program not installed"
for page in man1/ZRUpdate.1 man1/zrupload.1 man8/zrupdate-init.8; do
  [[ "$(zcat "$stage$prefix/share/man/$page.gz" | head -c 4)" == ".TH " ]] || fail "man page $page not installed"
done
for dir in conf logs bin tmp; do
  [[ -d "$home/$dir" ]] || fail "home directory $dir/ missing"
done
for script in update_status.pl write_lock.pl; do
  [[ -x "$home/bin/$script" ]] || fail "bin/$script not installed"
done

inventory="$home/conf/zr-inventory"
network="$home/conf/zr-network"
xmllint --noout "$inventory" "$network" || fail "first documents are not well-formed"
# The updater's own product and the platform of this machine.
assert_eq "1000" "$(xmllint --xpath 'string(//InstalledProduct/ProductInfo/@id)' "$inventory")" "product id"
assert_eq "Updater" "$(xmllint --xpath 'string(//ProductInfo/@name)' "$inventory")" "product name"
assert_eq "1" "$(xmllint --xpath 'count(//InstalledProduct)' "$inventory")" "one product"
assert_eq "beta" "$(xmllint --xpath 'string(//ZRVersionInfo/@status)' "$inventory")" "version status"
assert_eq "$(uname -s)" "$(xmllint --xpath 'string(//PlatformInfo/@os)' "$inventory")" "platform os"
assert_eq "$(uname -m)" "$(xmllint --xpath 'string(//PlatformInfo/@arch)' "$inventory")" "platform arch"
assert_eq "$(uname -r)" "$(xmllint --xpath 'string(//PlatformInfo/@version)' "$inventory")" "platform release"
assert_eq "https" "$(xmllint --xpath 'string(//ServerList/@type)' "$network")" "network type"
assert_eq "180" "$(xmllint --xpath 'string(//ServerList/@timeout)' "$network")" "network timeout"
assert_eq "1" "$(xmllint --xpath 'count(//ServerList/Server[@host!=""])' "$network")" "one default server"

# The laid-down documents are ones the program accepts.
rm -rf "$ZRUPDATE_HOME"
mkdir -p "$(dirname "$ZRUPDATE_HOME")"
cp -a "$home" "$ZRUPDATE_HOME"
expect 0 "1.0.0.0
" -v
zr -S
assert_eq 0 "$RC" "show the installed settings"
assert_contains "$OUT" "timeout:    180" "installed timeout"

# A second install keeps what was changed since and refills what is empty.
printf '<Inventory edited="yes"/>\n' >"$inventory"
cp "$inventory" "$ZR_SCRATCH/edited"
: >"$network"
install_once
assert_same_file "$ZR_SCRATCH/edited" "$inventory" "edited inventory kept by a second install"
xmllint --noout "$network" || fail "empty network file not refilled"
[[ -x "$stage$prefix/bin/ZRUpdate" ]] || fail "program missing after reinstall"
echo "install: all passed"
