#!/usr/bin/env bash
# Peak memory of one engine run: a 24-megapixel JPEG photo made smaller to a long side of
# 1920, at the default level (the perceptual search) and at a fixed -quality 80, and the
# same image kept at its size for comparison. Prints each run's peak resident set (from
# /usr/bin/time -v) against the 250 MB budget.
#
#   bench/memory.sh [JPEG]       (default: a generated 6000x4000 photo-like JPEG)
#
# Environment: ENGINE (default build/bin/dravik.bin), BUDGET_MB (default 250).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${ENGINE:-$root/build/bin/dravik.bin}
budget=${BUDGET_MB:-250}
[[ -x $engine ]] || { echo "engine not found: $engine (run scripts/build)" >&2; exit 2; }
[[ -x /usr/bin/time ]] || { echo "missing /usr/bin/time (Debian: time)" >&2; exit 2; }
command -v vips >/dev/null || { echo "missing vips (Debian: libvips-tools)" >&2; exit 2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/dravik-memory-XXXXXX")
trap 'rm -rf "$work"' EXIT

input=${1:-}
if [[ -z $input ]]; then
  # Photo-like: smooth coloured shapes (three noise fields at a large scale) with fine
  # grain on top, so the encoder and the search see both flat areas and texture.
  input=$work/photo24mp.jpg
  for band in 0 1 2; do vips perlin "$work/p$band.v" 6000 4000 --cell-size $((300 + 120 * band)) --seed $band; done
  vips bandjoin "$work/p0.v $work/p1.v $work/p2.v" "$work/rgb.v"
  vips linear "$work/rgb.v" "$work/shapes.v" 110 128
  vips gaussnoise "$work/grain.v" 6000 4000 --sigma 6 --mean 0
  vips add "$work/shapes.v" "$work/grain.v" "$work/sum.v"
  vips cast "$work/sum.v" "$work/photo.v" uchar
  vips copy "$work/photo.v" "$work/photo.srgb.v" --interpretation srgb
  vips copy "$work/photo.srgb.v" "$input[Q=90]"
  rm -f "$work"/*.v
fi
echo "input: $(vipsheader "$input" | sed 's/^[^:]*: //'), $(($(stat -c %s "$input") / 1024)) KiB; load average $(cut -d' ' -f1 /proc/loadavg)"

peak() { # label, engine options...
  local label=$1; shift
  /usr/bin/time -v -o "$work/time.txt" "$engine" -in "$input" -out "$work/out.jpg" -outformat jpg "$@" >/dev/null
  local kb secs
  kb=$(awk -F': ' '/Maximum resident set size/ {print $2}' "$work/time.txt")
  secs=$(awk -F': ' '/Elapsed \(wall clock\)/ {print $2}' "$work/time.txt")
  printf '%-32s peak %4d MB  (%s wall)  %s\n' "$label" $((kb / 1024)) "$secs" \
    "$( ((kb / 1024 < budget)) && echo "under $budget MB" || echo "OVER $budget MB")"
  rm -f "$work/out.jpg"
}
peak "long side 1920, level 5" -longside 1920
peak "long side 1920, -quality 80" -longside 1920 -quality 80
peak "same size, -quality 80" -quality 80
