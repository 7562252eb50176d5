#!/usr/bin/env bash
# The per-image quality search: its cost against one plain encode, and what it delivers.
#
#   bench/search.sh [FILE|FOLDER...]            (default: ../shared/corpus)
#
# For every still image, one at a time (so timings do not disturb each other), at each
# level of LEVELS (default "5") and format of FORMATS (default "jpg"):
#   engine wall time; the plain encode's wall time (Debian's `vips copy` to JPEG at Q=80,
#   optimize_coding, interlace: decode and one encode, the yardstick); their ratio;
#   output bytes; the judge's score of the output against the input (dravik-judge: the
#   engine's own butteraugli at 80 nits, half size over 6 megapixels) and the level's bound.
# Totals per format and level: mean time ratio, within-bound share, worst score over the
# bound, total bytes. Images listed in HOLDOUT (basenames, default the ones no constant
# was fitted on, see bench/fit_search.sh) are summed apart as well.
# ENGINE and JUDGE override the programs; TRACE=1 shows the engine's trials.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${ENGINE:-$root/build/bin/dravik.bin}
judge=${JUDGE:-$root/build/bin/dravik-judge}
levels=${LEVELS:-5}
formats=${FORMATS:-jpg}
holdout=${HOLDOUT:-"BytheWater_2560x1600.jpg friends_by_Aitzol_Berasategi.jpg gimp-prefs-color-management.png schulz.png"}
inputs=("$@")
((${#inputs[@]})) || inputs=("$root/../shared/corpus")
for p in "$engine" "$judge"; do [[ -x $p ]] || { echo "not built: $p (cmake --build build --target dravik.bin dravik-judge)" >&2; exit 2; }; done
command -v vips >/dev/null || { echo "needs Debian's vips command (libvips-tools)" >&2; exit 2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/dravik-search-XXXXXX")
trap 'rm -rf "$work"' EXIT

source "$root/bench/stillimages.sh"
still_images "${inputs[@]}"

# "wall cpu" seconds of a command (cpu: user + system, steadier on a shared machine).
seconds() { /usr/bin/time -f '%e %U %S' -o "$work/time" "$@" >/dev/null 2>&1 || return 1; awk '{ print $1, $2 + $3 }' "$work/time"; }
bound() { echo "0.8 1.0 1.2 1.35 1.5 2.0 2.7 3.5" | cut -d' ' -f"$1"; }

echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"
rows=$work/rows.tsv
printf '%-36s %4s %2s %7s %7s %6s %6s %9s %6s %5s\n' image fmt L engine plain ratio cpu-r bytes score bound
for f in "${files[@]}"; do
  name=$(basename "$f")
  plain=$(seconds vips copy "$f" "$work/plain.jpg[Q=80,optimize_coding,interlace]")
  for fmt in $formats; do
    for level in $levels; do
      out=$work/out.$fmt
      rm -f "$out"
      if [[ -n ${TRACE:-} ]]; then
        DRAVIK_TRACE_SEARCH=1 "$engine" -in "$f" -out "$out" -outformat "$fmt" -reducemode "$level" -metadata strip
      fi
      t=$(seconds "$engine" -in "$f" -out "$out" -outformat "$fmt" -reducemode "$level" -metadata strip) ||
        { echo "engine failed on $name ($fmt, level $level)" >&2; continue; }
      bytes=$(stat -c %s "$out")
      score=$("$judge" "$f" "$out")
      b=$(bound "$level")
      read -r tw tc <<<"$t"; read -r pw pc <<<"$plain"
      printf '%-36s %4s %2s %7.2f %7.2f %6.2f %6.2f %9d %6.3f %5s\n' "$name" "$fmt" "$level" "$tw" "$pw" \
        "$(echo "$tw / $pw" | bc -l)" "$(echo "$tc / $pc" | bc -l)" "$bytes" "$score" "$b"
      held=0; [[ " $holdout " == *" $name "* ]] && held=1
      printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$name" "$fmt" "$level" "$tw" "$pw" "$bytes" "$score" "$b" "$held" "$tc" "$pc" >>"$rows"
    done
  done
done
echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"

[[ -s $rows ]] || exit 1
awk -F'\t' '
function add(k) { n[k]++; r[k] += $4 / $5; rc[k] += $10 / $11; by[k] += $6
  if ($7 <= $8) within[k]++; over = $7 / $8; if (over > worst[k]) worst[k] = over; if (over > 1.15) far[k]++ }
{ add($2 " L" $3 " all"); if ($9) add($2 " L" $3 " hold-out"); else add($2 " L" $3 " fitted") }
END {
  printf "\n%-22s %4s %11s %10s %8s %11s %9s %12s\n", "set", "n", "mean ratio", "cpu ratio", "within", "worst/bound", ">15% over", "bytes"
  PROCINFO["sorted_in"] = "@ind_str_asc"
  for (k in n) printf "%-22s %4d %11.2f %10.2f %7.0f%% %11.3f %9d %12d\n", k, n[k], r[k] / n[k], rc[k] / n[k], 100 * within[k] / n[k], worst[k], far[k], by[k]
}' "$rows"
