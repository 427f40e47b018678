#!/usr/bin/env bash
# Measures single pictures of a ten-minute reel beside FFmpeg's, in turns, and prints one table; out/stills.md holds
# the same table.
#
#   bench/stills.sh BUILD [REEL]
#
# REEL is a sample reel of 2560 x 1600 pixels; made in out/bench, where run.sh keeps its reels, when it is not given.
# Times are the sum over all pictures of the best of the rounds; each is a whole process, as is FFmpeg's.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "$1")
seconds=600 width=480 count=12 rounds=${BENCH_ROUNDS:-3}
work=$PWD/out/bench
mkdir -p "$work"
export LC_ALL=C.UTF-8

say() { echo "$*" >&2; }
calc() { awk "BEGIN { printf \"${2:-%.2f}\", $1 }"; }

reel=${2:+$(realpath "$2")}
if [[ -z $reel ]]; then
    reel=$work/reel-$seconds
    if [[ ! -e $reel/project.json ]]; then
        say "Making a reel of $seconds seconds ..."
        "$build/bin/glintro" sample "$reel" --seconds $seconds --size 2560x1600 --fps 60 >/dev/null
    fi
fi
length=$(ffprobe -v error -show_entries format=duration -of default=nw=1:nk=1 "$reel/raw.mov")

# best NAME COMMAND...: the least wall clock and processor time of all runs of that name, in milliseconds.
declare -A wall_of cpu_of
best() {
    local name=$1 wall cpu rest
    shift
    "$build/bin/measure" "$work/measured" "$@" >"$work/stills.log" 2>&1 || { cat "$work/stills.log" >&2 && exit 1; }
    read -r wall cpu rest <"$work/measured"
    wall_of[$name]=$(calc "${wall_of[$name]:-1e9} < $wall * 1000 ? ${wall_of[$name]:-1e9} : $wall * 1000" %.0f)
    cpu_of[$name]=$(calc "${cpu_of[$name]:-1e9} < $cpu * 1000 ? ${cpu_of[$name]:-1e9} : $cpu * 1000" %.0f)
}

# One ffmpeg that seeks to every time with key frames only: quicker than a process for each.
key_frames() {
    local inputs=() graph="" i
    for ((i = 0; i < count; i++)); do
        inputs+=(-skip_frame nokey -noaccurate_seek -ss "$(calc "($i + 0.5) * $length / $count" %.3f)" -i "$reel/raw.mov")
        graph+="[$i:v]trim=end_frame=1,scale=$width:-2,setpts=0[p$i];"
    done
    for ((i = 0; i < count; i++)); do graph+="[p$i]"; done
    best key-ffmpeg ffmpeg -v error -nostdin -y "${inputs[@]}" -filter_complex "${graph}concat=n=$count" \
        -frames:v $count -pix_fmt bgra -f rawvideo "$work/keys-ffmpeg.raw"
}

# The same as separate processes, the sum of their times.
key_frames_one_by_one() {
    local i
    for ((i = 0; i < count; i++)); do
        best "key-$i" ffmpeg -v error -nostdin -y -skip_frame nokey -noaccurate_seek \
            -ss "$(calc "($i + 0.5) * $length / $count" %.3f)" -i "$reel/raw.mov" -frames:v 1 \
            -vf "scale=$width:-2" -pix_fmt bgra -f rawvideo "$work/key-ffmpeg.raw"
    done
}

stills() {
    local part time
    for part in $parts; do
        time=$(calc "$part * $length" %.3f)
        best "still-$part" "$build/bin/glintro" still "$reel" --at "$time" -o "$work/still.png"
        best "seek-$part" ffmpeg -v error -nostdin -y -ss "$time" -i "$reel/raw.mov" -frames:v 1 "$work/seek.png"
    done
}

# sum ARRAY PREFIX
sum() {
    local -n of=$1
    local total=0 name
    for name in "${!of[@]}"; do [[ $name != $2-* ]] || total=$((total + of[$name])); done
    echo $total
}

# row WHAT OUR_WALL THEIR_WALL OUR_CPU THEIR_CPU LIMIT
row() {
    local met=no
    awk "BEGIN { exit !($2 <= $6 * $3) }" && met=yes
    echo "| $1 | $2 ms | $3 ms | $(calc "$2 / $3") | ≤ $6 | $met | $4 ms | $5 ms |"
}

parts="0.071 0.313 0.502 0.689 0.937"
for ((round = 1; round <= rounds; round++)); do
    say "Stills, round $round of $rounds ..."
    best key-ours "$build/bin/still_frames" "$reel" "$work/keys.raw" $count $width
    key_frames
    key_frames_one_by_one
    stills
done
# Of the two ways to ask FFmpeg, the quicker one is the reference.
ours_wall=${wall_of[key-ours]} ours_cpu=${cpu_of[key-ours]}
together_wall=${wall_of[key-ffmpeg]} together_cpu=${cpu_of[key-ffmpeg]}
unset "wall_of[key-ours]" "cpu_of[key-ours]" "wall_of[key-ffmpeg]" "cpu_of[key-ffmpeg]"
theirs_wall=$(sum wall_of key) theirs_cpu=$(sum cpu_of key)
if ((together_wall < theirs_wall)); then theirs_wall=$together_wall theirs_cpu=$together_cpu; fi
{
    echo "Pictures of a reel of $(calc "$length" %.0f) s, 2560 × 1600, wall clock (and processor); the best of" \
        "$rounds runs; load when done: $(cut -d ' ' -f 1 /proc/loadavg)."
    echo
    echo "| what | Glintro | FFmpeg | ratio | target | met | processor | FFmpeg's |"
    echo "| --- | --- | --- | --- | --- | --- | --- | --- |"
    row "$count scrub frames, key frames only, $width wide" "$ours_wall" "$theirs_wall" "$ours_cpu" "$theirs_cpu" 1.5
    row "Five stills, drawn, with camera (ffmpeg -ss)" "$(sum wall_of still)" "$(sum wall_of seek)" \
        "$(sum cpu_of still)" "$(sum cpu_of seek)" 1.2
} | tee out/stills.md
