#!/usr/bin/env bash
# Runs clang-tidy over the product's sources as they are compiled, several at once.
#
#   scripts/clang_tidy.sh BUILD [JOBS]    BUILD: a configured build folder
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
jobs=${2:-$(nproc)}

# Older versions cannot read std::expected as GCC 12 writes it.
tidy=clang-tidy-19
command -v $tidy >/dev/null || {
    echo "$tidy is not installed" >&2
    exit 1
}

sources=$(sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$build/compile_commands.json" |
    grep -E "^$PWD/(app|core|platform|sample)/" | sort -u) || true
for folder in app core platform sample; do
    grep -q "^$PWD/$folder/" <<<"$sources" || {
        echo "clang-tidy: $build/compile_commands.json names no source of $folder/" >&2
        exit 1
    }
done

xargs -P "$jobs" -n 1 $tidy -p "$build" --quiet --extra-arg=-Wno-unknown-warning-option 2>/dev/null <<<"$sources"
echo "clang-tidy: nothing to say of $(wc -l <<<"$sources") sources."
