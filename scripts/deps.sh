#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing, the benchmarks and
# the demo need, and only when one of them is missing.
set -euo pipefail

packages=(
  cmake make g++ pkg-config
  libssl-dev openssl libexpat1-dev expat libgtest-dev
  unzip zip perl python3
  nginx tinyproxy curl strace
  libxml2-utils
  systemd logrotate
  clang libclang-rt-14-dev
)

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
