#!/usr/bin/env bash
# A whole update of one 256 MiB package, end to end: exchange with the
# reference update server, download from nginx on loopback, MD5 check, unzip,
# install script, inventory update. Against the same work done by
# `curl -o` + `md5sum` + `unzip` + the script in the same run. Prints both
# times, their ratio and the peak memory of the update beside that of an
# update with nothing to do.
#
#   bench/update_bench.sh [build-dir] [size-MiB] [repetitions]
#
# The build (default build/bench) has a scratch home of its own; the
# servers listen on 127.0.0.1 with ephemeral ports and stop at the end.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$root/build/bench}"
size_mib="${2:-256}"
repetitions="${3:-3}"

source "$root/bench/lib.sh"
bench_build "$build" ZRUpdate
bin="$build/modules/zrupdate/ZRUpdate"
home="$build/scratch/home"
work="$build/scratch/work"
case "$home" in /opt/*) echo "refusing the home $home" >&2; exit 1 ;; esac

ZR_SCRATCH="$(mktemp -d /tmp/zr-update-bench.XXXXXX)"
ZR_SOURCE_DIR="$root"
source "$root/tests/e2e/servers.sh"
add_cleanup "rm -rf '$ZR_SCRATCH'"
packages="$ZR_SCRATCH/packages"
mkdir -p "$packages"
start_nginx "$packages"
url="http://127.0.0.1:$NGINX_PORT/p7.zip"
python3 "$root/tools/zr-make-package.py" --root "$packages" --id 7 --version 2.5.0.0 \
  --file p7.zip --url "$url" --bytes "$((size_mib * 1024 * 1024))" >/dev/null
md5="$(python3 -c 'import json,sys; print(json.load(open(sys.argv[1]))["packages"][0]["md5"])' "$packages/manifest.json")"
start_update_server A "$packages"

# home MAJOR.MINOR: a fresh home with product 7 at that version.
home() {
  rm -rf "$home" "$work"
  mkdir -p "$home/conf" "$home/logs" "$home/bin" "$home/tmp"
  cp "$root"/install/bin/*.pl "$home/bin/"
  cat >"$home/conf/zr-inventory" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<ZRUpdateClientSettings><Inventory><PlatformInfo os="Linux" vendor="" arch="x86_64" version="6.1"/><Products>
<InstalledProduct><ProductInfo id="7" name="Seven" desc="Product 7" installPath="/opt/seven" serialNo="" parent="" langCode="" OEM=""/>
<ZRVersionInfo major="${1%.*}" minor="${1#*.}" patchLevel="0" buildNum="0" status="" desc=""/></InstalledProduct>
</Products></Inventory></ZRUpdateClientSettings>
XML
  cat >"$home/conf/zr-network" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<ZRNetClientSettings><ServerList type="http" mac="" isUsingProxy="0" proxy="" proxyuser="" user="" timeout="60">
<Server host="127.0.0.1:$UPDATE_PORT_A"/></ServerList></ZRNetClientSettings>
XML
}

now_ms() { echo $(($(date +%s%N) / 1000000)); }
# timed OUTFILE COMMAND...: runs under /usr/bin/time; prints milliseconds.
timed() {
  local out="$1" start end
  shift
  start=$(now_ms)
  /usr/bin/time -f %M -o "$out" "$@" >/dev/null 2>&1 || true
  end=$(now_ms)
  echo $((end - start))
}

baseline() {
  local dir="$ZR_SCRATCH/baseline"
  rm -rf "$dir"
  mkdir -p "$dir/unpacked"
  curl -s -o "$dir/p7.zip" "$url"
  [[ "$(md5sum "$dir/p7.zip" | cut -d' ' -f1)" == "${md5,,}" ]]
  unzip -q -o "$dir/p7.zip" -d "$dir/unpacked"
  rm -f "$dir/p7.zip"
  sh "$dir/unpacked/install-package" -d /opt/seven -s "$dir/unpacked"
  rm -rf "$dir"
}
export -f baseline
export url md5 ZR_SCRATCH

best_update=0 best_base=0
for ((i = 0; i < repetitions; i++)); do
  home 2.0
  t=$(timed "$ZR_SCRATCH/rss.update" "$bin" -u)
  [[ "$("$bin" -v --id 7)" == 2.5.0.0 ]] || { echo "the update did not install" >&2; exit 1; }
  ((best_update == 0 || t < best_update)) && best_update=$t
  t=$(timed "$ZR_SCRATCH/rss.base" bash -c baseline)
  ((best_base == 0 || t < best_base)) && best_base=$t
done
home 2.5
timed "$ZR_SCRATCH/rss.idle" "$bin" -u >/dev/null

rss_update=$(tail -1 "$ZR_SCRATCH/rss.update")
rss_idle=$(tail -1 "$ZR_SCRATCH/rss.idle")
echo "update of one ${size_mib} MiB package (best of $repetitions):"
printf '  ZRUpdate -u                      %6d ms\n' "$best_update"
printf '  curl + md5sum + unzip + script   %6d ms\n' "$best_base"
awk -v a="$best_update" -v b="$best_base" 'BEGIN { printf "  ratio                            %6.2fx (bar 1.5x)\n", a / b }'
printf '  peak memory: update %d KiB, nothing to do %d KiB, difference %d KiB (bar 8192)\n' \
  "$rss_update" "$rss_idle" "$((rss_update - rss_idle))"
