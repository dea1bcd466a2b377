#!/usr/bin/env bash
# The Debian package: built with cpack from a build with the production paths,
# installed with `dpkg --root` into a scratch root (maintainer scripts run
# without chroot, DPKG_ROOT set), the installed program run in a chroot of that
# root. Its first documents are written by the postinst, a reinstall keeps the
# documents changed since, removal leaves them; the systemd units verify.
source "$(dirname "$0")/lib.sh"

: "${ZR_SOURCE_DIR:?ZR_SOURCE_DIR is not set}"
: "${ZR_BINARY_DIR:?ZR_BINARY_DIR is not set}"
for tool in cpack dpkg dpkg-deb ldd chroot; do
  command -v "$tool" >/dev/null || skip "$tool is not installed"
done
[[ "$(id -u)" -eq 0 ]] || skip "the installed program runs in a chroot, which needs root"
in_root() { chroot "$root" "$@"; }

# The package build lives in the build tree, so later runs are incremental.
build="$ZR_BINARY_DIR/package-build"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
{
  cmake -S "$ZR_SOURCE_DIR" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZRUPDATE_TESTS=OFF \
    -DZRUPDATE_SCRATCH= -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON "${launcher[@]}" &&
    cmake --build "$build" -j2 --target ZRUpdate zrupdate-init zrupload &&
    rm -f "$build"/*.deb && (cd "$build" && cpack -G DEB)
} >"$ZR_SCRATCH/build.log" 2>&1 || { tail -30 "$ZR_SCRATCH/build.log" >&2; fail "package build failed"; }
deb=("$build"/zrupdate_*.deb)
[[ -f "${deb[0]}" ]] || fail "no package in $build"
assert_not_contains "$(dpkg-deb -c "${deb[0]}")" "conf/zr-" "documents shipped as package files"

root="$ZR_SCRATCH/root"
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/tmp"
touch "$root/var/lib/dpkg/status" "$root/var/lib/dpkg/available"
# The scratch root has none of the libraries the package depends on.
dpkg_root() {
  dpkg --root="$root" --force-script-chrootless --force-depends --log=/dev/null "$@" \
    >"$ZR_SCRATCH/dpkg.log" 2>&1 || { cat "$ZR_SCRATCH/dpkg.log" >&2; fail "dpkg $* failed"; }
}
dpkg_root -i "${deb[0]}"

# The libraries the program needs, copied in so that it runs in the chroot.
for lib in $(ldd "$root/usr/bin/ZRUpdate" | grep -o '/[^ ]*'); do
  mkdir -p "$root$(dirname "$lib")"
  cp -L "$lib" "$root$lib"
done
home="$root/opt/Orvanta/ZRUpdate"
# The first network settings verify servers against the system's CA bundle.
if [[ -f /etc/ssl/certs/ca-certificates.crt ]]; then
  assert_contains "$(cat "$home/conf/zr-network")" \
    '<Param name="ssl.server.cert" value="/etc/ssl/certs/ca-certificates.crt"/>' "first install verifies servers"
fi
for script in "$ZR_SOURCE_DIR"/install/bin/*.pl; do
  [[ ! -e "$script" || -x "$home/bin/${script##*/}" ]] || fail "bin/${script##*/} not installed"
done

assert_eq "1.0.0.0" "$(in_root /usr/bin/ZRUpdate -v)" "version of the installed updater"
status="$(in_root /usr/bin/ZRUpdate -s)"
assert_contains "$status" "ProductID:   1000
ProductName: Updater
Installpath: /opt/Orvanta/ZRUpdate" "status of the installed updater"

# Changed documents survive a reinstall and a removal.
in_root /usr/bin/ZRUpdate -r --id 42 --name Scanner --path /opt/scan --version 2.0 >/dev/null ||
  fail "register in the installed home"
in_root /usr/bin/ZRUpdate -S --timeout 60 >/dev/null || fail "settings in the installed home"
cp "$home/conf/zr-inventory" "$ZR_SCRATCH/inventory"
cp "$home/conf/zr-network" "$ZR_SCRATCH/network"
dpkg_root -i "${deb[0]}"
assert_same_file "$ZR_SCRATCH/inventory" "$home/conf/zr-inventory" "inventory after a reinstall"
assert_same_file "$ZR_SCRATCH/network" "$home/conf/zr-network" "network settings after a reinstall"
assert_eq "2.0.0.0" "$(in_root /usr/bin/ZRUpdate -v --id 42)" "registered product after a reinstall"
dpkg_root -r zrupdate
assert_missing "$root/usr/bin/ZRUpdate"
assert_same_file "$ZR_SCRATCH/inventory" "$home/conf/zr-inventory" "inventory after removal"
assert_same_file "$ZR_SCRATCH/network" "$home/conf/zr-network" "network settings after removal"

# The units parse and name an existing program; the targets they refer to
# are taken from this machine's systemd.
command -v systemd-analyze >/dev/null || skip "systemd-analyze is not installed"
dpkg_root -i "${deb[0]}"
cp /usr/lib/systemd/system/*.target "$root/usr/lib/systemd/system/"
systemd-analyze verify --root="$root" --man=no \
  /usr/lib/systemd/system/zrupdate.service /usr/lib/systemd/system/zrupdate.timer ||
  fail "systemd-analyze verify"
[[ ! -e "$root/etc/systemd/system/timers.target.wants/zrupdate.timer" ]] || fail "timer enabled"
echo "deb: all passed"
