#!/usr/bin/env bash
# Engine speed and memory against a plain libvips encode of the same image, in one run.
#
#   bench/engine.sh [path/to/dravik.bin]      (default: build/bin/dravik.bin)
#
# For every corpus image: wall time and peak memory (/usr/bin/time '%e %M') of
#   fixed quality:  dravik.bin -quality 80                vs  vips copy in out[Q=80]
#   resize:         dravik.bin -quality 80 -longside 1920 vs  vipsthumbnail in -s 1920 -o out[Q=80]
# each in the input's own format, and the time ratio engine/vips. The summary gives the
# geometric-mean ratios and the peak memory of a 24-megapixel JPEG resized to 1920.
# Both sides run back to back on the same machine, so the ratios hold on a noisy machine
# where the absolute times do not. REPEAT=n keeps the fastest of n runs of each command.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${1:-$root/build/bin/dravik.bin}
corpus=${DRAVIK_CORPUS_DIR:-$root/../shared/corpus}
repeat=${REPEAT:-1}

[[ -x $engine ]] || { echo "engine not found or not executable: $engine" >&2; exit 2; }
for tool in vips vipsthumbnail /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "missing tool: $tool (Debian: libvips-tools, time)" >&2; exit 2; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/dravik-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT

# Runs a command REPEAT times; prints "seconds peakKiB" of the fastest run.
measure() {
  local best="" t m
  for ((i = 0; i < repeat; i++)); do
    if ! /usr/bin/time -f '%e %M' -o "$work/time" "$@" >/dev/null 2>"$work/err"; then
      echo "FAILED: $*" >&2
      sed 's/^/  /' "$work/err" | tail -3 >&2
      echo "nan nan"
      return
    fi
    read -r t m < <(tail -1 "$work/time")
    if [[ -z $best ]] || awk -v a="$t" -v b="${best%% *}" 'BEGIN{exit !(a<b)}'; then
      best="$t $m"
    fi
  done
  echo "$best"
}

ext_of() {
  case $(vipsheader -f vips-loader "$1" 2>/dev/null) in
    jpegload*) echo jpg ;;
    pngload*) echo png ;;
    gifload*) echo gif ;;
    webpload*) echo webp ;;
    heifload*) echo avif ;;
    *) echo "" ;;
  esac
}

# libvips' own options per format for "quality 80": for PNG that is a palette at quality 80
# (what a fixed quality means for PNG); GIF has no quality knob.
vips_opts() {
  case $1 in
    jpg|webp|avif) echo "[Q=80]" ;;
    png) echo "[palette=true,Q=80]" ;;
    *) echo "" ;;
  esac
}

big="$work/big24mp.jpg"
# A 24-megapixel-class photograph: the largest corpus photo enlarged (6615x3721).
vips resize "$corpus/Bridge_by_Sander_Klootwijk.jpg" "$big[Q=90]" 1.52 >/dev/null

ratios_q=()
ratios_r=()
ratios_qj=()
ratios_rj=()
big_mem=""
printf '%-38s %-6s %9s %9s %9s %9s %7s %10s %10s\n' image case eng_s eng_MB vips_s vips_MB ratio eng_bytes vips_bytes
for f in "$corpus"/*.jpg "$corpus"/*.png "$corpus"/*.gif "$corpus"/*.webp "$corpus"/*.avif "$big"; do
  [[ -f $f ]] || continue
  ext=$(ext_of "$f")
  [[ -n $ext ]] || continue
  name=$(basename "$f")
  opts=$(vips_opts "$ext")
  for case in quality resize; do
    rm -f "$work"/e.* "$work"/v.*
    if [[ $case == quality ]]; then
      read -r es em < <(measure "$engine" -in "$f" -out "$work/e.$ext" -quality 80)
      read -r vs vm < <(measure vips copy "$f" "$work/v.$ext$opts")
    else
      read -r es em < <(measure "$engine" -in "$f" -out "$work/e.$ext" -quality 80 -longside 1920)
      read -r vs vm < <(measure vipsthumbnail "$f" -s 1920 -o "$work/v.$ext$opts")
    fi
    ratio=$(awk -v a="$es" -v b="$vs" 'BEGIN{ if (a=="nan"||b=="nan"||b<=0) print "nan"; else printf "%.2f", a/b }')
    eb=$(stat -c %s "$work/e.$ext" 2>/dev/null || echo -)
    vb=$(stat -c %s "$work/v.$ext" 2>/dev/null || echo -)
    printf '%-38s %-6s %9s %9s %9s %9s %7s %10s %10s\n' "$name" "$case" "$es" \
      "$(awk -v k="$em" 'BEGIN{ if (k=="nan") print k; else printf "%.0f", k/1024 }')" "$vs" \
      "$(awk -v k="$vm" 'BEGIN{ if (k=="nan") print k; else printf "%.0f", k/1024 }')" "$ratio" "$eb" "$vb"
    if [[ $ratio != nan ]]; then
      # Runs under 50 ms are mostly start-up and timer resolution: they would swamp the mean.
      if awk -v b="$vs" 'BEGIN{exit !(b>=0.05)}'; then
        if [[ $case == quality ]]; then ratios_q+=("$ratio"); else ratios_r+=("$ratio"); fi
        if [[ $ext == jpg && $case == quality ]]; then ratios_qj+=("$ratio"); fi
        if [[ $ext == jpg && $case == resize ]]; then ratios_rj+=("$ratio"); fi
      fi
    fi
    if [[ $f == "$big" && $case == resize ]]; then big_mem=$em; fi
  done
done

geomean() { printf '%s\n' "$@" | awk '$1>0 { s += log($1); n++ } END { if (n) printf "%.2f (%d images)", exp(s/n), n; else print "n/a" }'; }
echo
echo "fixed quality 80, JPEG, engine/libvips time, geometric mean:     $(geomean "${ratios_qj[@]}")   target <= 1.30"
echo "fixed quality 80, all formats, geometric mean:                  $(geomean "${ratios_q[@]}")"
echo "long side 1920, JPEG, engine/vipsthumbnail time, geometric mean: $(geomean "${ratios_rj[@]}")"
echo "long side 1920, all formats, geometric mean:                    $(geomean "${ratios_r[@]}")"
if [[ -n $big_mem && $big_mem != nan ]]; then
  echo "24 MP JPEG to long side 1920, engine peak memory: $(awk -v k="$big_mem" 'BEGIN{printf "%.0f MB", k/1024}')   target < 250 MB"
else
  echo "24 MP JPEG to long side 1920: engine run FAILED"
fi
