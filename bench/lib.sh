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
