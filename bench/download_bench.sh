#!/bin/bash
# Downloads one package from a local nginx with the update client
# (ZRUpdateClient::downloadFile, then its MD5 check) and with curl -o
# followed by md5sum, in the same run, and prints for each the wall time
# (best of N) and the peak memory, and the time ratio.
#
#   bench/download_bench.sh [build-dir] [size-MiB] [repetitions]
#
# The package, the copies and nginx's folder live under /tmp and are removed
# at the end; nginx listens on 127.0.0.1 with an ephemeral port. The status
# script of the bench build's scratch home is a stub that does nothing.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build/bench}
size_mib=${2:-256}
repetitions=${3:-3}

source "$top/bench/lib.sh"
source "$top/tests/e2e/servers.sh"
bench_build "$build" download_bench
client="$build/bench/download_bench"
home=$(sed -n 's/^ZRUPDATE_HOME:PATH=//p' "$build/CMakeCache.txt")
work_dir=$(sed -n 's/^ZRUPDATE_WORK_DIR:PATH=//p' "$build/CMakeCache.txt")
mkdir -p "$home/bin" "$home/conf" "$work_dir"
printf '1;\n' >"$home/bin/update_status.pl"

work=$(mktemp -d /tmp/zr-download-bench.XXXXXX)
add_cleanup "rm -rf '$work'"
mkdir "$work/www"
head -c "$((size_mib * 1024 * 1024))" /dev/urandom >"$work/www/package.zip"
size=$(stat -c %s "$work/www/package.zip")
md5=$(md5sum "$work/www/package.zip" | cut -d' ' -f1)
start_nginx "$work/www"
url="http://127.0.0.1:$NGINX_PORT/package.zip"
printf '<?xml version="1.0" encoding="UTF-8"?>\n<ZRNetClientSettings>\n<ServerList type="http" mac="" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="60">\n<Server host="127.0.0.1:%s"/>\n</ServerList>\n</ZRNetClientSettings>\n' \
  "$NGINX_PORT" >"$work/zr-network"

declare -A commands=(
  [ZRUpdateClient]="$client $work/zr-network $url $work/copy $size $md5"
  [curl+md5sum]="sh -c 'curl -s -o $work/copy $url && md5sum $work/copy'"
)
declare -A best peak
for tool in curl+md5sum ZRUpdateClient; do
  best[$tool]=999999
  for ((i = 0; i < repetitions; i++)); do
    eval /usr/bin/time -f "'%e %M'" -o "$work/time" "${commands[$tool]}" >"$work/out"
    cmp -s "$work/www/package.zip" "$work/copy" || { echo "$tool: downloaded copy differs" >&2; exit 1; }
    grep -q "ok\|$md5" "$work/out" || { echo "$tool: digest not confirmed" >&2; exit 1; }
    read -r seconds kib <"$work/time"
    best[$tool]=$(awk -v a="${best[$tool]}" -v b="$seconds" 'BEGIN { print (b < a) ? b : a }')
    peak[$tool]=$kib
    rm -f "$work/copy"
  done
done

printf '%-15s %10s %12s\n' tool "wall s" "peak KiB"
for tool in curl+md5sum ZRUpdateClient; do
  printf '%-15s %10s %12s\n' "$tool" "${best[$tool]}" "${peak[$tool]}"
done
awk -v a="${best[ZRUpdateClient]}" -v b="${best[curl+md5sum]}" \
  'BEGIN { printf "ratio ZRUpdateClient/(curl+md5sum): %.2fx\n", (b > 0 ? a / b : 0) }'
