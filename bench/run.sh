#!/usr/bin/env bash
# Wall time of a whole run through the application against the same engine commands on the same
# files run by `xargs -P 8`, measured back to back in one run so that the ratio is what counts on
# a shared machine.
#
#   bench/run.sh [copies]      (default 4 copies of the corpus, about 100 files)
#   ROUNDS=1 bench/run.sh      (default 2 rounds, in the order app, xargs, xargs, app)
#   PARALLEL=2 LARGEST_FIRST=1 bench/run.sh
#                              (xargs with as many engines as the application, in its order:
#                               what the application's own handling of a file costs)
#   TRACE=1 bench/run.sh       (both sides run the engine through a wrapper that logs when each
#                               engine starts and ends, and the figures below say where time went)
#
# The application run starts the program on a virtual display with a stored page and
# "-autostart", and ends when the page's run log has its footer; its time includes the program's
# start-up, not the display's, which a user has already. The plain run takes the engine arguments
# from that same log's header, so both runs give the engine the very same command lines. Needs
# Xvfb; run after scripts/build.
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
command -v Xvfb >/dev/null || { echo "Xvfb is needed" >&2; exit 1; }

work=$(mktemp -d /tmp/dravik-runbench.XXXXXX)
app_pid=
xvfb_pid=
cleanup() {
    [[ -n $app_pid ]] && kill -- -"$app_pid" 2>/dev/null || true
    [[ -n $xvfb_pid ]] && kill "$xvfb_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

# One display for every application run, started before any clock runs.
display=99
while [[ -e /tmp/.X11-unix/X$display || -e /tmp/.X$display-lock ]]; do display=$((display + 1)); done
Xvfb ":$display" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
xvfb_pid=$!
for _ in $(seq 100); do [[ -e /tmp/.X11-unix/X$display ]] && break; sleep 0.1; done
[[ -e /tmp/.X11-unix/X$display ]] || { echo "Xvfb did not start" >&2; exit 1; }

# With TRACE set, the application runs from a folder of its own whose engine is a wrapper around
# the real one (the program looks for its engine beside itself), and xargs calls the same wrapper.
trace=$work/trace.log
if [[ -n ${TRACE:-} ]]; then
    mkdir -p "$work/bin"
    cp "$app" "$work/bin/"
    cat > "$work/bin/dravik.bin" <<WRAP
#!/bin/bash
start=\$(date +%s.%N)
"$engine" "\$@"
code=\$?
# The engine's processor time (user and system), from the shell's count of its children.
# (times runs in this shell, not in a pipe's subshell, whose count of children starts at zero).
times > "$work/times.\$\$"
cpu=\$(tail -1 "$work/times.\$\$" | sed 's/[ms]/ /g' | awk '{ print \$1 * 60 + \$2 + \$3 * 60 + \$4 }')
rm -f "$work/times.\$\$"
echo "\$start \$(date +%s.%N) \$cpu" >> "$trace"
exit \$code
WRAP
    chmod +x "$work/bin/dravik.bin"
    app=$work/bin/dravik-desktop
    engine=$work/bin/dravik.bin
fi

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
# Idle and total processor ticks of the whole machine: a run that leaves processors idle on a
# quiet machine is waiting, not working.
ticks() { awk '/^cpu / { print $5 + $6, $2 + $3 + $4 + $5 + $6 + $7 + $8 + $9 }' /proc/stat; }
idle_share() { # before after
    awk -v a="$1" -v b="$2" 'BEGIN { split(a, x, " "); split(b, y, " ")
        printf "               the processors were idle %.1f %% of the time\n", 100 * (y[1] - x[1]) / (y[2] - x[2]) }'
}

# The wait for the application's end polls with shell builtins only: a grep and a sleep started
# twenty times a second took a sixth of the processors (measured with perf) from the very run
# being timed, and from the application's side alone. A read that times out on a pipe nobody
# writes is the sleep.
exec {tick}<> <(:)
has_footer() {
    local lines i
    [[ -r $1 ]] || return 1
    mapfile -t lines < "$1"
    for ((i = ${#lines[@]} - 1; i >= 0 && i >= ${#lines[@]} - 4; i--)); do
        [[ ${lines[i]} == 'end: '* ]] && return 0
    done
    return 1
}

# One run through the application into $1; prints its wall time.
app_run() {
    local out=$1 start
    rm -rf "$out"; mkdir -p "$out"
    sed "s|@OUT@|$out/|" "$work/page.json" > "$settings/PageSettings.json"
    : > "$trace"
    local ticks0; ticks0=$(ticks)
    start=$(now)
    setsid env XDG_DATA_HOME="$work/data" QT_QPA_PLATFORM=xcb DISPLAY=":$display" \
        "$app" -autostart >"$work/app.out" 2>&1 &
    app_pid=$!
    until has_footer "$out/_DravikLog.log"; do
        if ! kill -0 "$app_pid" 2>/dev/null; then echo "the application ended before its run did" >&2; exit 1; fi
        read -r -t 0.05 -u "$tick" || true
    done
    local end; end=$(now)
    calc "$end - $start"
    report "$start" "$end" > "$work/report-app"
    if [[ -n ${TRACE:-} ]]; then idle_share "$ticks0" "$(ticks)" >> "$work/report-app"; fi
    # The application's own processor time (its engines not counted): what its windows, timers
    # and bookkeeping take from the engines on a machine with no processor to spare.
    if [[ -n ${TRACE:-} && -r /proc/$app_pid/stat ]]; then
        awk -v hz="$(getconf CLK_TCK)" '{ printf "               the application itself used %.2f s of processor time\n", ($14 + $15) / hz }' \
            "/proc/$app_pid/stat" >> "$work/report-app"
    fi
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
    : > "$trace"
    local ticks0; ticks0=$(ticks)
    start=$(now)
    # In a session of its own, as the application is: the kernel shares the processors out by
    # session, so both sides compete with the rest of the machine on the same footing.
    (cd "$work/in" && if [[ -n ${LARGEST_FIRST:-} ]]; then find . -type f -printf '%s %P\n' | sort -rn | cut -d' ' -f2-
                      else find . -type f | sed 's|^\./||'; fi) \
        | setsid -w xargs -P "$parallel" -I{} sh -c 'exec "$0" -in "$1/$2" -out "$3/$2" '"$common" \
            "$engine" "$work/in" {} "$out" || true
    local end; end=$(now)
    calc "$end - $start"
    report "$start" "$end" > "$work/report-plain"
    if [[ -n ${TRACE:-} ]]; then idle_share "$ticks0" "$(ticks)" >> "$work/report-plain"; fi
}

# Where the time of one side went, from the trace of its engines: the wait before the first
# engine, the time after the last one, the mean number of engines running, and the time during
# which fewer engines ran than at the busiest moment (the tail of a list, or gaps between files).
report() {
    [[ -s $trace ]] || return 0
    awk -v t0="$1" -v t1="$2" '
        { n++; s[n] = $1; e[n] = $2; busy += $2 - $1; cpu += $3
          if (first == "" || $1 < first) first = $1; if ($2 > last) last = $2
          ev[2 * n - 1] = $1 " 1"; ev[2 * n] = $2 " -1" }
        END {
            m = 2 * n; for (i = 1; i <= m; i++) { split(ev[i], a, " "); t[i] = a[1]; d[i] = a[2] }
            for (i = 2; i <= m; i++) { x = t[i]; y = d[i]; j = i - 1
                while (j > 0 && t[j] > x) { t[j + 1] = t[j]; d[j + 1] = d[j]; j-- } t[j + 1] = x; d[j + 1] = y }
            run = 0; peak = 0; for (i = 1; i <= m; i++) { run += d[i]; if (run > peak) peak = run }
            run = 0; below = 0
            for (i = 1; i < m; i++) { run += d[i]; if (run < peak) below += t[i + 1] - t[i] }
            printf "before the first engine %.2f s, after the last %.2f s, %.2f engines on average (at most %d), %.2f s with fewer; the engines used %.1f s of processor time\n",
                first - t0, t1 - last, busy / (last - first), peak, below, cpu
        }' "$trace"
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
    if [[ -n ${TRACE:-} ]]; then
        printf '  application: %s\n' "$(cat "$work/report-app")"
        printf '  xargs      : %s\n' "$(cat "$work/report-plain")"
    fi
    app_total=$(calc "$app_total + $a"); plain_total=$(calc "$plain_total + $p")
done

app_out=$(find "$work/out-app" -type f ! -name _DravikLog.log | wc -l)
plain_out=$(find "$work/out-plain" -type f | wc -l)
out_bytes=$(find "$work/out-app" -type f ! -name _DravikLog.log -printf '%s\n' | awk '{ n += $1 } END { print n }')
printf 'application : %7.2f s  (%d outputs, %s bytes out; %d engines at once: the processor count, at most 8)\n' \
    "$app_total" "$app_out" "$out_bytes" "$(nproc)"
printf 'xargs -P %-2d : %7.2f s  (%d outputs)\n' "$parallel" "$plain_total" "$plain_out"
printf 'ratio       : %7.3f  (target: at most 1.1)\n' "$(calc "$app_total / $plain_total")"
printf 'load average: %s\n' "$(cut -d' ' -f1-3 /proc/loadavg)"
