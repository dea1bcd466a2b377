#!/usr/bin/env bash
# The Debian package: built with cpack from a build with the production paths,
# in two versions, checked by lintian, installed with `dpkg --root` into a
# scratch root (maintainer scripts run without chroot, DPKG_ROOT set), the
# installed program run in a chroot of that root. Install, upgrade, remove and
# purge each leave the files and modes they promise: the first documents come
# from the postinst, an upgrade keeps the documents byte for byte, removal
# leaves them, purge keeps only the inventories. The systemd units verify and
# the service's exposure stays low.
source "$(dirname "$0")/lib.sh"

: "${ZR_SOURCE_DIR:?ZR_SOURCE_DIR is not set}"
: "${ZR_BINARY_DIR:?ZR_BINARY_DIR is not set}"
for tool in cpack dpkg dpkg-deb ldd chroot readelf; do
  command -v "$tool" >/dev/null || skip "$tool is not installed"
done
[[ "$(id -u)" -eq 0 ]] || skip "the installed program runs in a chroot, which needs root"
in_root() { chroot "$root" "$@"; }

# The package build lives in the build tree, so later runs are incremental;
# the second version differs only in its version, which needs no rebuild.
build="$ZR_BINARY_DIR/package-build"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
package() {  # VERSION: builds the package of that version into $ZR_SCRATCH
  {
    cmake -S "$ZR_SOURCE_DIR" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZRUPDATE_TESTS=OFF \
      -DZRUPDATE_SCRATCH= -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON -DZR_PACKAGE_VERSION="$1" \
      "${launcher[@]}" &&
      cmake --build "$build" -j2 --target ZRUpdate zrupdate-init zrupload &&
      rm -f "$build"/*.deb && (cd "$build" && cpack -G DEB) &&
      mv "$build/zrupdate_$1_"*.deb "$ZR_SCRATCH/"
  } >"$ZR_SCRATCH/build.log" 2>&1 || { tail -30 "$ZR_SCRATCH/build.log" >&2; fail "package build $1 failed"; }
}
package 1.0.1
package 1.0.0
old=("$ZR_SCRATCH"/zrupdate_1.0.0_*.deb)
new=("$ZR_SCRATCH"/zrupdate_1.0.1_*.deb)
contents="$(dpkg-deb -c "${old[0]}")"
assert_not_contains "$contents" "conf/zr-" "documents shipped as package files"
for doc in share/doc/zrupdate/copyright share/doc/zrupdate/changelog.gz \
  share/man/man1/ZRUpdate.1.gz share/man/man1/zrupload.1.gz share/man/man8/zrupdate-init.8.gz; do
  assert_contains "$contents" "./usr/$doc" "packaged documentation"
done
depends="$(dpkg-deb -f "${old[0]}" Depends)"
assert_contains "$depends" "libxml-parser-perl" "Depends"
assert_contains "$depends" "ca-certificates" "Depends"
assert_eq "/etc/logrotate.d/zrupdate" "$(dpkg-deb --ctrl-tarfile "${old[0]}" | tar -xO ./conffiles)" \
  "conffiles"

# lintian: no error and no warning that is not overridden with its reason.
if command -v lintian >/dev/null; then
  lintian --fail-on error,warning --no-tag-display-limit "${old[0]}" >"$ZR_SCRATCH/lintian.log" 2>&1 ||
    { cat "$ZR_SCRATCH/lintian.log" >&2; fail "lintian"; }
  echo "lintian: $(grep -c '^[EW]:' "$ZR_SCRATCH/lintian.log") errors and warnings"
else
  echo "lintian is not installed: not run"
fi

root="$ZR_SCRATCH/root"
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/tmp"
touch "$root/var/lib/dpkg/status" "$root/var/lib/dpkg/available"
# The scratch root has none of the libraries the package depends on.
dpkg_root() {
  dpkg --root="$root" --force-script-chrootless --force-depends --log=/dev/null "$@" \
    >"$ZR_SCRATCH/dpkg.log" 2>&1 || { cat "$ZR_SCRATCH/dpkg.log" >&2; fail "dpkg $* failed"; }
}
installed_version() { dpkg-query --admindir="$root/var/lib/dpkg" -W -f='${Version} ${db:Status-Abbrev}' zrupdate; }
home="$root/opt/Orvanta/ZRUpdate"
# mode_of PATH...: "mode path" lines, paths relative to the root
modes() { local p; for p in "$@"; do printf '%s %s\n' "$(stat -c %a "$root$p")" "$p"; done; }
check_package_files() {  # WHEN
  assert_eq "755 /usr/bin/ZRUpdate
755 /usr/bin/zrupload
755 /usr/libexec/zrupdate/zrupdate-init
644 /usr/lib/systemd/system/zrupdate.service
644 /etc/logrotate.d/zrupdate
755 /opt/Orvanta/ZRUpdate
755 /opt/Orvanta/ZRUpdate/bin
755 /opt/Orvanta/ZRUpdate/bin/update_status.pl
755 /opt/Orvanta/ZRUpdate/bin/write_lock.pl
700 /opt/Orvanta/ZRUpdate/conf
700 /opt/Orvanta/ZRUpdate/logs
700 /opt/Orvanta/ZRUpdate/tmp" "$(modes /usr/bin/ZRUpdate /usr/bin/zrupload \
    /usr/libexec/zrupdate/zrupdate-init /usr/lib/systemd/system/zrupdate.service \
    /etc/logrotate.d/zrupdate \
    /opt/Orvanta/ZRUpdate /opt/Orvanta/ZRUpdate/bin /opt/Orvanta/ZRUpdate/bin/update_status.pl \
    /opt/Orvanta/ZRUpdate/bin/write_lock.pl /opt/Orvanta/ZRUpdate/conf /opt/Orvanta/ZRUpdate/logs \
    /opt/Orvanta/ZRUpdate/tmp)" "files and modes $1"
  local program
  for program in "$root"/usr/bin/* "$root"/usr/libexec/zrupdate/*; do
    ! readelf -S "$program" | grep -q '\.symtab' || fail "$program is not stripped $1"
  done
}

dpkg_root -i "${old[0]}"
assert_eq "1.0.0 ii " "$(installed_version)" "installed package"
check_package_files "after install"
assert_eq "600" "$(stat -c %a "$home/conf/zr-network")" "network settings (credentials) after install"

# The libraries the program needs, copied in so that it runs in the chroot.
for lib in $(ldd "$root/usr/bin/ZRUpdate" | grep -o '/[^ ]*'); do
  mkdir -p "$root$(dirname "$lib")"
  cp -L "$lib" "$root$lib"
done
# The first network settings verify servers against the system's CA bundle.
if [[ -f /etc/ssl/certs/ca-certificates.crt ]]; then
  assert_contains "$(cat "$home/conf/zr-network")" \
    '<Param name="ssl.server.cert" value="/etc/ssl/certs/ca-certificates.crt"/>' "first install verifies servers"
fi
assert_eq "1.0.0.0" "$(in_root /usr/bin/ZRUpdate -v)" "version of the installed updater"
status="$(in_root /usr/bin/ZRUpdate -s)"
assert_contains "$status" "ProductID:   1000
ProductName: Updater
Installpath: /opt/Orvanta/ZRUpdate" "status of the installed updater"

# Changed documents survive a reinstall, an upgrade and a removal.
in_root /usr/bin/ZRUpdate -r --id 42 --name Scanner --path /opt/scan --version 2.0 >/dev/null ||
  fail "register in the installed home"
in_root /usr/bin/ZRUpdate -S --timeout 60 --proxy proxy.test:3128 --proxy-user admin \
  --proxy-password secret >/dev/null || fail "settings in the installed home"
cp -p "$home/conf/zr-inventory" "$ZR_SCRATCH/inventory"
cp -p "$home/conf/zr-network" "$ZR_SCRATCH/network"
assert_same_docs() {  # WHEN
  assert_same_file "$ZR_SCRATCH/inventory" "$home/conf/zr-inventory" "inventory $1"
  assert_same_file "$ZR_SCRATCH/network" "$home/conf/zr-network" "network settings $1"
  assert_eq "$(stat -c %a "$ZR_SCRATCH/network")" "$(stat -c %a "$home/conf/zr-network")" \
    "mode of the network settings $1"
}
dpkg_root -i "${old[0]}"
assert_same_docs "after a reinstall"
dpkg_root -i "${new[0]}"
assert_eq "1.0.1 ii " "$(installed_version)" "upgraded package"
check_package_files "after the upgrade"
assert_same_docs "after the upgrade"
assert_eq "2.0.0.0" "$(in_root /usr/bin/ZRUpdate -v --id 42)" "registered product after the upgrade"

# Removal takes the programs and an enabled timer's link, nothing of the home.
mkdir -p "$root/etc/systemd/system/timers.target.wants" "$root/tmp/zrupdate/pkg"
ln -s /usr/lib/systemd/system/zrupdate.timer "$root/etc/systemd/system/timers.target.wants/"
echo part >"$root/tmp/zrupdate/pkg/part"
echo line >>"$home/logs/zrupdate.log"
dpkg_root -r zrupdate
assert_eq "1.0.1 rc " "$(installed_version)" "removed package"
assert_missing "$root/usr/bin/ZRUpdate"
assert_missing "$root/usr/lib/systemd/system/zrupdate.service"
[[ -f "$root/etc/logrotate.d/zrupdate" ]] || fail "removal took the logrotate rule, a conffile"
[[ ! -L "$root/etc/systemd/system/timers.target.wants/zrupdate.timer" ]] || fail "timer link left"
assert_same_docs "after removal"
[[ -s "$home/logs/zrupdate.log" && -d "$root/tmp/zrupdate/pkg" ]] || fail "log or work folder lost by removal"
assert_eq "700 700" "$(stat -c %a "$home/conf" "$home/logs" | xargs)" "modes of the home after removal"

# Purge keeps the products' registrations only.
mkdir -p "$home/tmp"
touch "$home/conf/zr-module-inventory" "$home/conf/zr-lastupdate" "$home/tmp/zr-lastupdate.lock"
mkdir -p "$home/packages/42" && echo held >"$home/packages/42/p.zip"
dpkg_root -P zrupdate
assert_eq "" "$(installed_version 2>/dev/null)" "purged package"
assert_eq "opt/Orvanta/ZRUpdate/conf/zr-inventory
opt/Orvanta/ZRUpdate/conf/zr-module-inventory" "$(cd "$root" && find opt -type f | sort)" \
  "files left by purge"
assert_same_file "$ZR_SCRATCH/inventory" "$home/conf/zr-inventory" "inventory after purge"
assert_missing "$root/tmp/zrupdate"
assert_missing "$root/etc/logrotate.d/zrupdate"

# Purge never follows a work folder that is a link someone planted in /tmp.
dpkg_root -i "${new[0]}"
mkdir -p "$ZR_SCRATCH/victim" && echo keep >"$ZR_SCRATCH/victim/file"
ln -s "$ZR_SCRATCH/victim" "$root/tmp/zrupdate"
dpkg_root -P zrupdate
assert_eq "keep" "$(cat "$ZR_SCRATCH/victim/file")" "target of a planted work-folder link"
rm -f "$root/tmp/zrupdate"

# The units parse and name an existing program; the targets they refer to
# are taken from this machine's systemd. The service's exposure is printed.
command -v systemd-analyze >/dev/null || skip "systemd-analyze is not installed"
dpkg_root -i "${new[0]}"
cp /usr/lib/systemd/system/*.target "$root/usr/lib/systemd/system/"
systemd-analyze verify --root="$root" --man=no \
  /usr/lib/systemd/system/zrupdate.service /usr/lib/systemd/system/zrupdate.timer ||
  fail "systemd-analyze verify"
[[ ! -e "$root/etc/systemd/system/timers.target.wants/zrupdate.timer" ]] || fail "timer enabled"
exposure="$(systemd-analyze security --offline=true --no-pager \
  "$root/usr/lib/systemd/system/zrupdate.service" 2>&1 | grep -o 'exposure level for .*')" ||
  fail "systemd-analyze security gave no score"
echo "systemd-analyze security: $exposure"
score="$(grep -oE ': [0-9]+\.[0-9]' <<<"$exposure" | tr -d ': ')"
awk -v s="$score" 'BEGIN { exit !(s <= 5.0) }' || fail "service exposure $score above 5.0"
echo "deb: all passed"
