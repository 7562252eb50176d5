#!/usr/bin/env bash
# Engine quality against the levels' butteraugli bounds, and bytes against other encoders.
#
#   bench/quality.sh [FOLDER...]        (default: ../shared/corpus)
#
# Every still image of the folders is made into:
#   the engine at levels 1, 3, 5, 8 as JPEG, and at level 5 as WebP, AVIF and PNG;
#   peers at a grid of fixed qualities: libjpeg-turbo (Debian's `vips copy`, optimize_coding,
#   interlace), ImageMagick, `jpegoptim --max`, mozjpeg (npm `sharp`, installed into a
#   temporary folder outside the repository), cwebp, avifenc, pngquant + optipng.
# Every output is judged by butteraugli_main (max-norm) against the input decoded to sRGB
# (over white where transparent; images over 6 megapixels both at half size).
# Per format and level it prints: the share of images within the bound (all, and those
# some peer brings within it), worst and median score, total bytes; on the images every
# tool brings within the bound, the engine's bytes against each peer's "guaranteed" (its
# smallest fixed setting that keeps all of them within) and "oracle" (per image, its
# smallest output within) totals; and the engine's wall time against one plain
# fixed-quality `vips copy` JPEG encode of the same images (Q=80), measured in this run.
#
# Environment: ENGINE (default build/bin/dravik.bin), JOBS (parallel images, default 2),
# GRID (fixed qualities, default "60 70 80 85 90 94 97 100"), PEERS=0 to skip the peers,
# KEEP=dir to keep the work folder.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${ENGINE:-$root/build/bin/dravik.bin}
jobs=${JOBS:-2}
grid=${GRID:-"60 70 80 85 90 94 97 100"}
peers=${PEERS:-1}
folders=("$@")
((${#folders[@]})) || folders=("$root/../shared/corpus")

[[ -x $engine ]] || { echo "engine not found: $engine (run scripts/build)" >&2; exit 2; }

# Peers and the judge, installed on demand (Debian packages; sharp from npm outside the repository).
need=()
command -v butteraugli_main >/dev/null || need+=(libjxl-devtools)
command -v vips >/dev/null || need+=(libvips-tools)
if ((peers)); then
  [[ -x /usr/bin/convert ]] || need+=(imagemagick)
  command -v jpegoptim >/dev/null || need+=(jpegoptim)
  command -v cwebp >/dev/null || need+=(webp)
  command -v avifenc >/dev/null || need+=(libavif-bin)
  command -v pngquant >/dev/null || need+=(pngquant)
  command -v optipng >/dev/null || need+=(optipng)
fi
if ((${#need[@]})); then
  sudo=(); [ "$(id -u)" -eq 0 ] || sudo=(sudo)
  "${sudo[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${need[@]}" >/dev/null
fi
sharp_dir=${SHARP_DIR:-${TMPDIR:-/tmp}/dravik-bench-sharp}
if ((peers)) && [[ ! -d $sharp_dir/node_modules/sharp ]]; then
  mkdir -p "$sharp_dir"
  (cd "$sharp_dir" && npm install --silent --no-save sharp >/dev/null)
fi

work=${KEEP:-$(mktemp -d "${TMPDIR:-/tmp}/dravik-quality-XXXXXX")}
mkdir -p "$work"
[[ -n ${KEEP:-} ]] || trap 'rm -rf "$work"' EXIT
export engine grid peers sharp_dir work

# The input or an output as the judge sees it: sRGB (CMYK through its profile as lcms2's
# own converter does, other profiles to sRGB), upright, over white, 8 bits.
cat >"$work/srgb.sh" <<'EOF'
#!/usr/bin/env bash
# srgb.sh IN OUT.v
set -euo pipefail
in=$1 out=$2 t=$2.tmp.v
interp=$(vipsheader -f interpretation "$in" 2>/dev/null || echo srgb)
if [[ $interp == cmyk ]]; then
  vips icc_transform "$in" "$t" srgb --embedded --input-profile cmyk --intent perceptual
elif vipsheader -f icc-profile-data "$in" >/dev/null 2>&1; then
  vips icc_transform "$in" "$t" srgb --embedded 2>/dev/null || vips colourspace "$in" "$t" srgb
else
  vips colourspace "$in" "$t" srgb
fi
vips autorot "$t" "$t.r.v" && mv "$t.r.v" "$t"
bands=$(vipsheader -f bands "$t")
if ((bands == 4 || bands == 2)); then vips flatten "$t" "$t.f.v" --background 255 && mv "$t.f.v" "$t"; fi
vips cast "$t" "$out" uchar
rm -f "$t"
EOF
chmod +x "$work/srgb.sh"

# judge REF.v OUTPUT: butteraugli max-norm, at half size over 6 megapixels.
cat >"$work/judge.sh" <<'EOF'
#!/usr/bin/env bash
set -euo pipefail
ref=$1 out=$2 d=$(mktemp -d "$work/j-XXXXXX")
"$work/srgb.sh" "$out" "$d/o.v"
w=$(vipsheader -f width "$ref"); h=$(vipsheader -f height "$ref")
if ((w * h > 6000000)); then
  vips resize "$ref" "$d/a.png" 0.5; vips resize "$d/o.v" "$d/b.png" 0.5
else
  vips copy "$ref" "$d/a.png"; vips copy "$d/o.v" "$d/b.png"
fi
butteraugli_main "$d/a.png" "$d/b.png" 2>/dev/null | head -1
rm -rf "$d"
EOF
chmod +x "$work/judge.sh"

cat >"$work/sharp.js" <<'EOF'
const sharp = require(process.env.sharp_dir + '/node_modules/sharp');
const [input, output, q] = process.argv.slice(2);
sharp(input).jpeg({ quality: Number(q), mozjpeg: true }).toFile(output).catch(e => { console.error(e); process.exit(1); });
EOF

# One image: every output, one TSV line each: image tool format setting bytes score seconds.
cat >"$work/one.sh" <<'EOF'
#!/usr/bin/env bash
set -uo pipefail
in=$1 name=$(basename "$1") d=$work/img/$(basename "$1")
mkdir -p "$d"
"$work/srgb.sh" "$in" "$d/ref.v" || exit 0
vips copy "$d/ref.v" "$d/ref.png"
hasalpha=$(vipsheader -f bands "$in")
row() { # tool format setting file seconds
  local bytes score
  [[ -s $4 ]] || { echo "FAILED: $1 $3 on $name" >&2; return; }
  bytes=$(stat -c %s "$4"); score=$("$work/judge.sh" "$d/ref.v" "$4")
  printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$name" "$1" "$2" "$3" "$bytes" "$score" "$5"
  rm -f "$4"
}
timed() { # seconds of a command, its output discarded
  local s e; s=$(date +%s.%N); "$@" >/dev/null 2>&1; e=$(date +%s.%N); echo "$e - $s" | bc
}
for level in 1 3 5 8; do
  t=$(timed "$engine" -in "$in" -out "$d/e.jpg" -outformat jpg -reducemode "$level" -metadata strip)
  row engine jpg "$level" "$d/e.jpg" "$t"
done
for fmt in webp avif png; do
  t=$(timed "$engine" -in "$in" -out "$d/e.$fmt" -outformat "$fmt" -reducemode 5 -metadata strip)
  row engine "$fmt" 5 "$d/e.$fmt" "$t"
done
t=$(timed vips copy "$in" "$d/plain.jpg[Q=80]")
printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$name" plain jpg 80 0 0 "$t"
((peers)) || exit 0
vips copy "$d/ref.v" "$d/q100.jpg[Q=100,subsample-mode=off]"
for q in $grid; do
  vips copy "$d/ref.v" "$d/p.jpg[Q=$q,optimize_coding,interlace]" && row libjpeg-turbo jpg "$q" "$d/p.jpg" 0
  /usr/bin/convert "$d/ref.png" -quality "$q" "$d/p.jpg" && row imagemagick jpg "$q" "$d/p.jpg" 0
  cp "$d/q100.jpg" "$d/p.jpg" && jpegoptim -q --max="$q" "$d/p.jpg" >/dev/null && row jpegoptim jpg "$q" "$d/p.jpg" 0
  node "$work/sharp.js" "$d/ref.png" "$d/p.jpg" "$q" && row mozjpeg jpg "$q" "$d/p.jpg" 0
  cwebp -quiet -q "$q" "$d/ref.png" -o "$d/p.webp" && row cwebp webp "$q" "$d/p.webp" 0
  # avifenc's quantiser runs 63 (worst) to 0 (lossless); the grid's quality maps onto it.
  aq=$(( (100 - q) * 63 / 100 ))
  avifenc -j 1 -s 6 -y 444 --min "$aq" --max "$aq" "$d/ref.png" "$d/p.avif" >/dev/null && row avifenc avif "$q" "$d/p.avif" 0
  pngquant --force --skip-if-larger --quality="0-$q" --output "$d/p.png" "$d/ref.png" 2>/dev/null &&
    optipng -quiet -o2 "$d/p.png" && row pngquant png "$q" "$d/p.png" 0
done
rm -rf "$d"
EOF
chmod +x "$work/one.sh"

images=()
for folder in "${folders[@]}"; do
  for f in "$folder"/*; do
    [[ -f $f ]] || continue
    vipsheader "$f" >/dev/null 2>&1 || continue # not an image
    pages=$(vipsheader -f n-pages "$f" 2>/dev/null || echo 1)
    ((pages > 1)) && continue # animations keep their frames: not judged here
    images+=("$f")
  done
done
echo "images: ${#images[@]}, peers' grid: $grid" >&2
printf '%s\0' "${images[@]}" | xargs -0 -n1 -P "$jobs" "$work/one.sh" >"$work/results.tsv"
[[ -n ${KEEP:-} ]] && echo "results: $work/results.tsv" >&2

python3 - "$work/results.tsv" <<'EOF'
import sys, statistics, collections
bound = {1: 0.8, 2: 1.0, 3: 1.2, 4: 1.35, 5: 1.5, 6: 2.0, 7: 2.7, 8: 3.5}
rows = [l.rstrip('\n').split('\t') for l in open(sys.argv[1]) if l.strip()]
eng = collections.defaultdict(dict)      # (fmt, level) -> image -> (bytes, score, secs)
peer = collections.defaultdict(lambda: collections.defaultdict(dict))  # (tool, fmt) -> q -> image -> (bytes, score)
plain = {}
for row in rows:
    if len(row) != 7 or (row[1] != 'plain' and not row[5]):
        print('unjudged: ' + ' '.join(row), file=sys.stderr); continue
    img, tool, fmt, setting, b, s, t = row
    if tool == 'engine':
        eng[(fmt, int(setting))][img] = (int(b), float(s), float(t))
    elif tool == 'plain':
        plain[img] = float(t)
    else:
        peer[(tool, fmt)][int(setting)][img] = (int(b), float(s))
fmt_peers = collections.defaultdict(list)
for tool, fmt in peer: fmt_peers[fmt].append(tool)
print('%-5s %-5s %6s %8s %6s %6s %12s  %s' % ('fmt', 'level', 'within', 'reachabl', 'worst', 'median', 'bytes', 'bytes against peers on images all bring within (guaranteed / oracle)'))
for (fmt, level), res in sorted(eng.items()):
    lim = bound[level]
    imgs = sorted(res)
    reach = [i for i in imgs if any(v[i][1] <= lim for t in fmt_peers[fmt] for v in peer[(t, fmt)].values() if i in v)]
    within = [i for i in imgs if res[i][1] <= lim]
    scores = [res[i][1] for i in imgs]
    over = [i for i in imgs if res[i][1] > lim * 1.15]
    line = '%-5s %-5d %5.0f%% %7.0f%% %6.2f %6.2f %12d ' % (fmt, level, 100 * len(within) / len(imgs),
        100 * len([i for i in reach if res[i][1] <= lim]) / max(1, len(reach)), max(scores), statistics.median(scores),
        sum(res[i][0] for i in imgs))
    common = [i for i in imgs if all(any(i in v and v[i][1] <= lim for v in peer[(t, fmt)].values()) for t in fmt_peers[fmt])]
    parts = []
    for t in sorted(fmt_peers[fmt]):
        grid = peer[(t, fmt)]
        guaranteed = None
        for q in sorted(grid):
            if all(i in grid[q] and grid[q][i][1] <= lim for i in common):
                guaranteed = sum(grid[q][i][0] for i in common); break
        oracle = sum(min(v[i][0] for v in grid.values() if i in v and v[i][1] <= lim) for i in common)
        mine = sum(res[i][0] for i in common)
        parts.append('%s %s/%.2fx' % (t, ('%.2fx' % (mine / guaranteed)) if guaranteed else 'n/a', mine / oracle if oracle else 0))
    print(line + ' n=%d: ' % len(common) + ', '.join(parts))
    if over: print('      more than 15%% over the bound: %s' % ', '.join('%s (%.2f)' % (i, res[i][1]) for i in over))
for (fmt, level), res in sorted(eng.items()):
    if fmt == 'jpg' and level == 5 and plain:
        common = [i for i in res if i in plain]
        print('engine time, JPEG level 5, against one plain vips copy Q=80 encode: %.2fx (%.1f s / %.1f s, %d images)' % (
            sum(res[i][2] for i in common) / sum(plain[i] for i in common), sum(res[i][2] for i in common),
            sum(plain[i] for i in common), len(common)))
EOF
