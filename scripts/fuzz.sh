#!/usr/bin/env bash
# Builds every fuzz target (*_fuzz.cpp) with clang, libFuzzer and the
# sanitizers in build/fuzz, then runs each for the given number of seconds
# (default 300), one after the other, on one core. New inputs are collected
# in build/fuzz/corpus/<target>; the seeds in the source tree are only read.
# Findings (crash-*, leak-*, timeout-*) land in build/fuzz/findings/<target>.
# Usage: scripts/fuzz.sh [seconds] [target-name-pattern]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
seconds="${1:-300}"
pattern="${2:-*}"
build="$root/build/fuzz"
scratch="$build/scratch"

mapfile -t sources < <(find "$root/modules" -path '*/tests/fuzz/*' -name "${pattern}_fuzz.cpp" | sort)
if [ ${#sources[@]} -eq 0 ]; then
  echo "no fuzz targets match '${pattern}_fuzz.cpp'" >&2
  exit 1
fi

CC=clang CXX=clang++ cmake -S "$root" -B "$build" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZRUPDATE_FUZZ=ON -DZRUPDATE_SANITIZE=ON -DZRUPDATE_TESTS=ON \
  -DZRUPDATE_SCRATCH="$scratch" >/dev/null

status=0
for src in "${sources[@]}"; do
  name="$(basename "$src" .cpp)"
  echo "=== $name: build"
  cmake --build "$build" -j2 --target "$name"
  binary="$(find "$build" -type f -perm -u+x -name "$name" | head -n 1)"
  seeds="$(dirname "$src")/corpus/$name"
  corpus="$build/corpus/$name"
  findings="$build/findings/$name"
  mkdir -p "$corpus" "$findings"
  echo "=== $name: ${seconds}s"
  if ! (cd "$findings" && ASAN_OPTIONS=detect_leaks=1 "$binary" \
        -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 -print_final_stats=1 \
        "$corpus" "$seeds"); then
    echo "=== $name: FINDING, see $findings" >&2
    status=1
  fi
done
exit $status
