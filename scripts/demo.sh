#!/usr/bin/env bash
# Makes a sample reel and renders it in two shapes and as a GIF.
#
#   scripts/demo.sh GLINTRO FOLDER    GLINTRO: the built program; what is made goes into FOLDER
set -euo pipefail
glintro=$1
folder=$2
reel=$folder/reel

made=()
# step WHAT FILE COMMAND...: runs the command that makes FILE and notes how long it took.
step() {
    local what=$1 file=$2 begin=${EPOCHREALTIME/[.,]/}
    shift 2
    echo "$what ..."
    "$@"
    local ms=$(((${EPOCHREALTIME/[.,]/} - begin) / 1000))
    local line
    printf -v line '  %-34s %6s  %5d.%d s   %s' \
        "$what" "$(du -sh "$file" | cut -f 1)" $((ms / 1000)) $((ms % 1000 / 100)) "$(realpath "$file")"
    made+=("$line")
}

mkdir -p "$folder"
rm -rf "$reel" "$folder"/demo-16x9.mp4 "$folder"/demo-9x16.mp4 "$folder"/demo.gif
step "A sample reel of 20 seconds" "$reel" "$glintro" sample "$reel" --seconds 20
step "The movie, 16:9, 1080p60" "$folder/demo-16x9.mp4" \
    "$glintro" render "$reel" --aspect 16:9 -o "$folder/demo-16x9.mp4"
step "The movie, 9:16, filled, 1080p60" "$folder/demo-9x16.mp4" \
    "$glintro" render "$reel" --aspect 9:16 --fill -o "$folder/demo-9x16.mp4"
step "The GIF, 640 pixels, 12 fps" "$folder/demo.gif" "$glintro" render "$reel" --preset gif -o "$folder/demo.gif"

echo
echo "Made (size, time taken, place):"
printf '%s\n' "${made[@]}"
