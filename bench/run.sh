#!/usr/bin/env bash
# Measures Glintro beside references in one run and prints one table, and one for GIFs; out/bench.md holds the same.
#
#   bench/run.sh BUILD
#
# BENCH_QUICK=1 renders shorter reels and once only, for a look while working. The reels are kept in out/bench
# for the next run; `make clean` removes them.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "$1")
glintro=$build/bin/glintro
source bench/compose.sh

work=$PWD/out/bench
mkdir -p "$work"
rows=$work/rows.tsv
: >"$rows"

if [[ ${BENCH_QUICK:-0} == 1 ]]; then
    short=10 long=60 rounds=1 kernel_time=0.1
else
    short=60 long=600 rounds=3 kernel_time=0.5
fi

# The encoder settings of our own exports at 1080p60.
preset=$(sed -n 's/.*std::string preset = "\(.*\)";.*/\1/p' core/media/encode/MovieWriter.h)
encode=(-c:v libx264 -profile:v high -preset "$preset" -b:v 13685760 -g 120
    -color_primaries bt709 -color_trc bt709 -colorspace bt709 -c:a aac -b:a 160k)

say() { echo "$*" >&2; }

# calc EXPRESSION [FORMAT]
calc() { awk "BEGIN { printf \"${2:-%.2f}\", $1 }"; }

# row WHAT OURS REFERENCE RATIO TARGET MET: "-" where there is nothing to say.
row() { (IFS=$'\t' && echo "$*") >>"$rows"; }

# row_at_most WHAT UNIT OURS REFERENCE LIMIT
row_at_most() {
    local ratio met=no
    ratio=$(calc "$3 / $4")
    awk "BEGIN { exit !($3 <= $5 * $4) }" && met=yes
    row "$1" "$3 $2" "$4 $2" "$ratio" "≤ $5" "$met"
}

# row_faster WHAT UNIT OURS REFERENCE FACTOR: FACTOR may be "-".
row_faster() {
    local ratio met=- target=-
    ratio=$(calc "$4 / $3")
    if [[ $5 != - ]]; then
        target="≥ $5 × faster" met=no
        awk "BEGIN { exit !($4 >= $5 * $3) }" && met=yes
    fi
    row "$1" "$3 $2" "$4 $2" "$ratio × faster" "$target" "$met"
}

# best NAME COMMAND...: runs a command and keeps the least of each of wall, processor and memory over all runs
# of that NAME, in the variables wall, cpu and peak.
declare -A wall_of cpu_of peak_of
best() {
    local name=$1 one_wall one_cpu one_peak
    shift
    "$build/bin/measure" "$work/measured" "$@" >"$work/$name.log" 2>&1 || {
        cat "$work/$name.log" >&2
        say "failed: $*"
        exit 1
    }
    read -r one_wall one_cpu one_peak <"$work/measured"
    wall_of[$name]=$(calc "${wall_of[$name]:-1e9} < $one_wall ? ${wall_of[$name]:-1e9} : $one_wall")
    cpu_of[$name]=$(calc "${cpu_of[$name]:-1e9} < $one_cpu ? ${cpu_of[$name]:-1e9} : $one_cpu")
    peak_of[$name]=$(calc "${peak_of[$name]:-1e9} < $one_peak ? ${peak_of[$name]:-1e9} : $one_peak" %.0f)
}

# reel SECONDS: the folder of a sample reel of that length, made when it is not there.
reel() {
    local folder=$work/reel-$1
    if [[ ! -e $folder/project.json ]]; then
        say "Making a reel of $1 seconds ..."
        rm -rf "$folder"
        "$glintro" sample "$folder" --seconds "$1" --size 2560x1600 --fps 60 >/dev/null
    fi
    echo "$folder"
}

render() { best "$1" "$glintro" render "$2" --short-side 1080 --fps 60 -o "$work/$1.mp4"; }

against_transcoding() {
    local source
    source=$(reel $short)
    for ((round = 1; round <= rounds; round++)); do
        say "Rendering $short seconds beside a transcode of the result, round $round of $rounds ..."
        rm -f "$work/ours.mp4"
        render ours "$source"
        best transcode ffmpeg -v error -nostdin -y -i "$work/ours.mp4" "${encode[@]}" "$work/transcode.mp4"
    done
    row_at_most "Export of $short s, processor (A: transcode)" s "${cpu_of[ours]}" "${cpu_of[transcode]}" 1.3
    row_at_most "Export of $short s, wall clock (A)" s "${wall_of[ours]}" "${wall_of[transcode]}" 1.25
    row_at_most "Export of $short s, peak memory (A)" MiB "${peak_of[ours]}" "${peak_of[transcode]}" 1.3
}

# compose NAME ALPHA_FORMAT OVERLAY_FORMAT: reference B for the reel of ten seconds.
compose() {
    local name=$1 source pictures=() picture
    source=$(reel 10)
    for picture in backdrop corners pointer; do pictures+=(-framerate 60 -i "$work/$picture.png"); done
    pictures+=(-i "$source/camera.mov")
    for picture in circle ring; do pictures+=(-framerate 60 -i "$work/$picture.png"); done
    say "Composing 10 seconds with a filter graph, $name ..."
    best "$name" ffmpeg -v error -nostdin -y -i "$source/raw.mov" "${pictures[@]}" \
        -filter_complex "$(compose_graph "$(zoom_expression "$glintro" "$source")" "$2" "$3")" \
        -map "[out]" -map 0:a -t 10 -r 60 "${encode[@]}" "$work/$name.mp4"
}

against_filter_graph() {
    local source frames=600 name
    source=$(reel 10)
    compose_pictures "$work"
    rm -f "$work/ten.mp4"
    render ten "$source"
    compose rgb rgba rgb
    compose 420 yuva420p yuv420
    local -A called=([rgb]="B: filter graph in RGB" [420]="B in 4:2:0, pointer on even pixels")
    local -A wanted=([rgb]=4 [420]=-)
    for name in rgb 420; do
        row_faster "A frame, processor (${called[$name]})" ms "$(calc "${cpu_of[ten]} * 1000 / $frames" %.1f)" \
            "$(calc "${cpu_of[$name]} * 1000 / $frames" %.1f)" "${wanted[$name]}"
        row_faster "A frame, wall clock (${called[$name]})" ms "$(calc "${wall_of[ten]} * 1000 / $frames" %.1f)" \
            "$(calc "${wall_of[$name]} * 1000 / $frames" %.1f)" "${wanted[$name]}"
    done
}

memory_over_length() {
    local source
    source=$(reel $long)
    say "Rendering $long seconds ..."
    rm -f "$work/long.mp4"
    render long "$source"
    row_at_most "Peak memory, export of $long s beside $short s" MiB "${peak_of[long]}" "${peak_of[ours]}" 1.1
}

# Stills at times spread over the long reel, the sum of all against FFmpeg's.
# The layers' own benchmarks: first those that have a limit, in milliseconds of processor time, or of the clock on
# the wall where several threads work for somebody who waits.
kernels() {
    local program csv
    for program in "$build"/bin/bench/*; do
        [[ -x $program ]] || continue
        say "Measuring $(basename "$program") ..."
        csv=$work/$(basename "$program").csv
        "$program" --benchmark_min_time=$kernel_time --benchmark_out="$csv" --benchmark_out_format=csv >/dev/null 2>&1
        awk -F , -v program="$(basename "$program")" -v limits="$(grep -v '^#' bench/limits.txt)" '
            BEGIN {
                count = split(limits, lines, "\n")
                for (i = 1; i <= count; i++) if (split(lines[i], part, / +/) >= 2) {
                    limit[part[1]] = part[2]
                    waits[part[1]] = part[3] == "wall"
                }
                factor["ns"] = 1e-6; factor["us"] = 1e-3; factor["ms"] = 1; factor["s"] = 1e3
            }
            started && $5 in factor {
                gsub(/"/, "", $1)
                known = $1 in limit
                time = (waits[$1] ? $3 : $4) * factor[$5]
                printf "%s%s\t%.3g ms\t-\t-\t%s\t%s\n", $1, waits[$1] ? ", wall clock" : "", time, known ? "≤ " limit[$1] " ms" : "-",
                    known ? (time <= limit[$1] ? "yes" : "no") : "-"
            }
            /^name,/ { started = 1 }' "$csv"
    done >"$work/kernels.tsv"
    awk -F '\t' '$5 != "-"' "$work/kernels.tsv" >>"$rows"
    awk -F '\t' '$5 == "-"' "$work/kernels.tsv" >>"$rows"
}

machine() {
    local model
    model=$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1)
    echo "${model:-$(uname -m)}, $(nproc) cores," \
        "$(awk '/MemTotal/ { printf "%.0f", $2 / 1048576 }' /proc/meminfo) GiB, $(uname -s) $(uname -r | cut -d - -f 1)"
}

table() {
    cat <<EOT
Machine: $(machine). Version: $(git describe --always --dirty 2>/dev/null || echo unknown), $(date -u +%F).
Reference: $(ffmpeg -version | head -n 1 | cut -d ' ' -f 1-3), libx264 $preset. Recording: 2560 × 1600 at 60 frames
a second, rendered as 1080p60. The best of $rounds runs; load of the machine when done: $(cut -d ' ' -f 1 /proc/loadavg).

EOT
    # Columns are padded by characters, which not every awk counts: bash does.
    local -a widths=(0 0 0 0 0 0) cells
    local line i
    local header=$'what\tGlintro\treference\tratio\ttarget\tmet'
    while IFS=$'\t' read -ra cells; do
        for i in "${!cells[@]}"; do ((${#cells[i]} > widths[i])) && widths[i]=${#cells[i]}; done
    done < <(echo "$header" && cat "$rows")
    local first=yes
    while IFS=$'\t' read -ra cells; do
        line="|"
        for i in "${!cells[@]}"; do line+=" ${cells[i]}$(printf '%*s' $((widths[i] - ${#cells[i]})) '') |"; done
        echo "$line"
        [[ $first == no ]] && continue
        first=no
        line="|"
        for i in "${!cells[@]}"; do line+=" $(printf '%*s' "${widths[i]}" '' | tr ' ' -) |"; done
        echo "$line"
    done < <(echo "$header" && cat "$rows")
}

export LC_ALL=C.UTF-8
against_transcoding
against_filter_graph
memory_over_length
kernels
table | tee out/bench.md
echo | tee -a out/bench.md
bench/stills.sh "$build" | tee -a out/bench.md
echo | tee -a out/bench.md
bench/gif.sh "$build" | tee -a out/bench.md
echo | tee -a out/bench.md
bench/record.sh "$build" | tee -a out/bench.md
