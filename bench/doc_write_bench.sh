#!/usr/bin/env bash
# Cost of the safe document writer against an in-place rewrite, for the
# inventory of 1,001 products, on tmpfs (/dev/shm) and on the build folder's
# disk.   bench/doc_write_bench.sh [build-dir] [iterations]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$root/build/bench}"
iterations="${2:-200}"
source "$root/bench/lib.sh"
bench_build "$build" doc_write_bench
shm="$(mktemp -d /dev/shm/zr-bench.XXXXXX)"
disk="$(mktemp -d "$build/zr-bench.XXXXXX")"
trap 'rm -rf "$shm" "$disk"' EXIT
"$build/bench/doc_write_bench" "$shm" "$iterations"
"$build/bench/doc_write_bench" "$disk" "$iterations"
