#!/usr/bin/env bash
# Engine speed and memory against a plain libvips encode of the same image, in one run.
#
#   bench/engine.sh [path/to/dravik.bin]      (default: build/bin/dravik.bin)
#
# For every corpus image: wall time and peak memory (/usr/bin/time '%e %M') of
#   fixed quality:  dravik.bin -quality 80                vs  vips copy in out[Q=80]
#   resize:         dravik.bin -quality 80 -longside 1920 vs  vipsthumbnail in -s 1920 -o out[Q=80]
# The engine always uprights an EXIF orientation and turns CMYK into sRGB; vips copy does
# neither, so for such inputs the libvips side of the fixed-quality case is the libvips
# command that does the same job (vips autorot, vips icc_transform) in one encode.
# each in the input's own format, and the time ratio engine/vips. The summary gives the
# geometric-mean ratios and the peak memory of a 24-megapixel JPEG resized to 1920.
# Both sides run back to back, REPEAT times (default 3), and every figure is a median:
# the ratio is the median of the back-to-back pairs' ratios.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${1:-$root/build/bin/dravik.bin}
corpus=${DRAVIK_CORPUS_DIR:-$root/../shared/corpus}
repeat=${REPEAT:-3}

[[ -x $engine ]] || { echo "engine not found or not executable: $engine" >&2; exit 2; }
for tool in vips vipsthumbnail /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "missing tool: $tool (Debian: libvips-tools, time)" >&2; exit 2; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/dravik-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT

# Runs one command once; prints "seconds peakKiB", or "nan nan" when it failed.
once() {
  if ! /usr/bin/time -f '%e %M' -o "$work/time" "$@" >/dev/null 2>"$work/err"; then
    echo "FAILED: $*" >&2
    sed 's/^/  /' "$work/err" | tail -3 >&2
    echo "nan nan"
    return
  fi
  tail -1 "$work/time"
}

# Runs the engine command and the libvips command alternately REPEAT times, given as
#   pair ENGINE-ARGS... -- VIPS-ARGS...
# and prints "eng_s eng_KiB vips_s vips_KiB ratio": the medians of each column, the ratio
# being the median of the pairs' own ratios. A pair shares the machine's state of the
# moment, so on a shared, noisy machine its ratio holds where the absolute times do not.
pair() {
  local -a a=() b=()
  while [[ $1 != -- ]]; do a+=("$1"); shift; done
  shift
  b=("$@")
  for ((i = 0; i < repeat; i++)); do
    echo "$(once "${a[@]}") $(once "${b[@]}")"
  done | awk '
    function median(v, n,   i, j, t) {
      for (i = 2; i <= n; i++) { t = v[i]; for (j = i - 1; j >= 1 && v[j] > t; j--) v[j + 1] = v[j]; v[j + 1] = t }
      return n % 2 ? v[(n + 1) / 2] : (v[n / 2] + v[n / 2 + 1]) / 2
    }
    $1 == "nan" || $3 == "nan" { failed = 1; next }
    { n++; es[n] = $1; em[n] = $2; vs[n] = $3; vm[n] = $4; r[n] = ($3 > 0 ? $1 / $3 : 0) }
    END {
      if (failed || !n) { print "nan nan nan nan nan"; exit }
      printf "%.2f %d %.2f %d %.2f\n", median(es, n), median(em, n), median(vs, n), median(vm, n), median(r, n)
    }'
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
      orientation=$(vipsheader -f orientation "$f" 2>/dev/null || echo 1)
      if [[ $(vipsheader -f interpretation "$f" 2>/dev/null) == *CMYK* ]]; then
        vips_cmd=(vips icc_transform "$f" "$work/v.$ext$opts" srgb --embedded --input-profile cmyk)
      elif [[ $orientation != 1 ]]; then
        vips_cmd=(vips autorot "$f" "$work/v.$ext$opts")
      else
        vips_cmd=(vips copy "$f" "$work/v.$ext$opts")
      fi
      read -r es em vs vm ratio < <(pair "$engine" -in "$f" -out "$work/e.$ext" -quality 80 -- "${vips_cmd[@]}")
    else
      read -r es em vs vm ratio < <(pair "$engine" -in "$f" -out "$work/e.$ext" -quality 80 -longside 1920 -- \
        vipsthumbnail "$f" -s 1920 -o "$work/v.$ext$opts")
    fi
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
