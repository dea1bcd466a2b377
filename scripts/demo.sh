#!/usr/bin/env bash
# Builds ZRUpdate, installs it with a scratch home under build/demo (nothing
# is written under /opt) and runs one complete update against the bundled
# reference update server on 127.0.0.1: a sample product is registered at
# version 2.1.0.0, a package of version 2.5.0.0 is built for it, and
# `ZRUpdate -u` downloads, checks, unpacks and installs it. The package is
# signed and the home holds the public key; a version 2.6.0.0 changed after
# signing is then refused. The server stops when the script ends, however it
# ends.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
demo="$root/build/demo"

bash "$root/scripts/deps.sh" demo

cmake -S "$root" -B "$demo/build" -DCMAKE_BUILD_TYPE=Release -DZRUPDATE_TESTS=OFF \
  -DCMAKE_INSTALL_PREFIX="$demo/prefix" \
  -DZRUPDATE_SCRATCH="$demo" >/dev/null
cmake --build "$demo/build" -j "$(nproc)"
# A fresh home every time, so the demo shows the same story on each run.
rm -rf "$demo/home" "$demo/work" "$demo/packages"
cmake --install "$demo/build" >/dev/null

zr="$demo/prefix/bin/ZRUpdate"
run() {
  echo
  printf '$ ZRUpdate'; printf ' %q' "$@"; echo
  local rc=0
  "$zr" "$@" || rc=$?
  echo "(exit status $rc)"
}

# The package: its install script prints what it was given and lays down a
# file in the product's folder.
packages="$demo/packages"
mkdir -p "$packages" "$demo/sample-product"
script="$demo/install-package"
cat >"$script" <<'EOF'
#!/bin/sh
# Install script of the sample package: -d <install path> -s <unpacked folder>
echo "install-package: called with: $*"
dest="$2"
cp "$4/payload.txt" "$dest/payload.txt" && echo "install-package: copied payload.txt to $dest"
EOF
echo "Sample Product 2.5.0.0" >"$demo/payload.txt"
# The signer's key pair: the private key signs, the public key goes into
# the home, which from then on installs only packages it signed.
key="$demo/signer.pem"
rm -f "$key" "${key%.pem}.pub.pem"
python3 "$root/tools/zr-make-package.py" --make-key "$key" >/dev/null
make_package() {  # VERSION
  python3 "$root/tools/zr-make-package.py" --root "$packages" --id 2001 --version "$1" \
    --name "Sample Product" --desc "Sample Product" --script "$script" \
    --payload "$demo/payload.txt" --bytes 2000000 --sign-key "$key" >/dev/null
}
make_package 2.5.0.0

port_file="$demo/server.port"
rm -f "$port_file"
python3 "$root/tools/zr-update-server.py" --root "$packages" --port 0 --port-file "$port_file" \
  >"$demo/server.log" 2>&1 &
server=$!
trap 'kill "$server" 2>/dev/null; wait "$server" 2>/dev/null || true' EXIT
for _ in $(seq 1 100); do [ -s "$port_file" ] && break; sleep 0.1; done
[ -s "$port_file" ] || { echo "the reference server did not start:"; cat "$demo/server.log"; exit 1; }
port="$(cat "$port_file")"
echo "Reference update server on 127.0.0.1:$port, serving $packages"

cp "${key%.pem}.pub.pem" "$demo/home/conf/zr-package-key.pem"
run -v
run -r --id 2001 --name "Sample Product" --path "$demo/sample-product" --version 2.1.0.0 \
    --version-status release --desc "Sample Product"
run -S --server "127.0.0.1:$port" --type http --timeout 30
run -s
run -u
run -s --id 2001
run -v --id 2001
run -p

# Version 2.6.0.0, signed, then changed on the server (one byte), its size
# and MD5 taken again as a broken-into server would: the signature no longer
# matches and the package is refused.
make_package 2.6.0.0
printf '\xff' | dd of="$packages/p2001-2.6.0.0.zip" bs=1 seek=100 conv=notrunc status=none
python3 "$root/tools/zr-make-package.py" --root "$packages" --id 2001 --version 2.6.0.0 --redigest >/dev/null
run -u
run -v --id 2001

echo
echo "Installed file: $(cat "$demo/sample-product/payload.txt")"
echo "Home of this demo: $demo/home"
echo "Log of the update ($demo/home/logs/zrupdate.log; run with --debug, the log"
echo "also holds the requests and answers, credentials masked):"
grep -P '^\S+ \S+\t(info|warning|error)\t' "$demo/home/logs/zrupdate.log" |
  awk '/\tDownload .* of / { last = $0; if (!shown++) print; next }
       { if (last != "") { print "  ..."; print last; last = "" } print }' | tail -n 20
