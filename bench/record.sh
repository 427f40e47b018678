#!/usr/bin/env bash
# Measures a take beside `ffmpeg -f x11grab` with the same encoder, on a private X server whose 1920 x 1080 screen
# never stands still, and beside nothing where it does. Prints one table; out/record.md holds the same.
#
#   bench/record.sh BUILD
#
# BENCH_QUICK=1 records for 5 seconds instead of 20, and 20 instead of 600 for the memory.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "$1")
glintro=$build/bin/glintro
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

rows=$work/rows.md
: >"$rows"
row() {
    local met=$6
    [[ $met == 1 ]] && met=yes
    [[ $met == 0 ]] && met=no
    echo "| $1 | $2 | $3 | $4 | $5 | $met |" >>"$rows"
}

start_display
still_screen
"$build/bin/busy_screen" &
started+=($!)
sleep 1
against_x11grab
memory
{
    echo "A take of a private 1920 × 1080 X server, $seconds seconds at 60 frames a second; $(nproc) cores."
    echo
    echo "| what | Glintro | ffmpeg -f x11grab | ratio | target | met |"
    echo "| ---- | ------- | ----------------- | ----- | ------ | --- |"
    cat "$rows"
} | tee out/record.md
