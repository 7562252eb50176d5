#!/usr/bin/env bash
# Fits the search's constants on a folder of images (default ../shared/corpus), from the
# engine's own trials (DRAVIK_TRACE_SEARCH=1) and the judge's score of each whole output:
#
#   - the sample margin (quality.cpp): the search judges a sample, the judge the whole
#     image. Per image, whole/sample at the chosen setting; the margin must cover the
#     worst of these on the fitted images, and the hold-out images show whether it holds
#     on images it was not fitted on. Crowded samples (perceptual.h) are counted apart:
#     their JPEG margin is their own. WebP, AVIF and palettes then search on the real file
#     (the "whole" trace lines, left out here): for them the margin only places the first
#     file, and the ratio compares the sample's choice with the file written;
#   - the slopes (levelsearch.cpp): how ln(score) falls and ln(bytes) grows per unit of
#     the setting's axis (JPEG: -ln(100.5 - quality)), from every two trials of one
#     search, median per format.
#
#   bench/fit_search.sh [FILE|FOLDER...]      LEVELS (default "3 5 8"), FORMATS (default "jpg")
# HOLDOUT: as in bench/search.sh. Only outputs the engine re-encoded count (a lossless
# rewrite of the input has no trials).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${ENGINE:-$root/build/bin/dravik.bin}
judge=${JUDGE:-$root/build/bin/dravik-judge}
levels=${LEVELS:-"3 5 8"}
formats=${FORMATS:-jpg}
holdout=${HOLDOUT:-"BytheWater_2560x1600.jpg friends_by_Aitzol_Berasategi.jpg gimp-prefs-color-management.png schulz.png"}
inputs=("$@")
((${#inputs[@]})) || inputs=("$root/../shared/corpus")
work=$(mktemp -d "${TMPDIR:-/tmp}/dravik-fit-XXXXXX")
trap 'rm -rf "$work"' EXIT

source "$root/bench/stillimages.sh"
still_images "${inputs[@]}"

for f in "${files[@]}"; do
  name=$(basename "$f")
  held=0; [[ " $holdout " == *" $name "* ]] && held=1
  for fmt in $formats; do
    for level in $levels; do
      out=$work/out.$fmt
      DRAVIK_TRACE_SEARCH=1 "$engine" -in "$f" -out "$out" -outformat "$fmt" -reducemode "$level" -metadata strip \
        2>"$work/trace" || continue
      grep -q '^chose' "$work/trace" || continue
      whole=$("$judge" "$f" "$out")
      # image held level whole, then the trace
      { echo "image $name $held $fmt $level $whole"; cat "$work/trace"; } >>"$work/all"
    done
  done
done

awk '
function settle() { if (chosen == "") return; r = whole / sample; set = (held ? "hold-out" : "fitted") (kind == "crowded" ? ", crowded sample" : "")
  printf "%-36s %-5s L%s %-8s sample %.3f whole %.3f ratio %.3f\n", name, fmt, level, chosen, sample, whole, r
  ratios[set] = ratios[set] " " r; chosen = "" }
$1 == "sample" { kind = $2; next }
$1 == "image" { settle(); kind = ""; name = $2; held = $3; fmt = $4; level = $5; whole = $6; last = ""; next }
$1 == "trial" {
  split($3, a, ":"); q = a[1] + 0; sc = $4 + 0
  # JPEG settings on the quantiser axis the search models them on (perceptual.h)
  if ($2 ~ /^jpeg/) q = -log(100.5 - q)
  # slope between consecutive trials of one search
  by = $5 + 0
  if (last == $2 && q != lastq && sc > 0 && lastsc > 0) { s = log(lastsc / sc) / (q - lastq); if (s > 0) slopes[$2] = slopes[$2] " " s
    g = log(by / lastby) / (q - lastq); if (g > 0) growth[$2] = growth[$2] " " g }
  last = $2; lastq = q; lastsc = sc; lastby = by; next }
# The last search of an image is the one whose setting was written (a full-chroma JPEG
# search follows a failed halved one); a lossless rewrite of the input has no score.
$1 == "chose" { if ($4 + 0 > 0 && whole > 0) { chosen = $2; sample = $4 + 0 } next }
function sorted(list, out,   n, i, j, t) { n = split(list, out, " "); for (i = 2; i <= n; i++) for (j = i; j > 1 && out[j-1] + 0 > out[j] + 0; j--) { t = out[j]; out[j] = out[j-1]; out[j-1] = t } return n }
END {
  settle()
  for (k in ratios) { n = sorted(ratios[k], v); printf "%s: %d searches, whole/sample median %.3f, worst %.3f\n", k, n, v[int((n + 1) / 2)], v[n] }
  for (k in slopes) { n = sorted(slopes[k], v); printf "slope %s: median %.4f over %d trial pairs (quartiles %.4f %.4f)\n", k, v[int((n + 1) / 2)], n, v[int(n / 4) + 1], v[int(3 * n / 4) + 1] }
  for (k in growth) { n = sorted(growth[k], v); printf "byte growth %s: median %.4f over %d trial pairs (quartiles %.4f %.4f)\n", k, v[int((n + 1) / 2)], n, v[int(n / 4) + 1], v[int(3 * n / 4) + 1] }
}' "$work/all"
