#!/usr/bin/env bash
# Fails when a folder includes what its layer may not use, and names the line.
#
#   scripts/check_layers.sh [ROOT]    ROOT: the folder that holds core/, app/, ...; this project's when absent
set -euo pipefail
root=${1:-$(dirname "$0")/..}

# The table; what stands behind a # is for its reader.
layers=$(sed 's/#.*//' "$(dirname "$0")/layers.txt")

# Libraries that only the layers naming them above may include, by what their headers are called. A library
# that is not named here (fmt, the standard library) is for everybody.
libraries='
json       : ^nlohmann/
highway    : ^hwy/
ffmpeg     : ^lib(av[a-z]*|sw[a-z]*|postproc)/
cairo      : ^(cairo|pango)
imagequant : ^libimagequant
cgif       : ^cgif
x11        : ^(xcb/|X11/)
pipewire   : ^(pipewire|spa)/
pulse      : ^pulse/
portal     : ^systemd/
camera     : ^linux/videodev
input      : ^lib(input|udev)
qt         : ^(Q[A-Z]|Qt[A-Z])
sodium     : ^sodium
archive    : ^archive
cli        : ^CLI/
'

cd "$root"
for folder in core sample platform kit app; do
    [[ ! -d $folder ]] || find "$folder" -name '*.h' -o -name '*.cpp'
done | sort |
    xargs awk -v layers="$layers" -v libraries="$libraries" '
    function trim(text) { gsub(/^ +| +$/, "", text); return text }

    function inside(path, folder) { return index(path "/", folder "/") == 1 }

    # The longest folder of the table that holds the path; none when there is no such folder.
    function layer_of(path,    folder, best) {
        best = ""
        for (folder in uses) if (inside(path, folder) && length(folder) > length(best)) best = folder
        return best
    }

    function may_use(layer, header,    used, names, count, i) {
        used = layer_of(header)
        if (used == layer || used == "core/base") return 1
        count = split(uses[layer], names, / +/)
        for (i = 1; i <= count; i++)
            if (names[i] == used || (!(names[i] in uses) && names[i] != "" && inside(used, names[i]))) return 1
        return 0
    }

    function complain(what) { printf "%s:%d: %s\n", FILENAME, FNR, what; bad++ }

    BEGIN {
        count = split(layers, rows, "\n")
        for (i = 1; i <= count; i++) if (split(rows[i], part, ":") == 3) {
            uses[trim(part[1])] = trim(part[2])
            brings[trim(part[1])] = " " trim(part[3]) " "
        }
        count = split(libraries, rows, "\n")
        for (i = 1; i <= count; i++) if (split(rows[i], part, " : ") == 2) pattern[trim(part[1])] = part[2]
    }

    FNR == 1 {
        layer = layer_of(FILENAME)
        if (layer == "") complain("this folder is no layer")
        files++
    }

    layer != "" && match($0, /^[ \t]*#[ \t]*include[ \t]*[<"][^>"]*[>"]/) {
        header = substr($0, RSTART, RLENGTH)
        sub(/^[^<"]*[<"]/, "", header)
        sub(/[>"]$/, "", header)
        for (library in pattern)
            if (header ~ pattern[library] && !index(brings[layer], " " library " "))
                complain(layer " may not use " header)
        if (layer_of(header) != "" && !may_use(layer, header)) complain(layer " may not use " header)
        if (header ~ /^(tests|bench)\//) complain("no layer may use " header)
        if (header ~ /^\.\.?\// || (/"/ && header !~ /\//)) complain("name headers from the top folder: " header)
    }

    END {
        if (bad) exit 1
        printf "Layers: %d files, every arrow allowed.\n", files
    }'
