#!/usr/bin/env bash
# Feeds the engine damaged and hostile versions of every corpus file and checks what it
# promises for any input, however bad:
#   - it ends within TIMEOUT seconds (default 60), by an exit code of its table, never a signal;
#   - a failure leaves no output and no temporary file, and says why on standard error;
#   - a success leaves exactly one readable image;
#   - the input's bytes are unchanged.
#
#   bench/engine_robustness.sh [path/to/dravik.bin]     (default: build/bin/dravik.bin)
#
# Variants per corpus file: zero length, truncations at 1..99 %, bit flips in the data and
# in the header (SEEDS per kind, default 6), each through a plain re-encode and a resize to
# JPEG. Hostile headers: PNG IHDR, JPEG SOF, GIF screen/frame and WebP canvas declaring
# enormous, zero or absurd dimensions. Prints one line per violation and a summary of codes;
# exits 1 when anything broke the rules.
set -uo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${1:-$root/build/bin/dravik.bin}
corpus=${DRAVIK_CORPUS_DIR:-$root/../shared/corpus}
timeout_s=${TIMEOUT:-60}
seeds=${SEEDS:-6}

[[ -x $engine ]] || { echo "engine not found or not executable: $engine" >&2; exit 2; }
command -v vipsheader >/dev/null || { echo "missing tool: vipsheader (Debian: libvips-tools)" >&2; exit 2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/dravik-robust-XXXXXX")
trap 'rm -rf "$work"' EXIT
variants="$work/variants"
mkdir -p "$variants"

known=" 0 1 77 82 83 84 85 86 90 91 92 93 94 96 "
declare -A count
violations=0
runs=0

# Byte-level helpers in Perl (perl-base is on every Debian system).
flip() { # file count seed skip_head
  perl -e '
    my ($f, $n, $seed, $skip) = @ARGV; srand($seed);
    open(my $h, "+<:raw", $f) or die; my $size = -s $f; exit 0 if $size <= $skip;
    for (1..$n) { my $p = $skip + int(rand($size - $skip)); seek($h, $p, 0); read($h, my $c, 1);
      $c = chr(ord($c) ^ (1 << int(rand(8)))); seek($h, $p, 0); print $h $c; }' "$@"
}

make_hostile() {
  perl -e '
    use strict;
    my $dir = shift;
    my @t; for my $n (0..255) { my $c = $n; for (1..8) { $c = ($c & 1) ? (0xEDB88320 ^ ($c >> 1)) : ($c >> 1) } $t[$n] = $c }
    sub crc { my $c = 0xFFFFFFFF; $c = $t[($c ^ ord($_)) & 0xFF] ^ ($c >> 8) for split //, $_[0]; return $c ^ 0xFFFFFFFF }
    sub chunk { my ($type, $data) = @_; pack("N", length $data) . $type . $data . pack("N", crc($type . $data)) }
    sub png { my ($w, $h, $depth, $ct) = @_;
      "\x89PNG\r\n\x1A\n" . chunk("IHDR", pack("NNCCCCC", $w, $h, $depth, $ct, 0, 0, 0))
        . chunk("IDAT", "\x78\x01\x01\x04\x00\xFB\xFF\x00\x00\x00\x00\x00\x04\x00\x01") . chunk("IEND", "") }
    sub gif { my ($w, $h) = @_;
      "GIF89a" . pack("vvCCC", $w, $h, 0x80, 0, 0) . "\x00\x00\x00\xFF\xFF\xFF"
        . "\x2C" . pack("vvvvC", 0, 0, $w, $h, 0) . "\x02\x02\x44\x01\x00\x3B" }
    sub put { my ($name, $bytes) = @_; open(my $h, ">:raw", "$dir/$name") or die; print $h $bytes; close $h }
    put("png-20000x20000.png", png(20000, 20000, 8, 2));
    put("png-65535x65535-16bit.png", png(65535, 65535, 16, 6));
    put("png-2147483647x1.png", png(2147483647, 1, 8, 2));
    put("png-4294967295sq.png", png(4294967295, 4294967295, 8, 2));
    put("png-0x100.png", png(0, 100, 8, 2));
    put("png-bad-depth.png", png(100, 100, 7, 2));
    put("png-bad-colourtype.png", png(100, 100, 8, 5));
    put("gif-30000x30000.gif", gif(30000, 30000));
    put("gif-65535x65535.gif", gif(65535, 65535));
    put("gif-0x0.gif", gif(0, 0));
    put("gif-as-jpg.jpg", gif(40000, 40000));
  ' "$1"
}

# JPEG SOF and WebP canvas are patched into real small files made by libvips.
vips black "$work/s.v" 16 16 --bands 3 >/dev/null
vips copy "$work/s.v" "$work/small.jpg[Q=80,strip]" >/dev/null
vips copy "$work/s.v" "$work/small.webp[lossless,strip]" >/dev/null
patch_jpeg() { # out w h
  perl -e '
    my ($in, $out, $w, $h) = @ARGV; local $/; open(my $f, "<:raw", $in) or die; my $b = <$f>;
    my $p = index($b, "\xFF\xC0"); die "no SOF0" if $p < 0;
    substr($b, $p + 5, 4) = pack("nn", $h, $w); open(my $o, ">:raw", $out) or die; print $o $b' "$work/small.jpg" "$@"
}
patch_webp() { # out w h
  perl -e '
    my ($in, $out, $w, $h) = @ARGV; local $/; open(my $f, "<:raw", $in) or die; my $b = <$f>;
    my $vp8x = "VP8X" . pack("V", 10) . "\0\0\0\0" . substr(pack("V", $w - 1), 0, 3) . substr(pack("V", $h - 1), 0, 3);
    my $body = "WEBP" . $vp8x . substr($b, 12);
    open(my $o, ">:raw", $out) or die; print $o "RIFF" . pack("V", length $body) . $body' "$work/small.webp" "$@"
}
hostile="$work/hostile"
mkdir -p "$hostile"
make_hostile "$hostile"
patch_jpeg "$hostile/jpeg-65000x65000.jpg" 65000 65000
patch_jpeg "$hostile/jpeg-65535x1.jpg" 65535 1
patch_jpeg "$hostile/jpeg-0x0.jpg" 0 0
patch_webp "$hostile/webp-16384x16384.webp" 16384 16384
patch_webp "$hostile/webp-16384x1.webp" 16384 1
patch_webp "$hostile/webp-1x1-over-16px.webp" 1 1

# One run of one variant through one job; records the code and any rule it broke.
check() { # label input_file job...
  local label=$1 src=$2
  shift 2
  local ext=${src##*.}
  local dir="$work/run"
  rm -rf "$dir"
  mkdir -p "$dir"
  cp "$src" "$dir/in.$ext"
  local before
  before=$(sha256sum <"$dir/in.$ext")
  timeout -s KILL "$timeout_s" "$engine" -in "$dir/in.$ext" -out "$dir/out.$ext" "$@" >/dev/null 2>"$work/stderr"
  local code=$?
  runs=$((runs + 1))
  count[$code]=$((${count[$code]:-0} + 1))
  local problem=""
  if ((code == 137)); then
    problem="timed out after ${timeout_s}s or killed"
  elif ((code > 128)); then
    problem="ended by signal $((code - 128))"
  elif [[ $known != *" $code "* ]]; then
    problem="exit code $code is not in the table"
  fi
  [[ $(sha256sum <"$dir/in.$ext") == "$before" ]] || problem+="${problem:+; }input modified"
  local left
  left=$(cd "$dir" && ls -A | grep -vx "in.$ext" | tr '\n' ' ')
  if ((code == 0)); then
    [[ $left == "out.$ext " ]] || problem+="${problem:+; }success left: [$left]"
    vipsheader "$dir/out.$ext" >/dev/null 2>&1 || problem+="${problem:+; }output unreadable"
  else
    [[ -z $left ]] || problem+="${problem:+; }failure left: [$left]"
    ((code > 128)) || [[ -s $work/stderr ]] || problem+="${problem:+; }no reason on stderr"
  fi
  if [[ -n $problem ]]; then
    violations=$((violations + 1))
    echo "VIOLATION $label [$*] exit $code: $problem"
  fi
}

jobs=("" "-outformat jpg -longside 256")

for f in "$corpus"/*; do
  case $f in *.jpg|*.png|*.gif|*.webp|*.avif) ;; *) continue ;; esac
  name=$(basename "$f")
  ext=${name##*.}
  size=$(stat -c %s "$f")
  : >"$variants/zero.$ext"
  for job in "${jobs[@]}"; do
    # shellcheck disable=SC2086 # the job is a list of words
    check "$name zero-length" "$variants/zero.$ext" $job
    for pct in 1 2 5 10 25 50 75 90 98 99; do
      head -c $((size * pct / 100)) "$f" >"$variants/cut.$ext"
      check "$name truncated to $pct%" "$variants/cut.$ext" $job
    done
    for ((s = 1; s <= seeds; s++)); do
      cp "$f" "$variants/flip.$ext"
      flip "$variants/flip.$ext" 16 "$s" 256
      check "$name 16 bits flipped in the data, seed $s" "$variants/flip.$ext" $job
      cp "$f" "$variants/hflip.$ext"
      flip "$variants/hflip.$ext" 2 "$s" 0
      check "$name 2 bits flipped anywhere, seed $s" "$variants/hflip.$ext" $job
    done
  done
  echo "done: $name" >&2
done

for f in "$hostile"/*; do
  for job in "${jobs[@]}"; do
    check "hostile $(basename "$f")" "$f" $job
  done
done

echo
echo "runs: $runs   violations: $violations"
printf 'exit codes:'
for c in $(printf '%s\n' "${!count[@]}" | sort -n); do printf ' %s:%s' "$c" "${count[$c]}"; done
echo
((violations == 0))
