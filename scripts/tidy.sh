#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs clang-tidy on the sources that changed since a commit: the argument, or the branch point from
# origin/main, or the commit before this one. With "all" on every source, which takes minutes.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${test_packages[@]}" "${tidy_packages[@]}"
cmake --preset dev >/dev/null

since=${1:-$(git merge-base HEAD origin/main 2>/dev/null || true)}
if [ -z "$since" ] || [ "$since" = "$(git rev-parse HEAD)" ]; then
    since=$(git rev-parse --verify -q HEAD~1 || git rev-parse HEAD)
fi
list_sources() {
    if [ "$since" = all ]; then
        git ls-files 'src/*.cpp' 'demo/*.cpp' 'bench/*.cpp'
    else
        git diff --name-only --diff-filter=d "$since" -- 'src/*.cpp' 'demo/*.cpp' 'bench/*.cpp'
    fi
}
# What only Windows compiles is not in the list of commands.
sources=$(list_sources | while read -r source; do
    grep -q "$PWD/$source" build/dev/compile_commands.json && echo "$source"
done || true)
[ -n "$sources" ] || { echo "No source changed."; exit 0; }
# g++'s options are in the commands, some of which clang does not know.
xargs -P "$(nproc)" -n 2 clang-tidy -p build/dev --quiet --extra-arg=-Wno-unknown-warning-option \
    <<<"$sources"
