#!/usr/bin/env bash
# Installs the Debian 12 packages one job needs, and only those that are
# missing:
#
#   deps.sh demo    building and running the demo: compiler, CMake, the
#                   libraries, perl with XML::Parser, unzip, zip, python3,
#                   the openssl command (package keys and signatures)
#   deps.sh [test]  the demo's, and the test peers and tools: GoogleTest,
#                   nginx, tinyproxy, curl, strace, xmllint, systemd-analyze,
#                   logrotate, clang for the fuzz targets, clang-format for
#                   the style check, dpkg-dev and lintian for the package
#                   test (the benchmarks need nothing more)
#
# Services that come with a package installed here (nginx, tinyproxy) are
# stopped and disabled at once: the tests start their own on ephemeral ports,
# and nothing is left running or enabled on the machine.
set -euo pipefail

demo=(
  cmake make g++ pkg-config
  libssl-dev libexpat1-dev
  perl libxml-parser-perl unzip zip python3 openssl
)
test=(
  "${demo[@]}"
  expat libgtest-dev
  nginx tinyproxy curl strace
  libxml2-utils
  systemd logrotate dpkg-dev lintian
  clang clang-format libclang-rt-14-dev
)
services=(nginx tinyproxy)

case "${1:-}" in
  demo) packages=("${demo[@]}") ;;
  test|"") packages=("${test[@]}") ;;
  *) echo "usage: deps.sh demo|test" >&2; exit 2 ;;
esac

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing missing packages: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get -o DPkg::Lock::Timeout=300 update
$sudo apt-get -o DPkg::Lock::Timeout=300 install -y --no-install-recommends "${missing[@]}"

# Debian starts a service on installation where its policy allows; only the
# services of packages installed just now are touched, never one that was
# there before.
for service in "${services[@]}"; do
  [[ " ${missing[*]} " == *" $service "* ]] || continue
  if [ -d /run/systemd/system ]; then
    $sudo systemctl disable --now "$service.service" >/dev/null 2>&1 || true
  else
    $sudo service "$service" stop >/dev/null 2>&1 || true
    $sudo update-rc.d "$service" disable >/dev/null 2>&1 || true
  fi
  echo "Stopped and disabled the $service service (the tests start their own)"
done
