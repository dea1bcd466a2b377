#!/usr/bin/env bash
# The project's one test command: installs what is missing, then configures,
# builds and runs every test twice, once plainly and once under
# AddressSanitizer and UndefinedBehaviorSanitizer. Both builds use a scratch
# home under the build tree, so nothing is written under /opt.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
jobs="$(nproc)"

bash "$root/scripts/deps.sh" test

# The C++ sources keep the project's .clang-format: a file that differs fails
# the run before anything is built.
echo "=== format check ==="
(cd "$root" && find modules tools tests bench -name '*.cpp' -o -name '*.h' | sort |
  xargs clang-format --dry-run --Werror)

run_build() {
  local name="$1"; shift
  local dir="$root/build/$name"
  local scratch="$dir/scratch"
  echo "=== $name build ==="
  cmake -S "$root" -B "$dir" \
    -DZRUPDATE_WERROR=ON \
    -DZRUPDATE_SCRATCH="$scratch" \
    "$@"
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" --output-on-failure -j "$jobs" --timeout 600
}

run_build test -DCMAKE_BUILD_TYPE=RelWithDebInfo
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  run_build sanitize -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZRUPDATE_SANITIZE=ON
