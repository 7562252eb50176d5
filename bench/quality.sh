#!/usr/bin/env bash
# Engine quality against the levels' butteraugli bounds, and bytes against other encoders.
#
#   bench/quality.sh [FOLDER...]        (default: ../shared/corpus)
#
# Every still image of the folders is made into:
#   the engine at levels 1, 3, 5, 8 as JPEG, and at level 5 as WebP, AVIF and PNG;
#   peers at fixed qualities: libjpeg-turbo (Debian's `vips copy`, optimize_coding,
#   interlace), ImageMagick, `jpegoptim --max`, mozjpeg (npm `sharp`, installed into a
#   folder outside the repository), cwebp, avifenc, pngquant + optipng.
# Every output is judged by butteraugli_main (max-norm) against the input decoded to sRGB
# by `dravik-judge --srgb` (over white where transparent; images over 6 megapixels both at
# half size).
#
# A peer's quality is not swept over a fixed grid: per image it starts from a few coarse
# points and narrows, by interpolation on the score, only around the bounds that matter
# for its format (JPEG: the levels measured; the others: level 5), until the qualities on
# either side of each bound are neighbours (2 apart from 85 up, 3 from 70, 6 below) or
# their outputs differ by at most 4 % in bytes. The
# judge is what costs, so every peer's score is cached by input content (CACHE): a second
# run over the same images only redoes the engine.
#
# Per format and level it prints: the share of images within the bound (all, and those
# some peer brings within it), worst and median score, total bytes; on the images every
# peer brings within the bound, the engine's bytes against each peer's "guaranteed" (its
# smallest fixed quality that keeps all of them within, taking a score that falls as the
# quality rises) and "oracle" (per image, its smallest output within) totals; and the
# engine's wall time at level 5 against one plain fixed-quality `vips copy` JPEG encode
# (Q=80) of the same images, both timed in this run under the same parallelism, beside the
# engine's own `-quality 80` (no search: its decode and final encode alone) against the same.
#
# Environment: ENGINE (default build/bin/dravik.bin), JUDGE (default build/bin/dravik-judge),
# JOBS (tools run at once, default 2), PEERS=0 to skip the peers, CACHE (default
# ~/.cache/dravik-bench-quality), KEEP=dir to keep the work folder, DETAIL=1 to add a line
# per image under each format and level: the engine's bytes and score, and each peer's
# smallest output within the bound (where the engine's bytes are lost or won), ENGINE_ARGS
# for options added to every engine run (-jpegqualitysafety off, say).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
export ENGINE=${ENGINE:-$root/build/bin/dravik.bin}
export JUDGE=${JUDGE:-$root/build/bin/dravik-judge}
export JOBS=${JOBS:-2} PEERS=${PEERS:-1}
export CACHE=${CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/dravik-bench-quality}
folders=("$@")
((${#folders[@]})) || folders=("$root/../shared/corpus")

for p in "$ENGINE" "$JUDGE"; do [[ -x $p ]] || { echo "not built: $p (run scripts/build)" >&2; exit 2; }; done

# Peers and the judge, installed on demand (Debian packages; sharp from npm outside the repository).
need=()
command -v butteraugli_main >/dev/null || need+=(libjxl-devtools)
command -v vips >/dev/null || need+=(libvips-tools)
if ((PEERS)); then
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
export SHARP_DIR=${SHARP_DIR:-${TMPDIR:-/tmp}/dravik-bench-sharp}
if ((PEERS)) && [[ ! -d $SHARP_DIR/node_modules/sharp ]]; then
  mkdir -p "$SHARP_DIR"
  (cd "$SHARP_DIR" && npm install --silent --no-save sharp >/dev/null)
fi

export WORK=${KEEP:-$(mktemp -d "${TMPDIR:-/tmp}/dravik-quality-XXXXXX")}
mkdir -p "$WORK" "$CACHE"
[[ -n ${KEEP:-} ]] || trap 'rm -rf "$WORK"' EXIT

cat >"$WORK/sharp.js" <<'EOF'
const sharp = require(process.env.SHARP_DIR + '/node_modules/sharp');
const [input, output, q] = process.argv.slice(2);
sharp(input).jpeg({ quality: Number(q), mozjpeg: true }).toFile(output).catch(e => { console.error(e); process.exit(1); });
EOF

python3 - "${folders[@]}" <<'EOF'
import collections, concurrent.futures as cf, hashlib, json, math, os, shutil, statistics, subprocess, sys, threading, time

ENGINE, JUDGE, WORK, CACHE = os.environ['ENGINE'], os.environ['JUDGE'], os.environ['WORK'], os.environ['CACHE']
JOBS, PEERS = int(os.environ['JOBS']), os.environ['PEERS'] != '0'
DETAIL = os.environ.get('DETAIL', '0') != '0'
ENGINE_ARGS = os.environ.get('ENGINE_ARGS', '').split()
BOUND = {1: 0.8, 2: 1.0, 3: 1.2, 4: 1.35, 5: 1.5, 6: 2.0, 7: 2.7, 8: 3.5}
ENGINE_RUNS = [('jpg', 1), ('jpg', 3), ('jpg', 5), ('jpg', 8), ('webp', 5), ('avif', 5), ('png', 5)]
LEVELS = {'jpg': [1, 3, 5, 8], 'webp': [5], 'avif': [5], 'png': [5]}
# Where a peer's narrowing starts: near its usual bounds. A palette that fails at 100 fails
# everywhere, so PNG asks that first.
START = {'jpg': [90, 60], 'webp': [90, 70], 'avif': [80, 60], 'png': [100]}
# Bumped whenever the judge or a peer's command changes, so stale scores are not reused.
CACHE_TAG = 'v2'

def run(*cmd, quiet=True):
    return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL if quiet else None, text=True, check=True).stdout

def header(path, field):
    try:
        return run('vipsheader', '-f', field, path).strip()
    except subprocess.CalledProcessError:
        return None

def to_srgb(src, out):
    """The input or an output as the judge sees it, as a PPM: sRGB through its profile (a
    CMYK one too, which Debian's libvips converts wrongly), upright, over white, 8 bits."""
    run(JUDGE, '--srgb', src, out)

class Image:
    """One input: its sRGB reference decoded once, and the judge's view of it."""
    def __init__(self, path):
        self.path, self.name = path, os.path.basename(path)
        self.hash = hashlib.sha256(open(path, 'rb').read()).hexdigest()[:20]
        self.dir = os.path.join(WORK, self.hash)
        os.makedirs(self.dir, exist_ok=True)
        self.ref = os.path.join(self.dir, 'ref.ppm')
        to_srgb(path, self.ref)
        self.png = os.path.join(self.dir, 'ref.png')
        run('vips', 'pngsave', self.ref, self.png, '--compression', '1')
        w, h = int(header(self.ref, 'width')), int(header(self.ref, 'height'))
        self.half = w * h > 6_000_000
        self.judged = os.path.join(self.dir, 'judged.ppm')
        self.view(self.ref, self.judged)
        self.q100 = None

    def view(self, srgb, out):
        if self.half:
            run('vips', 'resize', srgb, out, '0.5')
        else:
            run('vips', 'copy', srgb, out)

    def judge(self, output):
        base = output + '.j'
        to_srgb(output, base + '.v.ppm')
        self.view(base + '.v.ppm', base + '.ppm')
        score = float(run('butteraugli_main', self.judged, base + '.ppm').split()[0])
        os.remove(base + '.v.ppm'); os.remove(base + '.ppm')
        return score

# A peer: its output format, and how it encodes the image at quality q.
def libjpeg(img, q, out): run('vips', 'copy', img.ref, f'{out}[Q={q},optimize_coding,interlace]')
def imagemagick(img, q, out): run('/usr/bin/convert', img.png, '-quality', str(q), out)
def jpegoptim(img, q, out):
    shutil.copy(img.q100, out)
    run('jpegoptim', '-q', f'--max={q}', out)
def mozjpeg(img, q, out): run('node', os.path.join(WORK, 'sharp.js'), img.png, out, str(q))
def cwebp(img, q, out): run('cwebp', '-quiet', '-q', str(q), img.png, '-o', out)
def avifenc(img, q, out):
    aq = (100 - q) * 63 // 100  # its quantiser runs 63 (worst) to 0 (lossless)
    run('avifenc', '-j', '1', '-s', '6', '-y', '444', '--min', str(aq), '--max', str(aq), img.png, out)
def pngquant(img, q, out):
    run('pngquant', '--force', f'--quality=0-{q}', '--output', out, img.png)
    run('optipng', '-quiet', '-o2', out)
PEER_TOOLS = {'libjpeg-turbo': ('jpg', libjpeg), 'imagemagick': ('jpg', imagemagick), 'jpegoptim': ('jpg', jpegoptim),
              'mozjpeg': ('jpg', mozjpeg), 'cwebp': ('webp', cwebp), 'avifenc': ('avif', avifenc), 'pngquant': ('png', pngquant)}

def tolerance(q):
    return 2 if q >= 85 else 3 if q >= 70 else 6

class PeerCurve:
    """A peer's bytes and scores on one image, by quality, read from and written to the cache."""
    def __init__(self, img, tool):
        self.img, self.tool = img, tool
        self.file = os.path.join(CACHE, f'{img.hash}.{tool}.{CACHE_TAG}')
        self.points = {}  # q -> [bytes, score or None]
        if os.path.exists(self.file):
            for line in open(self.file):
                q, b, s = line.split()
                self.points[int(q)] = [int(b), None if s == '-' else float(s)]
        self.fresh = 0

    def at(self, q, judged=True):
        p = self.points.get(q)
        if p and (p[1] is not None or not judged):
            return p
        fmt, encode = PEER_TOOLS[self.tool]
        out = os.path.join(self.img.dir, f'{self.tool}.{q}.{threading.get_ident()}.{fmt}')
        try:
            encode(self.img, q, out)
            p = [os.path.getsize(out), self.img.judge(out) if judged else None]
        except (subprocess.CalledProcessError, OSError, ValueError, IndexError):
            p = [0, math.inf]  # the tool cannot make this: never within any bound
        finally:
            if os.path.exists(out): os.remove(out)
        self.points[q] = p
        self.fresh += 1
        with open(self.file, 'a') as f:
            f.write(f'{q} {p[0]} {"-" if p[1] is None else p[1]}\n')
        return p

    def judged(self):
        return {q: p for q, p in self.points.items() if p[1] is not None}

    def threshold(self, bound):
        """The lowest quality known to keep the image within the bound, or None."""
        within = [q for q, p in self.judged().items() if p[1] <= bound]
        return min(within) if within else None

    def narrow(self, bounds, lowest=10, most=10):
        for q in START[PEER_TOOLS[self.tool][0]]:
            self.at(q)
        for _ in range(most):
            q = self.next_probe(bounds, lowest)
            if q is None:
                return
            self.at(q)

    def next_probe(self, bounds, lowest):
        pts = self.judged()
        for b in sorted(bounds):
            passing = [q for q, p in pts.items() if p[1] <= b]
            if not passing:
                if 100 not in pts: return 100
                continue  # out of this peer's reach
            qp = min(passing)
            failing = [q for q, p in pts.items() if p[1] > b and q < qp]
            if not failing:
                # Still within at its lowest known quality: the curve is flat here, step far.
                if qp > lowest: return max(lowest, qp - 25)
                continue
            qf = max(failing)
            # Close enough when the qualities are neighbours or the bytes barely differ.
            if qp - qf <= tolerance(qp) or pts[qp][0] <= 1.04 * pts[qf][0]:
                continue
            sf, sp = pts[qf][1], pts[qp][1]
            q = (qf + qp) // 2
            if math.isfinite(sf) and sp > 0 and sf > sp:
                # Interpolate log(score) on quality, kept away from the ends so it closes in.
                t = (math.log(sf) - math.log(b)) / (math.log(sf) - math.log(sp))
                q = round(qf + t * (qp - qf))
                q = min(max(q, qf + max(1, (qp - qf) // 5)), qp - max(1, (qp - qf) // 5))
            return min(max(q, qf + 1), qp - 1)
        return None

def engine_run(img, fmt, level, fixed=False):
    out = os.path.join(img.dir, f'engine.{"q80" if fixed else level}.{fmt}')
    start = time.perf_counter()
    choice = ['-quality', '80'] if fixed else ['-reducemode', str(level)]
    r = subprocess.run([ENGINE, '-in', img.path, '-out', out, '-outformat', fmt] + choice +
                       ['-metadata', 'strip'] + ENGINE_ARGS, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    secs = time.perf_counter() - start
    if r.returncode != 0 or not os.path.exists(out):
        print(f'engine failed on {img.name} ({fmt} {" ".join(choice)}): {r.stderr.strip()}', file=sys.stderr)
        return None
    return out, secs

def plain_run(img):
    out = os.path.join(img.dir, 'plain.jpg')
    start = time.perf_counter()
    run('vips', 'copy', img.path, out + '[Q=80]')
    secs = time.perf_counter() - start
    os.remove(out)
    return secs

def pmap(fn, items):
    with cf.ThreadPoolExecutor(JOBS) as pool:
        return list(pool.map(fn, items))

def still_images(folders):
    found = []
    for folder in folders:
        for name in sorted(os.listdir(folder)):
            f = os.path.join(folder, name)
            if not os.path.isfile(f) or header(f, 'vips-loader') in (None, 'csvload', 'matrixload'):
                continue
            if int(header(f, 'n-pages') or 1) > 1:
                continue  # animations keep their frames: not judged here
            found.append(f)
    return found

def main(folders):
    paths = still_images(folders)
    load0 = os.getloadavg()[0]
    began = time.time()
    images = pmap(Image, paths)
    print(f'images: {len(images)}, jobs: {JOBS}, engine: {ENGINE}', file=sys.stderr)

    # Timed: the engine and the plain encode, at the same parallelism, nothing else running.
    tasks = [(img, fmt, level) for img in images for fmt, level in ENGINE_RUNS] + \
            [(img, kind, 0) for img in images for kind in ('plain', 'fixed')]
    def timed(t):
        img, kind, level = t
        if kind == 'plain': return plain_run(img)
        if kind == 'fixed': return engine_run(img, 'jpg', 0, fixed=True)
        return engine_run(*t)
    results = pmap(timed, tasks)
    eng, plain, fixed = collections.defaultdict(dict), {}, {}
    for (img, fmt, level), r in zip(tasks, results):
        if fmt == 'plain': plain[img.name] = r
        elif fmt == 'fixed':
            if r: fixed[img.name] = r[1]
        elif r: eng[(fmt, level)][img.name] = [os.path.getsize(r[0]), r[0], r[1]]
    load1 = os.getloadavg()[0]
    timed_at = time.time()

    # Untimed: the judge on the engine's outputs, and the peers narrowing on theirs.
    def judge_engine(key_img):
        key, name = key_img
        row = eng[key][name]
        img = next(i for i in images if i.name == name)
        try:
            row[1] = img.judge(row[1])
        except (subprocess.CalledProcessError, ValueError, IndexError):
            print(f'cannot judge the engine output {row[1]}', file=sys.stderr)
            row[1] = math.inf
    pmap(judge_engine, [(k, n) for k in eng for n in eng[k]])
    curves = {}
    if PEERS:
        for img in images:
            if any(PEER_TOOLS[t][0] == 'jpg' for t in PEER_TOOLS):
                img.q100 = os.path.join(img.dir, 'q100.jpg')
                run('vips', 'copy', img.ref, img.q100 + '[Q=100,subsample-mode=off]')
        pairs = [(img, tool) for tool in PEER_TOOLS for img in images]
        # Big images first, so the last job to finish is a short one.
        pairs.sort(key=lambda p: -os.path.getsize(p[0].judged))
        def narrow(pair):
            img, tool = pair
            c = PeerCurve(img, tool)
            c.narrow([BOUND[l] for l in LEVELS[PEER_TOOLS[tool][0]]])
            curves[(img.name, tool)] = c
        pmap(narrow, pairs)
    report(images, eng, plain, fixed, curves)
    fresh = sum(c.fresh for c in curves.values())
    print(f'peers: {fresh} outputs made this run, {sum(len(c.points) for c in curves.values()) - fresh} from the cache')
    print(f'wall time {time.time() - began:.0f} s (timed part {timed_at - began:.0f} s); load average {load0:.1f} at start, '
          f'{load1:.1f} after the timed part, {os.getloadavg()[0]:.1f} at the end')

def report(images, eng, plain, fixed, curves):
    names = [i.name for i in images]
    by_name = {i.name: i for i in images}
    fmt_peers = collections.defaultdict(list)
    for tool, (fmt, _) in PEER_TOOLS.items():
        if any(k[1] == tool for k in curves): fmt_peers[fmt].append(tool)
    print('%-5s %-5s %6s %9s %6s %6s %11s  %s' % ('fmt', 'level', 'within', 'reachable', 'worst', 'median', 'bytes',
          'engine bytes / peer on images every peer brings within: guaranteed / oracle'))
    for fmt, level in ENGINE_RUNS:
        res, lim = eng[(fmt, level)], BOUND[level]
        imgs = [n for n in names if n in res]
        if not imgs: continue
        peers = fmt_peers[fmt]
        reach = [n for n in imgs if any(curves[(n, t)].threshold(lim) is not None for t in peers)]
        within = [n for n in imgs if res[n][1] <= lim]
        scores = [res[n][1] for n in imgs]
        reached = '%8.0f%%' % (100 * len([n for n in reach if res[n][1] <= lim]) / len(reach)) if reach else '%9s' % 'none'
        line = '%-5s %-5d %5.0f%% %s %6.2f %6.2f %11d ' % (fmt, level, 100 * len(within) / len(imgs), reached,
               max(scores), statistics.median(scores), sum(res[n][0] for n in imgs))
        common = [n for n in imgs if all(curves[(n, t)].threshold(lim) is not None for t in peers)]
        parts = []
        for t in peers:
            cs = [curves[(n, t)] for n in common]
            mine = sum(res[n][0] for n in common)
            oracle = sum(min(p[0] for p in c.judged().values() if p[1] <= lim) for c in cs)
            # The smallest quality that keeps every image within: the highest per-image threshold.
            qg = max((c.threshold(lim) for c in cs), default=None)
            guaranteed = sum(c.at(qg, judged=False)[0] for c in cs) if cs else 0
            parts.append('%s %s/%s' % (t, '%.2fx' % (mine / guaranteed) if guaranteed else 'n/a',
                                         '%.2fx' % (mine / oracle) if oracle else 'n/a'))
        print(line + ' n=%d: ' % len(common) + ', '.join(parts))
        if DETAIL:
            for n in imgs:
                best = []
                for t in peers:
                    within_t = [p for p in curves[(n, t)].judged().values() if p[1] <= lim]
                    best.append('%s %s' % (t, '%d (%.2f)' % tuple(min(within_t)[:2]) if within_t else '-'))
                print('      %-36s %9d %5.2f  %s' % (n, res[n][0], res[n][1], ', '.join(best)))
        over = [n for n in imgs if res[n][1] > lim * 1.15]
        if over: print('      more than 15%% over the bound: %s' % ', '.join('%s (%.2f)' % (n, res[n][1]) for n in over))
    totals = [sum(eng[('jpg', l)].get(n, [0])[0] for n in names) for l in LEVELS['jpg']]
    print('JPEG level totals %s: %s' % (' > '.join(map(str, totals)),
          'strictly decreasing' if all(a > b for a, b in zip(totals, totals[1:])) else 'NOT strictly decreasing'))
    res = eng[('jpg', 5)]
    common = [n for n in names if n in res and n in plain]
    if common:
        e, p = sum(res[n][2] for n in common), sum(plain[n] for n in common)
        print('engine time, JPEG level 5, against one plain vips copy Q=80 encode: %.2fx (%.1f s / %.1f s, %d images)' % (
              e / p, e, p, len(common)))
    common = [n for n in names if n in fixed and n in plain]
    if common:
        e, p = sum(fixed[n] for n in common), sum(plain[n] for n in common)
        print('engine time at -quality 80 (no search), against the same: %.2fx (%.1f s / %.1f s, %d images)' % (
              e / p, e, p, len(common)))

main(sys.argv[1:])
EOF
