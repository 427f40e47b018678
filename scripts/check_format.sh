#!/usr/bin/env bash
# Fails when a source is not formatted as .clang-format says, and names it. With --fix it is formatted instead.
set -euo pipefail
cd "$(dirname "$0")/.."

# Versions differ in their taste: everybody has to use the same one.
formatter=clang-format-14
command -v $formatter >/dev/null || {
    echo "$formatter is not installed" >&2
    exit 1
}

sources() { find core platform app sample tests bench -name '*.h' -print0 -o -name '*.cpp' -print0; }

if [[ ${1:-} == --fix ]]; then
    sources | xargs -0 $formatter -i
    exit
fi

wrong=$(sources | xargs -0 -P "$(nproc)" -I{} \
    bash -c "$formatter --dry-run --Werror '{}' 2>/dev/null || echo '{}'" | sort)
if [[ -n $wrong ]]; then
    echo "Not formatted (make format does it):"
    echo "$wrong"
    exit 1
fi
echo "Formatting: all sources as they should be."
