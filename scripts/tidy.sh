#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs clang-tidy on the sources that changed since a commit (the argument; by default the branch point
# from origin/main, or the previous commit on main itself), those with the most changed lines first. A
# changed header is checked through a source that includes it. MORVANE_TIDY_MOST limits the number of
# sources. With "all" it checks every source, which takes minutes.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${test_packages[@]}"
. scripts/compiler-cache.sh
cmake --preset dev >/dev/null

folders=(src demo bench)
since=${1:-$(git merge-base HEAD origin/main 2>/dev/null || true)}
if [ -z "$since" ] || [ "$since" = "$(git rev-parse HEAD)" ]; then
    since=$(git rev-parse --verify -q HEAD~1 || git rev-parse HEAD)
fi

# source_of <file>: the file itself, or for a header the source beside it, else one that includes it.
source_of() {
    case $1 in
    *.cpp) echo "$1" ;;
    *.h)
        if [ -e "${1%.h}.cpp" ]; then
            echo "${1%.h}.cpp"
        else
            git grep -lF "#include \"${1#src/}\"" -- "${folders[@]/%//*.cpp}" | head -n 1 || true
        fi
        ;;
    esac
}
list_sources() {
    if [ "$since" = all ]; then
        git ls-files -- "${folders[@]/%//*.cpp}"
        return
    fi
    git diff --numstat --no-renames --diff-filter=d "$since" -- "${folders[@]}" | sort -rn | cut -f 3 |
        while read -r file; do source_of "$file"; done
}
# Sources that are compiled only on Windows are not in the compilation database.
mapfile -t sources < <(list_sources | awk '!seen[$0]++' | while read -r source; do
    ! grep -qF "\"$PWD/$source\"" build/dev/compile_commands.json || echo "$source"
done)
[ ${#sources[@]} -gt 0 ] || { echo "No source has changed."; exit 0; }

most=${MORVANE_TIDY_MOST:-${#sources[@]}}
if [ "${#sources[@]}" -gt "$most" ]; then
    echo "Checking $most of ${#sources[@]} changed sources; \"scripts/tidy.sh all\" checks all."
    sources=("${sources[@]:0:$most}")
else
    echo "Checking ${#sources[@]} sources."
fi
# clang cannot read the precompiled headers of g++, and does not know all of its warning options.
mkdir -p build/dev/tidy
sed -E 's/-Winvalid-pch -include [^ ]+//' build/dev/compile_commands.json >build/dev/tidy/compile_commands.json
printf '%s\n' "${sources[@]}" |
    xargs -P "$(nproc)" -n 2 clang-tidy -p build/dev/tidy --quiet --extra-arg=-Wno-unknown-warning-option \
        2> >(grep -v 'warnings\? generated' >&2)
