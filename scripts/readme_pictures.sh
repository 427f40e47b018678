#!/usr/bin/env bash
# Renders the README's pictures anew: one frame in every Look, as a contact sheet, one zoomed frame, and a short GIF.
#
#   scripts/readme_pictures.sh GLINTRO
set -euo pipefail
glintro=$(realpath "$1")
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$glintro" sample "$work/reel" --seconds 20 >/dev/null
mkdir -p docs/images

# A fifth of a second after the second click: zoomed in, and its ripple is still to be seen.
click=$(tr -d ' \n' <"$work/reel/events.json" | sed 's/.*"clicks":\[\[[^]]*\],\[\([0-9.]*\),.*/\1/')
moment=$(awk "BEGIN { print $click + 0.2 }")
"$glintro" still "$work/reel" --at "$moment" --long-side 1600 -o docs/images/zoom.png >/dev/null

# Some desktop for the Look "Desktop" to blur.
ffmpeg -v error -f lavfi -i "gradients=s=1600x1000:c0=0xF4A259:c1=0x2A6F97:c2=0x5B8E7D:c3=0x1B263B:n=4:seed=7:d=1:r=1" \
    -frames:v 1 "$work/wallpaper.png"
inputs=() labels="" number=0
for look in Aurora Studio Dusk Midnight Paper Mono Desktop Bare; do
    "$glintro" still "$work/reel" --at 0.2 --look $look --wallpaper "$work/wallpaper.png" --long-side 640 \
        -o "$work/$look.png" >/dev/null
    inputs+=(-i "$work/$look.png")
    labels+="[$number]pad=iw+16:ih+56:8:8:white,drawtext=text=$look:font=Inter:fontsize=24:fontcolor=black:x=(w-tw)/2:y=h-38[p$number];"
    number=$((number + 1))
done
ffmpeg -v error -y "${inputs[@]}" -filter_complex \
    "$labels[p0][p1][p2][p3]hstack=4[top];[p4][p5][p6][p7]hstack=4[bottom];[top][bottom]vstack" \
    -frames:v 1 docs/images/looks.png

"$glintro" sample "$work/short" --seconds 8 >/dev/null
"$glintro" render "$work/short" --preset gif -o docs/images/demo.gif >/dev/null
