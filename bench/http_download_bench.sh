#!/bin/bash
# Downloads one large file from a local nginx with HttpConnection (the
# http_fetch driver, body read in 1024-byte pieces as the package download
# does) and with curl, in the same run, and prints for each the wall time
# (best of N), the peak memory and the system-call count, and the time ratio.
#
#   bench/http_download_bench.sh [build-dir] [size-MiB] [repetitions]
#
# Bar: at most 1.5x curl's time and 8 MiB peak memory. Everything it makes
# (the file, the copies, nginx's folder) lives under /tmp and is removed at
# the end; nginx listens on 127.0.0.1 with an ephemeral port.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build/bench}
size_mib=${2:-512}
repetitions=${3:-3}

source "$top/bench/lib.sh"
source "$top/tests/e2e/servers.sh"
bench_build "$build" http_fetch
fetch="$build/bench/http_fetch"

work=$(mktemp -d /tmp/zr-http-bench.XXXXXX)
add_cleanup "rm -rf '$work'"
mkdir "$work/www"
head -c "$((size_mib * 1024 * 1024))" /dev/urandom >"$work/www/file"
start_nginx "$work/www"
url="http://127.0.0.1:$NGINX_PORT/file"

declare -A commands=(
  [HttpConnection]="$fetch --out $work/copy $url"
  [curl]="curl -s -o $work/copy $url"
)
declare -A best peak calls
for tool in curl HttpConnection; do
  best[$tool]=999999
  for ((i = 0; i < repetitions; i++)); do
    /usr/bin/time -f '%e %M' -o "$work/time" ${commands[$tool]} >/dev/null
    cmp -s "$work/www/file" "$work/copy" || { echo "$tool: downloaded copy differs" >&2; exit 1; }
    read -r seconds kib <"$work/time"
    best[$tool]=$(awk -v a="${best[$tool]}" -v b="$seconds" 'BEGIN { print (b < a) ? b : a }')
    peak[$tool]=$kib
    rm -f "$work/copy"
  done
  strace -c -f -o "$work/strace" ${commands[$tool]} >/dev/null
  calls[$tool]=$(awk '$NF == "total" { print $4 }' "$work/strace")
  rm -f "$work/copy"
done

printf '%-15s %10s %12s %14s\n' tool "wall s" "peak KiB" "system calls"
for tool in curl HttpConnection; do
  printf '%-15s %10s %12s %14s\n' "$tool" "${best[$tool]}" "${peak[$tool]}" "${calls[$tool]}"
done
awk -v a="${best[HttpConnection]}" -v b="${best[curl]}" \
  'BEGIN { printf "ratio HttpConnection/curl: %.2fx (bar 1.5x)\n", (b > 0 ? a / b : 0) }'
