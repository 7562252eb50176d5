#!/usr/bin/env bash
# Wall time of a whole run through the application against the same engine commands on the same
# files run by `xargs -P 8`, measured back to back in one run so that the ratio is what counts on
# a shared machine.
#
#   bench/run.sh [copies]      (default 4 copies of the corpus, about 100 files)
#   ROUNDS=1 bench/run.sh      (default 2 rounds, in the order app, xargs, xargs, app)
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
rounds=${ROUNDS:-2}
parallel=${PARALLEL:-8}   # other values only to see how much the count of engines at once weighs
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
mkdir -p "$settings"
cat > "$work/page.json" <<JSON
{ "allObject": [ { "tabName": "bench", "checked": false, "generalInputDir": "$work/in/",
  "generalOutputDir": "@OUT@", "generalSubFolder": true, "uniqueLogFile": true } ] }
JSON

now() { date +%s.%N; }
# Arithmetic on decimals, without a calculator package: calc "1.5 + 2".
calc() { awk "BEGIN { printf \"%.6f\", $* }"; }

# One run through the application into $1; prints its wall time.
app_run() {
    local out=$1 start
    rm -rf "$out"; mkdir -p "$out"
    sed "s|@OUT@|$out/|" "$work/page.json" > "$settings/PageSettings.json"
    start=$(now)
    setsid env XDG_DATA_HOME="$work/data" QT_QPA_PLATFORM=xcb \
        xvfb-run -a -s "-screen 0 1280x800x24" "$app" -autostart >"$work/app.out" 2>&1 &
    app_pid=$!
    until grep -q '^end: ' "$out/_DravikLog.log" 2>/dev/null; do
        if ! kill -0 "$app_pid" 2>/dev/null; then echo "the application ended before its run did" >&2; exit 1; fi
        sleep 0.05
    done
    calc "$(now) - $start"
    kill -- -"$app_pid" 2>/dev/null || true
    wait "$app_pid" 2>/dev/null || true
    app_pid=
}

# The same command lines with xargs -P 8 into $1: the common arguments from the application's
# log header, one engine per file. Prints its wall time.
plain_run() {
    local out=$1 start
    rm -rf "$out"
    (cd "$work/in" && find . -type d) | while read -r d; do mkdir -p "$out/$d"; done
    start=$(now)
    # In a session of its own, as the application is: the kernel shares the processors out by
    # session, so both sides compete with the rest of the machine on the same footing.
    (cd "$work/in" && find . -type f | sed 's|^\./||') \
        | setsid -w xargs -P "$parallel" -I{} sh -c 'exec "$0" -in "$1/$2" -out "$3/$2" '"$common" \
            "$engine" "$work/in" {} "$out" || true
    calc "$(now) - $start"
}

echo "files: $files ($bytes bytes) in $copies copies of $corpus; $rounds round(s)"
# Rounds alternate the order (app, xargs, then xargs, app) so that a load that rises or falls
# during the measurement weighs on both sides alike.
app_total=0; plain_total=0; common=
for ((r = 1; r <= rounds; r++)); do
    if ((r % 2 == 1)); then
        a=$(app_run "$work/out-app")
        common=$(sed -n 's/^common option : //p' "$work/out-app/_DravikLog.log" | head -1)
        p=$(plain_run "$work/out-plain")
    else
        p=$(plain_run "$work/out-plain")
        a=$(app_run "$work/out-app")
    fi
    printf 'round %d     : application %7.2f s, xargs -P %d %7.2f s\n' "$r" "$a" "$parallel" "$p"
    app_total=$(calc "$app_total + $a"); plain_total=$(calc "$plain_total + $p")
done

app_out=$(find "$work/out-app" -type f ! -name _DravikLog.log | wc -l)
plain_out=$(find "$work/out-plain" -type f | wc -l)
out_bytes=$(find "$work/out-app" -type f ! -name _DravikLog.log -printf '%s\n' | awk '{ n += $1 } END { print n }')
printf 'application : %7.2f s  (%d outputs, %s bytes out; %d engines at once: the processor count, at most 8)\n' \
    "$app_total" "$app_out" "$out_bytes" "$(nproc)"
printf 'xargs -P %-2d : %7.2f s  (%d outputs)\n' "$parallel" "$plain_total" "$plain_out"
printf 'ratio       : %7.3f  (target: at most 1.1)\n' "$(calc "$app_total / $plain_total")"
