#!/usr/bin/env bash
# Builds the XML benchmark in an optimised build folder and runs it: parsing
# and writing back an inventory of 10,000 products, against xmllint and xmlwf.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="$root/build/bench"
scratch="$build/scratch"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZRUPDATE_TESTS=OFF \
  -DZRUPDATE_HOME="$scratch/home" -DZRUPDATE_WORK_DIR="$scratch/work" \
  -DZRUPDATE_DELAY_STATUS_FILE="$scratch/delay-packages" >/dev/null
cmake --build "$build" -j2 --target xml_bench >/dev/null
for tool in xmllint xmlwf; do
  command -v "$tool" >/dev/null || echo "note: $tool is missing (scripts/deps.sh installs it)" >&2
done
exec "$(find "$build" -type f -perm -u+x -name xml_bench | head -n 1)"
