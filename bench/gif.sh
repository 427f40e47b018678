#!/usr/bin/env bash
# Measures our GIFs beside those of FFmpeg and gifski, all made of the same frames, in one run, and prints one
# table; out/gif.md holds the same table.
#
#   bench/gif.sh BUILD [RECORDING]
#
# The frames are 10 seconds of the sample reel and 10 seconds of a browser that scrolls: of RECORDING where one is
# given, else recorded here where chromium and Xvfb are installed, else left out. gifski comes as a program in an
# npm package, for this comparison alone; where it cannot be had its columns say so.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "$1")
recording=${2:+$(realpath "$2")}
fps=12 width=640 seconds=10 rounds=${BENCH_ROUNDS:-3}
work=$PWD/out/bench/gif
mkdir -p "$work"
export LC_ALL=C.UTF-8

say() { echo "$*" >&2; }
calc() { awk "BEGIN { printf \"${2:-%.2f}\", $1 }"; }

gifski=$work/package/bin/debian/gifski
fetch_gifski() {
    [[ -x $gifski ]] && return
    (cd "$work" && npm pack --silent gifski@1.7.1 >/dev/null && tar xzf gifski-1.7.1.tgz) 2>/dev/null || true
    [[ -f $gifski ]] && chmod +x "$gifski" && return
    say "gifski cannot be had here."
    gifski=
}

# raw NAME: how FFmpeg reads the frames of a clip.
raw() { echo "-f rawvideo -pixel_format rgb24 -video_size ${size_of[$1]} -framerate $fps -i $work/$1.rgb"; }

declare -A size_of
draw_sample() {
    local reel=$work/reel-20
    [[ -e $reel/project.json ]] || "$build/bin/glintro" sample "$reel" --seconds 20 --size 2560x1600 --fps 60 >/dev/null
    size_of[sample]=$("$build/bin/gif_frames" draw "$reel" "$work/sample.rgb" $width $fps $seconds)
}

record_browser() {
    local display=:97 server browser
    command -v chromium >/dev/null && command -v Xvfb >/dev/null || return 0
    Xvfb $display -screen 0 1280x800x24 >/dev/null 2>&1 &
    server=$!
    sleep 1
    DISPLAY=$display chromium --no-sandbox --user-data-dir="$work/browser" --no-first-run --disable-gpu --kiosk \
        --window-size=1280,800 "file://$PWD/bench/gif-page.html" >/dev/null 2>&1 &
    browser=$!
    sleep 6
    ffmpeg -v error -nostdin -y -f x11grab -framerate 24 -video_size 1280x800 -i $display -t $seconds \
        -c:v libx264rgb -preset ultrafast -crf 0 "$work/browser.mkv"
    kill $browser && wait $browser 2>/dev/null || true
    kill $server && wait $server 2>/dev/null || true
    recording=$work/browser.mkv
}

draw_recording() {
    [[ -n $recording || ! -e $work/browser.mkv ]] || recording=$work/browser.mkv
    [[ -n $recording ]] || record_browser
    [[ -n $recording ]] || { say "No recording of a browser: give one, or install chromium and xvfb." && return; }
    ffmpeg -v error -nostdin -y -i "$recording" -t $seconds -vf "fps=$fps,scale=$width:-2:flags=lanczos" \
        -pix_fmt rgb24 -f rawvideo "$work/browser.rgb"
    size_of[browser]=$(ffmpeg -v error -nostdin -i "$recording" -vf "scale=$width:-2,showinfo" -frames:v 1 \
        -v info -f null - 2>&1 | grep -o 's:[0-9]*x[0-9]*' | head -n 1 | cut -c 3-)
}

# The seconds of processor and of wall clock that a command takes, the least of all rounds.
declare -A cpu_of wall_of
best() {
    local name=$1 one_wall one_cpu rest
    shift
    "$build/bin/measure" "$work/measured" "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2 && exit 1; }
    read -r one_wall one_cpu rest <"$work/measured"
    cpu_of[$name]=$(calc "${cpu_of[$name]:-1e9} < $one_cpu ? ${cpu_of[$name]:-1e9} : $one_cpu")
    wall_of[$name]=$(calc "${wall_of[$name]:-1e9} < $one_wall ? ${wall_of[$name]:-1e9} : $one_wall")
}

# ssim CLIP GIF: over R, G and B of all frames; GIFs that joined equal frames are taken apart again.
ssim() {
    # shellcheck disable=SC2046
    ffmpeg -nostdin $(raw "$1") -i "$2" -filter_complex "[0]format=gbrp,settb=1/$fps,setpts=N[a];
        [1]format=gbrp,fps=$fps:round=near,settb=1/$fps,setpts=N[b];[a][b]ssim" -f null - 2>&1 |
        grep -o 'All:[0-9.]*' | cut -d : -f 2
}

# row CLIP PROGRAM GIF
row() {
    printf '| %s | %s | %s | %s KiB | %s s | %s s |\n' "$1" "$2" "$(ssim "$1" "$3")" \
        "$(calc "$(stat -c %s "$3") / 1024" %.0f)" "${cpu_of[$1-$2]}" "${wall_of[$1-$2]}"
}

compare() {
    local clip=$1 gif=$work/$1 round
    if [[ -n $gifski ]]; then
        rm -rf "$gif-png" && mkdir "$gif-png"
        # shellcheck disable=SC2046
        ffmpeg -v error -nostdin -y $(raw "$clip") "$gif-png/%04d.png"
    fi
    for ((round = 1; round <= rounds; round++)); do
        say "$clip, round $round of $rounds ..."
        best "$clip-Glintro" "$build/bin/gif_frames" write "$work/$clip.rgb" "${size_of[$clip]}" $fps "$gif-ours.gif"
        # shellcheck disable=SC2046
        best "$clip-FFmpeg" ffmpeg -v error -nostdin -y $(raw "$clip") -filter_complex "split[a][b];
            [a]palettegen=stats_mode=diff[p];[b][p]paletteuse=dither=sierra2_4a:diff_mode=rectangle" "$gif-ffmpeg.gif"
        [[ -z $gifski ]] || best "$clip-gifski" "$gifski" -q --fps $fps -W 4000 -o "$gif-gifski.gif" "$gif-png"/*.png
    done
    row "$clip" Glintro "$gif-ours.gif"
    row "$clip" FFmpeg "$gif-ffmpeg.gif"
    if [[ -n $gifski ]]; then
        row "$clip" gifski "$gif-gifski.gif"
    else
        echo "| $clip | gifski | not to be had here | - | - | - |"
    fi
}

# A whole export of the 20 seconds beside drawing its frames and throwing them away.
whole_export() {
    local round
    for ((round = 1; round <= rounds; round++)); do
        best drawing "$build/bin/gif_frames" draw "$work/reel-20" /dev/null $width $fps
        best export "$build/bin/gif_frames" export "$work/reel-20" "$work/export.gif" $width $fps
    done
    echo "Whole export of 20 s: ${wall_of[export]} s of wall clock, ${cpu_of[export]} s of processor;" \
        "drawing its frames alone: ${wall_of[drawing]} s, ${cpu_of[drawing]} s;" \
        "ratio $(calc "${wall_of[export]} / ${wall_of[drawing]}") by wall clock."
}

table() {
    echo "$seconds seconds, $width pixels, $fps frames a second; the best of $rounds runs; $(nproc) cores," \
        "load when begun: $(cut -d ' ' -f 1 /proc/loadavg). Version: $(git describe --always --dirty 2>/dev/null || echo unknown)."
    echo
    echo "| frames | program | SSIM | size | processor | wall clock |"
    echo "| --- | --- | --- | --- | --- | --- |"
    compare sample
    [[ -z ${size_of[browser]:-} ]] || compare browser
    echo
    whole_export
}

fetch_gifski
draw_sample
draw_recording
table | tee out/gif.md
