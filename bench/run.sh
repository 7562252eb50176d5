#!/usr/bin/env bash
# Wall time of a whole run through the application against the same engine commands on the same
# files run by `xargs -P 8`, measured back to back in one run so that the ratio is what counts on
# a shared machine.
#
#   bench/run.sh [copies]      (default 4 copies of the corpus, about 100 files)
#
# The application run starts the program under a virtual display with a stored page and
# "-autostart", and ends when the page's run log has its footer; its time includes the start-up.
# The plain run takes the engine arguments from that same log's header, so both runs give the
# engine the very same command lines. Needs xvfb-run; run after scripts/build.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
bin=${DRAVIK_BIN_DIR:-$root/build/bin}
corpus=${DRAVIK_CORPUS_DIR:-$root/../shared/corpus}
copies=${1:-4}
app=$bin/dravik-desktop
engine=$bin/dravik.bin
[[ -x $app && -x $engine ]] || { echo "build first: no $app or $engine" >&2; exit 1; }
command -v xvfb-run >/dev/null || { echo "xvfb-run is needed" >&2; exit 1; }

work=$(mktemp -d /tmp/dravik-runbench.XXXXXX)
app_pid=
cleanup() {
    [[ -n $app_pid ]] && kill -- -"$app_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

# The input: the corpus' images, copied into one sub-folder per copy.
for ((c = 1; c <= copies; c++)); do
    mkdir -p "$work/in/copy$c"
    find "$corpus" -maxdepth 1 -type f \( -iname '*.jpg' -o -iname '*.jpeg' -o -iname '*.png' -o -iname '*.gif' \
        -o -iname '*.webp' -o -iname '*.avif' \) -exec cp {} "$work/in/copy$c/" \;
done
files=$(find "$work/in" -type f | wc -l)
bytes=$(du -sb "$work/in" | cut -f1)

# One stored page that writes its run log; every other setting is the page's default.
settings="$work/data/Lumeno Dravik for Desktop"
mkdir -p "$settings" "$work/out-app" "$work/out-plain"
cat > "$settings/PageSettings.json" <<JSON
{ "allObject": [ { "tabName": "bench", "checked": false, "generalInputDir": "$work/in/",
  "generalOutputDir": "$work/out-app/", "generalSubFolder": true, "uniqueLogFile": true } ] }
JSON
log="$work/out-app/_DravikLog.log"

now() { date +%s.%N; }

echo "files: $files ($bytes bytes) in $copies copies of $corpus"

start=$(now)
setsid env XDG_DATA_HOME="$work/data" QT_QPA_PLATFORM=xcb \
    xvfb-run -a -s "-screen 0 1280x800x24" "$app" -autostart >"$work/app.out" 2>&1 &
app_pid=$!
until grep -q '^end: ' "$log" 2>/dev/null; do
    if ! kill -0 "$app_pid" 2>/dev/null; then echo "the application ended before its run did" >&2; exit 1; fi
    sleep 0.05
done
app_time=$(echo "$(now) - $start" | bc)
kill -- -"$app_pid" 2>/dev/null || true
wait "$app_pid" 2>/dev/null || true
app_pid=

# The same command lines: the common arguments from the log's header, one engine per file.
common=$(sed -n 's/^common option : //p' "$log" | head -1)
(cd "$work/in" && find . -type d) | while read -r d; do mkdir -p "$work/out-plain/$d"; done
start=$(now)
(cd "$work/in" && find . -type f | sed 's|^\./||') \
    | xargs -P 8 -I{} sh -c 'exec "$0" -in "$1/in/$2" -out "$1/out-plain/$2" '"$common" "$engine" "$work" {} || true
plain_time=$(echo "$(now) - $start" | bc)

app_out=$(find "$work/out-app" -type f ! -name _DravikLog.log | wc -l)
plain_out=$(find "$work/out-plain" -type f | wc -l)
out_bytes=$(find "$work/out-app" -type f ! -name _DravikLog.log -printf '%s\n' | paste -sd+ | bc)
printf 'application : %6.2f s  (%d outputs, %s bytes out)\n' "$app_time" "$app_out" "$out_bytes"
printf 'xargs -P 8  : %6.2f s  (%d outputs)\n' "$plain_time" "$plain_out"
printf 'ratio       : %6.3f  (target: at most 1.1)\n' "$(echo "$app_time / $plain_time" | bc -l)"
