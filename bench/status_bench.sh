#!/usr/bin/env bash
# `ZRUpdate -s` against `xmllint --noout` on the same inventory, for 1,000
# and 10,000 products, in the same run; prints the ratio of the two.
#
#   bench/status_bench.sh [build-dir] [rounds]
# The machine may be shared, so each command is timed by the processor time
# it uses (user and system), in alternating rounds, and the fastest round of
# each counts: that is the cost of the work itself, without the time spent
# waiting for a core.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$root/build/bench}"
rounds="${2:-7}"
home="$build/scratch/home"

source "$root/bench/lib.sh"
bench_build "$build" ZRUpdate
bin="$build/modules/zrupdate/ZRUpdate"
command -v xmllint >/dev/null || { echo "xmllint is missing (scripts/deps.sh installs it)" >&2; exit 1; }

# round_us RUNS COMMAND...: processor time of one run in microseconds.
round_us() {
  local runs="$1" i cpu
  shift
  local TIMEFORMAT='%3U %3S'
  cpu=$({ time for ((i = 0; i < runs; i++)); do "$@" >/dev/null 2>&1 || true; done; } 2>&1)
  awk -v c="$cpu" -v r="$runs" 'BEGIN { split(c, t, " "); printf "%d", (t[1] + t[2]) * 1e6 / r }'
}

rm -rf "$home"
mkdir -p "$home/conf" "$home/logs"
network >"$home/conf/zr-network"
printf '%-10s %12s %12s %8s\n' products "status ms" "xmllint ms" ratio
for n in 1000 10000; do
  inventory "$n" >"$home/conf/zr-inventory"
  "$bin" -s >/dev/null || { echo "ZRUpdate -s failed on $n products" >&2; exit 1; }
  runs=$((n >= 10000 ? 3 : 20))
  best_status="" best_xmllint=""
  for ((r = 0; r < rounds; r++)); do
    s=$(round_us "$runs" "$bin" -s)
    x=$(round_us "$runs" xmllint --noout "$home/conf/zr-inventory")
    [[ -z "$best_status" || $s -lt $best_status ]] && best_status=$s
    [[ -z "$best_xmllint" || $x -lt $best_xmllint ]] && best_xmllint=$x
  done
  awk -v n="$n" -v s="$best_status" -v x="$best_xmllint" \
    'BEGIN { printf "%-10d %12.2f %12.2f %8.2f\n", n, s / 1000, x / 1000, s / x }'
done
