#!/usr/bin/env bash
# A whole update of one 256 MiB package, end to end: exchange with the
# reference update server, download from nginx on loopback, MD5 check, unzip,
# install script, inventory update; once without a package key and once with
# one (the signature checked too). Against the same work done one step after
# another by `curl -o` + `md5sum` + `unzip` + the script in the same run, and
# for the keyed update also against that chain with openssl's signature check.
# Prints the times, the ratios (bar 0.9x: the checks ride along with the
# transfer) and the peak memory of each update beside that of an update with
# nothing to do (bar: 8 MiB more).
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
key="$ZR_SCRATCH/signer.pem"
python3 "$root/tools/zr-make-package.py" --make-key "$key" >/dev/null
python3 "$root/tools/zr-make-package.py" --root "$packages" --id 7 --version 2.5.0.0 \
  --file p7.zip --url "$url" --bytes "$((size_mib * 1024 * 1024))" --sign-key "$key" >/dev/null
md5="$(python3 -c 'import json,sys; print(json.load(open(sys.argv[1]))["packages"][0]["md5"])' "$packages/manifest.json")"
start_update_server A "$packages"

# home MAJOR.MINOR [KEY]: a fresh home with product 7 at that version, with
# the package key when KEY is "key".
home() {
  rm -rf "$home" "$work"
  mkdir -p "$home/conf" "$home/logs" "$home/bin" "$home/tmp"
  [[ "${2:-}" != key ]] || cp "${key%.pem}.pub.pem" "$home/conf/zr-package-key.pem"
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
# timed OUTFILE COMMAND...: runs under /usr/bin/time (OUTFILE: peak KiB, user
# and system seconds of it and its children); prints milliseconds.
timed() {
  local out="$1" start end
  shift
  start=$(now_ms)
  /usr/bin/time -f '%M %U %S' -o "$out" "$@" >/dev/null 2>&1 || true
  end=$(now_ms)
  echo $((end - start))
}

# baseline [signed]: the chain; "signed" adds the signature check a keyed
# update makes: the SHA-256 of the file verified with the public key by
# openssl, before unzip.
baseline() {
  local dir="$ZR_SCRATCH/baseline"
  rm -rf "$dir"
  mkdir -p "$dir/unpacked"
  curl -s -o "$dir/p7.zip" "$url"
  [[ "$(md5sum "$dir/p7.zip" | cut -d' ' -f1)" == "${md5,,}" ]]
  if [[ "${1:-}" == signed ]]; then
    openssl dgst -sha256 -binary "$dir/p7.zip" >"$dir/digest"
    base64 -d <<<"$signature" >"$dir/signature"
    openssl pkeyutl -verify -pubin -inkey "$public_key" -rawin -in "$dir/digest" \
      -sigfile "$dir/signature" >/dev/null
  fi
  unzip -q -o "$dir/p7.zip" -d "$dir/unpacked"
  rm -f "$dir/p7.zip"
  sh "$dir/unpacked/install-package" -d /opt/seven -s "$dir/unpacked"
  rm -rf "$dir"
}
signature="$(python3 -c 'import json,sys; print(json.load(open(sys.argv[1]))["packages"][0]["signature"])' "$packages/manifest.json")"
public_key="${key%.pem}.pub.pem"
export -f baseline
export url md5 signature public_key ZR_SCRATCH

# update_once KEY RSSFILE: one update from 2.0; prints its milliseconds.
update_once() {
  home 2.0 "$1"
  local t
  t=$(timed "$2" "$bin" -u)
  [[ "$("$bin" -v --id 7)" == 2.5.0.0 ]] || { echo "the update did not install ($1)" >&2; exit 1; }
  echo "$t"
}

# The CPU milliseconds of the last timed run into OUTFILE. On a shared
# machine the wall time swings with the load; the CPU time much less.
cpu_ms() { tail -1 "$1" | awk '{ printf "%d", ($2 + $3) * 1000 }'; }
declare -A wall cpu
keep_best() {  # MODE MS RSSFILE
  local c w="${wall[$1]:-0}" p="${cpu[$1]:-0}"
  c=$(cpu_ms "$3")
  ((w == 0 || $2 < w)) && wall[$1]=$2
  ((p == 0 || c < p)) && cpu[$1]=$c
  return 0
}
run_mode() {  # MODE
  case $1 in
    plain) keep_best plain "$(update_once "" "$ZR_SCRATCH/rss.plain")" "$ZR_SCRATCH/rss.plain" ;;
    key) keep_best key "$(update_once key "$ZR_SCRATCH/rss.key")" "$ZR_SCRATCH/rss.key" ;;
    base) keep_best base "$(timed "$ZR_SCRATCH/rss.base" bash -c baseline)" "$ZR_SCRATCH/rss.base" ;;
    signed) keep_best signed "$(timed "$ZR_SCRATCH/rss.signed" bash -c "baseline signed")" \
      "$ZR_SCRATCH/rss.signed" ;;
  esac
}
# The order turns round from one repetition to the next: the run after the
# chain pays for the write-back of what the chain left behind.
modes=(plain key base signed)
for ((i = 0; i < repetitions; i++)); do
  for ((k = 0; k < 4; k++)); do run_mode "${modes[(i + k) % 4]}"; done
done
home 2.5
timed "$ZR_SCRATCH/rss.idle" "$bin" -u >/dev/null

rss() { tail -1 "$ZR_SCRATCH/rss.$1" | cut -d' ' -f1; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2fx", a / b }'; }
line() {  # LABEL MODE [CHAIN]
  local chain="${3:-base}"
  printf '  %-32s %6d ms (ratio %s, bar 0.90x)  cpu %6d ms (ratio %s)\n' "$1" "${wall[$2]}" \
    "$(ratio "${wall[$2]}" "${wall[$chain]}")" "${cpu[$2]}" "$(ratio "${cpu[$2]}" "${cpu[$chain]}")"
}
echo "update of one ${size_mib} MiB package (best of $repetitions; load before: $(cut -d' ' -f1 /proc/loadavg)):"
printf '  %-32s %6d ms                          cpu %6d ms\n' "curl + md5sum + unzip + script" "${wall[base]}" "${cpu[base]}"
line "ZRUpdate -u, no key" plain
line "ZRUpdate -u, signed, with key" key
printf '  %-32s %6d ms                          cpu %6d ms\n' "the chain + openssl verify" "${wall[signed]}" "${cpu[signed]}"
line "ZRUpdate -u, with key, vs that" key signed
printf '  peak memory: nothing to do %d KiB; no key %d KiB (+%d); with key %d KiB (+%d) (bar +8192)\n' \
  "$(rss idle)" "$(rss plain)" "$(($(rss plain) - $(rss idle)))" "$(rss key)" "$(($(rss key) - $(rss idle)))"
