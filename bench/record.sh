#!/usr/bin/env bash
# Measures a take beside `ffmpeg -f x11grab` with the same encoder, on a private X server whose 1920 x 1080 screen
# never stands still, and beside nothing where it does. Then both record a browser that scrolls the whole screen
# while busy loops take all cores but one, which is what a demo of a heavy program is like. Prints one table;
# out/record.md holds the same.
#
#   bench/record.sh BUILD [loaded]
#
# loaded: only the browser and the busy loops. BENCH_QUICK=1 records for 5 seconds instead of 20, and 20 instead of
# 600 for the memory. Without chromium the busy screen of this folder scrolls instead of a browser.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "$1")
glintro=$build/bin/glintro
part=${2:-all}
work=$PWD/out/bench/record
mkdir -p "$work"
export LC_ALL=C.UTF-8 WAYLAND_DISPLAY=

seconds=20 long=600 rounds=3
[[ ${BENCH_QUICK:-0} == 1 ]] && seconds=5 long=20 rounds=1

say() { echo "$*" >&2; }
calc() { awk "BEGIN { printf \"${2:-%.2f}\", $1 }"; }
least() { awk "BEGIN { print $1 < $2 ? $1 : $2 }"; }
number() { sed -n "s/.*\"$2\": *\([0-9.]*\).*/\1/p" "$1" | head -n 1; }

started=()
stop_all() {
    ((${#started[@]})) && kill "${started[@]}" 2>/dev/null
    wait
}
trap stop_all EXIT

# Ends some of what was started.
stop() {
    kill "$@" 2>/dev/null || true
    wait "$@" 2>/dev/null || true
}

# A server of our own; its process in $server.
start_display() {
    rm -f "$work/display"
    Xvfb -displayfd 5 -screen 0 1920x1080x24 -nolisten tcp -noreset 5>"$work/display" >"$work/xvfb.log" 2>&1 &
    server=$!
    started+=("$server")
    until [[ -s $work/display ]]; do sleep 0.05; done
    export DISPLAY=:$(<"$work/display")
}

# The processor seconds a process has taken so far.
processor_of() { awk '{ print ($14 + $15) / 100 }' "/proc/$1/stat"; }

# measured NAME COMMAND...: seconds of wall clock and processor, MiB at the most, and the server's seconds.
measured() {
    local name=$1 before
    shift
    before=$(processor_of "$server")
    "$build/bin/measure" "$work/$name.measured" "$@" >"$work/$name.out" 2>"$work/$name.err" || {
        cat "$work/$name.err" >&2
        say "failed: $*"
        exit 1
    }
    read -r wall cpu peak <"$work/$name.measured"
    server_cpu=$(calc "$(processor_of "$server") - $before")
}

record() {
    local name=$1 length=$2
    rm -rf "$work/$name.reel"
    measured "$name" "$glintro" record --seconds "$length" --fps 60 --json -o "$work/$name.reel"
}

load() { calc "100 * $1 / $2" %.1f; }

# x11grab NAME [OPTION...]: the same take by ffmpeg, its encoder told more by the options.
x11grab() {
    local name=$1
    shift
    measured "$name" ffmpeg -v error -stats -nostdin -y -f x11grab -draw_mouse 0 -framerate 60 -video_size 1920x1080 \
        -i "$DISPLAY" -t "$seconds" -c:v libx264 -preset "$preset" -tune zerolatency "$@" \
        -b:v $((1920 * 1080 * 60 * 12 / 100)) -g 120 -pix_fmt yuv420p "$work/x11grab.mov"
}

# The least processor time of all rounds; what else is told of them is the worst.
against_x11grab() {
    local preset round ours=1e9 ours_server=1e9 free=1e9 single=1e9 server_free=1e9 dropped=0 frames=1e9 repeated=0
    for ((round = 1; round <= rounds; round++)); do
        say "Recording a busy screen for $seconds seconds, and the same by ffmpeg, round $round of $rounds ..."
        record busy "$seconds"
        ours=$(least "$ours" "$cpu") ours_server=$(least "$ours_server" "$server_cpu")
        frames=$(least "$frames" "$(number "$work/busy.out" frames)")
        dropped=$((dropped + $(number "$work/busy.out" dropped)))
        preset=$(sed -n 's/.*"encoder": *"libx264 \([a-z]*\)".*/\1/p' "$work/busy.out")
        [[ -n $preset ]] || { say "Not recorded by libx264: nothing to compare with." && exit 1; }
        x11grab free
        free=$(least "$free" "$cpu") server_free=$(least "$server_free" "$server_cpu")
        repeated=$((repeated + $(tr '\r' '\n' <"$work/free.err" | sed -n 's/.*dup=\([0-9]*\) drop=\([0-9]*\).*/\1 + \2/p' | tail -n 1)))
        x11grab single -threads 1
        single=$(least "$single" "$cpu")
    done
    row "Processor, busy screen at 60 ($preset)" "$(load "$ours" "$seconds") %" "$(load "$free" "$seconds") %" \
        "$(calc "$ours / $free")" "≤ 0.6" "$(calc "$ours <= 0.6 * $free" %d)"
    row "The same, ffmpeg’s encoder on one thread as ours" "$(load "$ours" "$seconds") %" \
        "$(load "$single" "$seconds") %" "$(calc "$ours / $single")" - -
    row "The X server’s part of it" "$(load "$ours_server" "$seconds") %" "$(load "$server_free" "$seconds") %" \
        "$(calc "$ours_server / $server_free")" - -
    row "Frames, the least of $rounds rounds" "$frames" "$((seconds * 60))" "$(calc "$frames / ($seconds * 60)")" - -
    row "Frames dropped in all rounds (ffmpeg: repeated or dropped)" "$dropped" "$repeated" - 0 "$((dropped == 0))"
}

still_screen() {
    say "Recording a still screen ..."
    record still "$seconds"
    row "Processor, still screen" "$(load "$cpu" "$seconds") %" - - "≤ 3 %" "$(calc "$cpu / $seconds <= 0.03" %d)"
}

# Memory while a long take runs: what the process holds resident at a tenth of it and at its end.
memory() {
    say "Recording a busy screen for $long seconds ..."
    rm -rf "$work/long.reel"
    "$glintro" record --seconds "$long" --fps 60 --json -o "$work/long.reel" >"$work/long.out" 2>"$work/long.err" &
    local recorder=$! first last
    sleep $((long / 10))
    first=$(awk '/VmRSS/ { print $2 / 1024 }' "/proc/$recorder/status")
    sleep $((long * 85 / 100))
    last=$(awk '/VmRSS/ { print $2 / 1024 }' "/proc/$recorder/status")
    wait "$recorder"
    row "Memory late in a take of $long s beside early" "$(calc "$last" %.1f) MiB" "$(calc "$first" %.1f) MiB" \
        "$(calc "$last / $first")" "≤ 1.05" "$(calc "$last <= 1.05 * $first" %d)"
    row "Frames dropped in it" "$(number "$work/long.out" dropped)" - - 0 "$(calc "$(number "$work/long.out" dropped) == 0" %d)"
}

# A page of text that scrolls in every frame, and whose title says how many frames it has shown.
scrolling_page() {
    cat <<'PAGE'
<!doctype html><meta charset=utf-8><title>0</title>
<style>body { margin: 0; font: 15px/1.4 sans-serif } p { columns: 4; margin: 8px 16px }</style><body><script>
let seed = 1, frames = 0, y = 0;
const next = n => (seed = seed * 48271 % 2147483647) % n;
const word = () => Array.from({length: 2 + next(8)}, () => String.fromCharCode(97 + next(26))).join('');
for (let i = 0; i < 400; ++i) {
    const p = document.createElement('p');
    p.style.background = `hsl(${next(360)} 60% ${80 + next(15)}%)`;
    p.textContent = Array.from({length: 200}, word).join(' ');
    document.body.append(p);
}
function step() {
    y = y + 12 > document.body.scrollHeight - innerHeight ? 0 : y + 12;
    scrollTo(0, y);
    if (++frames % 6 == 0) document.title = frames;
    requestAnimationFrame(step);
}
step();
</script>
PAGE
}

# What scrolls the whole screen; in $scrolling, and in $window the one whose title counts frames.
start_scrolling() {
    window=
    if ! command -v chromium >/dev/null || ! command -v xdotool >/dev/null; then
        "$build/bin/busy_screen" &
        scrolling=$!
        started+=("$scrolling")
        return
    fi
    scrolling_page >"$work/page.html"
    chromium --no-sandbox --kiosk --no-first-run --disable-gpu --user-data-dir="$work/browser" \
        --app="file://$work/page.html" >"$work/chromium.log" 2>&1 &
    scrolling=$!
    started+=("$scrolling")
    sleep 6
    window=$(xdotool search --onlyvisible --class chromium | tail -n 1)
}

# Busy loops on all cores but one; in $loops.
start_busy_loops() {
    local i
    loops=()
    for ((i = 1; i < $(nproc) || i == 1; i++)); do
        (while :; do :; done) &
        loops+=($!)
    done
    started+=("${loops[@]}")
}

shown_frames() { [[ -n $window ]] && xdotool getwindowname "$window" || echo 0; }

# paced COMMAND...: the page's frames a second meanwhile, in $pace.
paced() {
    local frames begin
    frames=$(shown_frames) begin=$EPOCHREALTIME
    "$@"
    pace=$(calc "($(shown_frames) - $frames) / ($EPOCHREALTIME - $begin)" %.1f)
}

# Decoded frames that differ from the one before by more than an encoder makes of an unchanged screen.
distinct_frames() {
    ffmpeg -nostdin -v error -stats -i "$1" -vf mpdecimate -vsync 0 -f null - 2>&1 |
        tr '\r' '\n' | sed -n 's/.*frame= *\([0-9]*\).*/\1/p' | tail -n 1
}

# Both in turns. All counts are told, for a machine's noise is as large as what is measured.
loaded_machine() {
    local round length=8 ours reference ours_all=0 reference_all=0 ours_pace=0 reference_pace=0 dropped=0 counts= free
    start_scrolling
    free=$([[ -n $window ]] && paced sleep 4 && echo "$pace" || echo -)
    start_busy_loops
    for ((round = 1; round <= rounds; round++)); do
        say "Recording a scrolling page on a loaded machine, and the same by ffmpeg, round $round of $rounds ..."
        paced record loaded "$length"
        ours_pace=$(calc "$ours_pace + $pace / $rounds" %.1f)
        dropped=$((dropped + $(number "$work/loaded.out" dropped)))
        paced measured loaded-x11grab ffmpeg -v error -nostdin -y -f x11grab -draw_mouse 0 -framerate 60 \
            -video_size 1920x1080 -i "$DISPLAY" -t "$length" -c:v libx264 -preset ultrafast \
            -b:v $((1920 * 1080 * 60 * 12 / 100)) -g 120 -pix_fmt yuv420p "$work/loaded.mov"
        reference_pace=$(calc "$reference_pace + $pace / $rounds" %.1f)
        ours=$(distinct_frames "$work/loaded.reel/raw.mov") reference=$(distinct_frames "$work/loaded.mov")
        ours_all=$((ours_all + ours)) reference_all=$((reference_all + reference))
        counts+=" $ours/$reference"
    done
    stop "$scrolling" "${loops[@]}"
    row "Frames that differ, scrolling page and busy loops (each round:$counts)" "$ours_all" "$reference_all" \
        "$(calc "$ours_all / ($reference_all + 1e-9)")" "≥ 1" "$((ours_all >= reference_all))"
    row "Frames dropped meanwhile" "$dropped" - - - -
    row "The page’s own frames a second meanwhile (unrecorded, without load: $free)" "$ours_pace" "$reference_pace" \
        "$(calc "$ours_pace / ($reference_pace + 1e-9)")" "≥ 0.95" "$(calc "0.95 * $reference_pace <= $ours_pace" %d)"
}

rows=$work/rows.md
: >"$rows"
row() {
    local met=$6
    [[ $met == 1 ]] && met=yes
    [[ $met == 0 ]] && met=no
    echo "| $1 | $2 | $3 | $4 | $5 | $met |" >>"$rows"
}

start_display
if [[ $part == all ]]; then
    still_screen
    "$build/bin/busy_screen" &
    busy=$!
    started+=("$busy")
    sleep 1
    against_x11grab
    memory
    stop "$busy"
fi
loaded_machine
{
    echo "A take of a private 1920 × 1080 X server, $seconds seconds at 60 frames a second; $(nproc) cores."
    echo
    echo "| what | Glintro | ffmpeg -f x11grab | ratio | target | met |"
    echo "| ---- | ------- | ----------------- | ----- | ------ | --- |"
    cat "$rows"
} | tee out/record.md
