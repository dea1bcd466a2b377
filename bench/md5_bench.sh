#!/bin/bash
# Compares MD5::md5File with md5sum on a 256 MiB file of random bytes.
#
#   bench/md5_bench.sh [build-dir] [size-MiB] [repetitions]
#
# Builds the md5_bench target (optimised, in build/bench unless a configured
# build folder is given), creates the file under /tmp, runs both digests on it
# a few times with a warm cache and prints the best times and their ratio.
# The file is removed at the end.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build/bench}
size_mib=${2:-256}
repetitions=${3:-3}

source "$top/bench/lib.sh"
bench_build "$build" md5_bench

data=$(mktemp /tmp/zr-md5-bench.XXXXXX)
trap 'rm -f "$data"' EXIT
head -c "$((size_mib * 1024 * 1024))" /dev/urandom >"$data"

"$build/bench/md5_bench" "$data" "$repetitions"
