#!/usr/bin/env bash
# Holds the layer check to find includes that the table does not allow, and to let all others pass.
#
#   check_layers_test.sh CHECK    CHECK: scripts/check_layers.sh
set -euo pipefail
check=$1
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
failed=0

# expect RESULT FILE INCLUDE: a tree that holds only this FILE with this line must pass or fail, naming the line.
expect() {
    local expected=$1 file=$2 include=$3 output result=passes
    rm -rf "${root:?}"/*
    mkdir -p "$root/$(dirname "$file")"
    printf '#pragma once\n#include %s\n' "$include" >"$root/$file"
    output=$("$check" "$root" 2>&1) || result=fails
    if [[ $result == fails && $output != "$file:2: "* ]]; then result="fails without naming the line: $output"; fi
    [[ $result == "$expected" ]] && return
    echo "$file with #include $include $result; it should be: $expected"
    failed=1
}

expect passes core/render/A.h '"core/plan/FramePlan.h"'
expect passes core/render/A.h '"core/base/Failure.h"'
expect passes core/media/encode/A.h '"core/media/fragments/Boxes.h"'
expect passes sample/A.h '"core/media/encode/MovieWriter.h"'
expect passes core/media/decode/A.h '<libavcodec/avcodec.h>'
expect fails core/plan/A.h '"core/render/FrameRenderer.h"'            # upwards
expect fails core/media/A.h '"core/media/encode/MovieWriter.h"'       # upwards, out of the folder that holds it
expect fails core/media/fragments/A.h '"core/media/encode/MovieWriter.h"'
expect fails app/recording/A.h '"platform/linux/LinuxPlatform.h"'     # past the seam
expect fails core/render/A.h '<libavcodec/avcodec.h>'                 # another layer's library
expect fails core/model/A.h '<QString>'
expect fails core/model/A.h '"tests/support/Reels.h"'
expect fails core/model/A.h '"Look.h"'                                # not from the top folder

exit $failed
