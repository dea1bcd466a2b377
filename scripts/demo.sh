#!/usr/bin/env bash
# Builds ZRUpdate, installs it with a scratch home under build/demo (nothing
# is written under /opt), and walks through its commands: version, register a
# sample product, status, network settings, deregister.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
demo="$root/build/demo"

bash "$root/scripts/deps.sh"

cmake -S "$root" -B "$demo/build" -DCMAKE_BUILD_TYPE=Release -DZRUPDATE_TESTS=OFF \
  -DCMAKE_INSTALL_PREFIX="$demo/prefix" \
  -DZRUPDATE_SCRATCH="$demo" >/dev/null
cmake --build "$demo/build" -j "$(nproc)" --target ZRUpdate zrupdate-init zrupload
cmake --install "$demo/build"

zr="$demo/prefix/bin/ZRUpdate"
run() {
  echo
  echo "\$ ZRUpdate $*"
  local rc=0
  "$zr" "$@" || rc=$?
  echo "(exit status $rc)"
}

run -v
run -r --id 2001 --name "Sample Product" --path /opt/sample --version 2.1.0-7 \
    --version-status release --desc "A sample product"
run -s
run -v --id 2001
run -S --server updates1.example.net,updates2.example.net --type http --timeout 60
run -S
run -d --id 2001 --name "Sample Product"
run -s --id 2001

echo
echo "Home of this demo: $demo/home"
echo "Inventory:"
cat "$demo/home/conf/zr-inventory"
echo "Log (last lines):"
tail -n 5 "$demo/home/logs/zrupdate.log"
