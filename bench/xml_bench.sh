#!/usr/bin/env bash
# Builds the XML benchmark in an optimised build folder and runs it: parsing
# and writing back an inventory of 10,000 products, against xmllint and xmlwf.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$root/build/bench}"
source "$root/bench/lib.sh"
bench_build "$build" xml_bench
for tool in xmllint xmlwf; do
  command -v "$tool" >/dev/null || echo "note: $tool is missing (scripts/deps.sh installs it)" >&2
done
exec "$(find "$build" -type f -perm -u+x -name xml_bench | head -n 1)"
