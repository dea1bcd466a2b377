#!/usr/bin/env bash
# Whole-process timings of the command line on large inventories:
#   - `ZRUpdate -s` on inventories of 100, 1,000 and 10,000 products, against
#     xmllint parsing the same file (the ratio is printed);
#   - registering one more product on each of them;
#   - registering the 1,001st product with conf/ on a tmpfs and on the build
#     folder's disk (the safe writer syncs the file and its directory).
#
#   bench/cli_bench.sh [build-dir]
# The build directory (default build/bench) is configured with a scratch home
# of its own, so nothing outside it is touched.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$root/build/bench}"
home="$build/scratch/home"
conf="$home/conf"

source "$root/bench/lib.sh"
bench_build "$build" ZRUpdate
bin="$build/modules/zrupdate/ZRUpdate"

# lastupdate N: one last-update entry per product.
lastupdate() {
  awk -v n="$1" 'BEGIN {
    print "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<UpdateInfo>"
    for (i = 1; i <= n; i++)
      printf "<Product ProductID=\"%d\" LastUpdate=\"2026-01-01 10:00:00\" LastSuccessUpdate=\"2026-01-01 10:00:00\" LastUpdateStatus=\"ok\" UpdateMessage=\"up to date\"/>\n", i
    print "</UpdateInfo>"
  }' >"$conf/zr-lastupdate"
}

# ms RUNS COMMAND...: mean wall time of one run in milliseconds.
ms() {
  local runs="$1"
  shift
  local start end
  start=$(date +%s%N)
  for ((i = 0; i < runs; i++)); do "$@" >/dev/null 2>&1 || true; done
  end=$(date +%s%N)
  echo $(((end - start) / runs / 1000))e-3 | awk '{ printf "%.2f", $1 }'
}

fresh() {
  rm -rf "$home"
  mkdir -p "$conf" "$home/logs"
  network >"$conf/zr-network"
}

printf '%-10s %12s %12s %8s %16s %14s %12s\n' products "status ms" "xmllint ms" ratio "+lastupdate ms" "register ms" "file KB"
prev_status=""
for n in 100 1000 10000; do
  fresh
  inventory "$n" >"$conf/zr-inventory"
  runs=$((n >= 10000 ? 5 : 20))
  status_ms=$(ms "$runs" "$bin" -s)
  xmllint_ms=$(ms "$runs" xmllint --noout "$conf/zr-inventory")
  lastupdate "$n"
  lastupdate_ms=$(ms "$runs" "$bin" -s)
  rm "$conf/zr-lastupdate"
  cp "$conf/zr-inventory" "$build/scratch/inventory-$n"
  start=$(date +%s%N)
  for ((i = 0; i < runs; i++)); do
    cp "$build/scratch/inventory-$n" "$conf/zr-inventory"
    "$bin" -r --id $((n + 1)) --name New --path /opt/new --version 1.0 >/dev/null
  done
  end=$(date +%s%N)
  register_ms=$(awk -v t=$((end - start)) -v r="$runs" 'BEGIN { printf "%.2f", t / r / 1e6 }')
  size_kb=$(($(stat -c %s "$conf/zr-inventory") / 1024))
  ratio=$(awk -v a="$status_ms" -v b="$xmllint_ms" 'BEGIN { printf "%.2f", a / b }')
  printf '%-10s %12s %12s %8s %16s %14s %12s\n' "$n" "$status_ms" "$xmllint_ms" "$ratio" "$lastupdate_ms" "$register_ms" "$size_kb"
  [[ -n "$prev_status" ]] && echo "           growth of -s over the previous size: x$(awk -v a="$status_ms" -v b="$prev_status" 'BEGIN { printf "%.1f", a / b }')"
  prev_status="$status_ms"
done

# The 1,001st product: tmpfs against the build folder's disk.
register_1001() {
  local runs=20 start end
  start=$(date +%s%N)
  for ((i = 0; i < runs; i++)); do
    cp "$build/scratch/inventory-1000" "$conf/zr-inventory"
    "$bin" -r --id 1001 --name New --path /opt/new --version 1.0 >/dev/null
  done
  end=$(date +%s%N)
  awk -v t=$((end - start)) -v r="$runs" 'BEGIN { printf "%.2f", t / r / 1e6 }'
}
fresh
disk_ms=$(register_1001)
echo "register the 1,001st product, conf/ on the build disk ($(df --output=fstype "$conf" | tail -1)): $disk_ms ms"
if mount -t tmpfs -o size=64m zr-bench "$conf" 2>/dev/null; then
  trap 'umount "$conf"' EXIT
  network >"$conf/zr-network"
  tmpfs_ms=$(register_1001)
  echo "register the 1,001st product, conf/ on tmpfs: $tmpfs_ms ms (disk/tmpfs x$(awk -v a="$disk_ms" -v b="$tmpfs_ms" 'BEGIN { printf "%.2f", a / b }'))"
else
  echo "tmpfs comparison skipped: cannot mount a tmpfs here"
fi
