#!/usr/bin/env bash
# Photos to JPEG, long side 1920, at a fixed quality of 80: the engine one and two files at
# a time, against the npm image library sharp (mozjpeg, its own libvips) doing the same in
# one process, one and two at a time. Prints megapixels of input per second and the ratio,
# the CPU seconds each spent (user + system: steadier than the wall clock on a loaded
# machine, though it hides what threads win), and the load average the round ran under.
#
#   bench/throughput.sh [FOLDER]      (default: ../shared/corpus; its JPEG files are used)
#
# Environment: ENGINE (default build/bin/dravik.bin), ROUNDS (default 3: each figure is the
# best of the rounds, engine and sharp alternating, so both see the same machine).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${ENGINE:-$root/build/bin/dravik.bin}
folder=${1:-$root/../shared/corpus}
rounds=${ROUNDS:-3}
[[ -x $engine ]] || { echo "engine not found: $engine (run scripts/build)" >&2; exit 2; }
command -v vipsheader >/dev/null || { echo "missing vipsheader (Debian: libvips-tools)" >&2; exit 2; }

sharp_dir=${SHARP_DIR:-${TMPDIR:-/tmp}/dravik-bench-sharp}
if [[ ! -d $sharp_dir/node_modules/sharp ]]; then
  mkdir -p "$sharp_dir"
  (cd "$sharp_dir" && npm install --silent --no-save sharp >/dev/null)
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/dravik-throughput-XXXXXX")
trap 'rm -rf "$work"' EXIT

photos=()
megapixels=0
for f in "$folder"/*; do
  [[ $(vipsheader -f vips-loader "$f" 2>/dev/null) == jpegload ]] || continue
  photos+=("$f")
  w=$(vipsheader -f width "$f"); h=$(vipsheader -f height "$f")
  megapixels=$(echo "$megapixels + $w * $h / 1000000" | bc -l)
done
((${#photos[@]})) || { echo "no JPEG photos in $folder" >&2; exit 2; }
printf '%s\n' "${photos[@]}" >"$work/list"

cat >"$work/sharp.js" <<'EOF'
const sharp = require(process.env.SHARP_DIR + '/node_modules/sharp');
const fs = require('fs');
const [list, outDir, parallel] = process.argv.slice(2);
const files = fs.readFileSync(list, 'utf8').split('\n').filter(Boolean);
let next = 0;
async function worker(id) {
  while (next < files.length) {
    const i = next++;
    await sharp(files[i]).rotate().resize(1920, 1920, { fit: 'inside', withoutEnlargement: true })
      .jpeg({ quality: 80, mozjpeg: true }).toFile(`${outDir}/${i}.jpg`);
  }
}
Promise.all(Array.from({ length: Number(parallel) }, (_, id) => worker(id))).catch(e => { console.error(e); process.exit(1); });
EOF

# timed VAR CMD...: runs CMD (a command or one of the functions below), sets VAR to
# "wall cpu" in seconds. /usr/bin/time runs programs, so the functions go through bash.
timed() {
  local var=$1; shift
  /usr/bin/time -f '%e %U %S' -o "$work/time" bash -c '"$@"' timed "$@"
  printf -v "$var" '%s' "$(awk '{print $1, $2 + $3}' "$work/time")"
}
engine_run() { # parallel
  xargs -a "$work/list" -d '\n' -P "$1" -I{} sh -c \
    'exec "$0" -in "$1" -out "$2/$(basename "$1")" -quality 80 -longside 1920 -resizenozoom on' "$engine" {} "$work" </dev/null
}
sharp_run() { SHARP_DIR=$sharp_dir node "$work/sharp.js" "$work/list" "$work" "$1"; }
export -f engine_run sharp_run
export work engine sharp_dir

echo "${#photos[@]} photos, $(printf '%.1f' "$megapixels") MP, best of $rounds rounds"
for parallel in 1 2; do
  best_e=999999 best_s=999999 cpu_e=0 cpu_s=0 loads=()
  for ((i = 0; i < rounds; i++)); do
    loads+=("$(cut -d' ' -f1 /proc/loadavg)")
    timed e engine_run "$parallel"; read -r t c <<<"$e"
    if (($(echo "$t < $best_e" | bc -l))); then best_e=$t cpu_e=$c; fi
    timed r sharp_run "$parallel"; read -r t c <<<"$r"
    if (($(echo "$t < $best_s" | bc -l))); then best_s=$t cpu_s=$c; fi
  done
  e=$(echo "$megapixels / $best_e" | bc -l); s=$(echo "$megapixels / $best_s" | bc -l)
  printf '%d at a time: engine %.1f MP/s, sharp %.1f MP/s, engine/sharp %.2fx; CPU engine %.2f s, sharp %.2f s (%.2fx); load average %s\n' \
    "$parallel" "$e" "$s" "$(echo "$e / $s" | bc -l)" "$cpu_e" "$cpu_s" "$(echo "$cpu_e / $cpu_s" | bc -l)" "${loads[*]}"
done
