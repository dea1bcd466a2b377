# shellcheck shell=bash
# Shared by the benchmark drivers: bench_build <build-dir> <target>...
# configures an optimised build whose fixed paths point at a scratch home
# inside the build folder (nothing is written under /opt) and builds the
# given targets.
bench_build() {
  local build="$1"; shift
  local root
  root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZRUPDATE_TESTS=OFF \
    -DZRUPDATE_SCRATCH="$build/scratch" >/dev/null
  local target
  for target in "$@"; do
    cmake --build "$build" -j2 --target "$target" >/dev/null
  done
}

# inventory N: prints an inventory document of N products.
inventory() {
  awk -v n="$1" 'BEGIN {
    print "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
    print "<ZRUpdateClientSettings>\n<Inventory>"
    print "<PlatformInfo os=\"Linux\" vendor=\"\" arch=\"x86_64\" version=\"6.1\"/>\n<Products>"
    for (i = 1; i <= n; i++) {
      print "<InstalledProduct>"
      printf "<ProductInfo id=\"%d\" name=\"Product %d\" desc=\"Description of product %d\" installPath=\"/opt/Orvanta/p%d\" serialNo=\"SN%d\" parent=\"1000\" langCode=\"en\" OEM=\"\"/>\n", i, i, i, i, i
      printf "<ZRVersionInfo major=\"%d\" minor=\"%d\" patchLevel=\"0\" buildNum=\"%d\" status=\"\" desc=\"\"/>\n", i % 10, i % 7, i
      print "</InstalledProduct>"
    }
    print "</Products>\n</Inventory>\n</ZRUpdateClientSettings>"
  }'
}

# network: prints a network settings document with one server.
network() {
  printf '<?xml version="1.0" encoding="UTF-8"?>\n<ZRNetClientSettings>\n<ServerList type="https" mac="" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="180">\n<Server host="update.orvanta.test"/>\n</ServerList>\n</ZRNetClientSettings>\n'
}
