#!/usr/bin/env bash
# What each preset of libx264 takes and gives at the bit rate of our 1080p60 exports, as a table.
#
#   bench/presets.sh BUILD
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "$1")
work=$PWD/out/bench
source bench/compose.sh
mkdir -p "$work"

# A short reel of its own, composed without loss: neither our drawing nor our encoder has a part in it.
reel=$work/reel-10
[[ -e $reel/project.json ]] ||
    "$build/bin/glintro" sample "$reel" --seconds 10 --size 2560x1600 --fps 60 >/dev/null
compose_pictures "$work"
inputs=(-i "$reel/raw.mov")
for picture in backdrop corners pointer; do inputs+=(-framerate 60 -i "$work/$picture.png"); done
inputs+=(-i "$reel/camera.mov")
for picture in circle ring; do inputs+=(-framerate 60 -i "$work/$picture.png"); done
ffmpeg -v error -nostdin -y "${inputs[@]}" \
    -filter_complex "$(compose_graph "$(zoom_expression "$build/bin/glintro" "$reel")" rgba rgb)" \
    -map "[out]" -t 10 -r 60 -c:v libx264 -preset ultrafast -qp 0 "$work/master.mp4"

echo "| preset | processor a frame | wall clock a frame | SSIM | PSNR | bit rate |"
echo "| --- | --- | --- | --- | --- | --- |"
for preset in ultrafast superfast veryfast faster fast medium; do
    "$build/bin/measure" "$work/measured" ffmpeg -v error -nostdin -y -i "$work/master.mp4" -c:v libx264 \
        -profile:v high -preset $preset -b:v 13685760 -g 120 "$work/preset.mp4"
    read -r wall cpu _ <"$work/measured"
    ffmpeg -v info -nostdin -i "$work/preset.mp4" -i "$work/master.mp4" \
        -lavfi "[0][1]ssim;[0][1]psnr" -f null - 2>"$work/quality.log"
    ssim=$(sed -n 's/.*SSIM.*All:\([0-9.]*\).*/\1/p' "$work/quality.log")
    psnr=$(sed -n 's/.*PSNR.*average:\([0-9.]*\).*/\1/p' "$work/quality.log")
    rate=$(ffprobe -v error -select_streams v -show_entries stream=bit_rate -of csv=p=0 "$work/preset.mp4")
    awk -v preset=$preset -v wall="$wall" -v cpu="$cpu" -v ssim="$ssim" -v psnr="$psnr" -v rate="$rate" 'BEGIN {
        printf "| %s | %.1f ms | %.1f ms | %.4f | %.2f dB | %.1f Mbit/s |\n", preset, cpu / 0.6, wall / 0.6, ssim, psnr,
            rate / 1e6 }'
done
