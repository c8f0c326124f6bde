#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Mutation test: breaks the code in one place at a time, builds, and runs the suite, which must fail.
# Prints for each mutant of list.txt the first test that caught it. Arguments: parts of the names of the
# mutants to run; without them all are run. MORVANE_MUTANTS=nearest runs only the tests of the mutant's own
# layer, which are the most likely to fail, and MORVANE_MUTANTS=<folder> those in that folder of tests: faster,
# but other tests may still catch what survives.
#
# Works on the last commit, in a work tree of its own (build/mutants), so that yours is never changed.
set -euo pipefail
cd "$(dirname "$0")/../.."

. scripts/compiler-cache.sh
list=$PWD/tests/mutants/list.txt
work=$PWD/build/mutants
[ -e "$work/.git" ] || git worktree add --quiet --detach --force "$work"
git -C "$work" checkout --quiet --force --detach "$(git rev-parse HEAD)"
cd "$work"
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$work} CCACHE_NOHASHDIR=1
cmake --preset dev -DCMAKE_COMPILE_WARNING_AS_ERROR=OFF >/dev/null
results=$(mktemp -d)
trap 'git checkout --quiet --force; rm -rf "$results"' EXIT

# run_tests [<option of ctest>...]: prints the tests that failed; false when there are any.
run_tests() {
    ctest --test-dir build/dev --no-tests=error --stop-on-failure -j "$(nproc)" "$@" >"$results/tests" 2>&1 ||
        ! sed -n '/tests FAILED:/,$ s/^[[:space:]]*[0-9]* - \([^ ]*\).*/\1/p' "$results/tests" | sort -u | grep .
}

# mutate <old> <new>: prints the file that it changed. The old text must occur exactly once in src.
mutate() {
    local old=$1 new=$2 file content
    file=$(git grep -lF -e "$old" -- src) || { echo "no file has: $old" >&2; return 1; }
    [ "$(wc -l <<<"$file")" -eq 1 ] || { echo "several files have: $old" >&2; return 1; }
    content=$(<"$file")
    [ "${content/"$old"/}" = "${content//"$old"/}" ] || { echo "more than once in $file: $old" >&2; return 1; }
    printf '%s\n' "${content/"$old"/"$new"}" >"$file"
    echo "$file"
}

# layer_of <file of src>: prints the label of the tests nearest to it, then the programs with these tests.
layer_of() {
    case ${MORVANE_MUTANTS:-nearest} in
    nearest) ;;
    *) set -- "src/$MORVANE_MUTANTS/" ;;
    esac
    case $1 in
    src/core/*) echo base base_tests ;;
    src/db/odbc/*) echo contract contract_tests ;;
    src/db/embedded/*) echo embedded embedded_tests ;;
    src/*/*) set -- "$(cut -d / -f 2 <<<"$1")" && echo "$1" "$1_tests" ;;
    esac
}

build() {
    cmake --build --preset dev --target "$@" >"$results/build" 2>&1
}

# judge <name> <old> <new>: prints the mutant's line of the table. The nearest tests go first.
judge() {
    local file layer caught
    file=$(mutate "$2" "$3") || return 1
    layer=($(layer_of "$file"))
    if ! build "${layer[@]:1}"; then
        caught="does not compile: $(grep -m 1 'error' "$results/build")"
    elif caught=$(run_tests -L "^${layer[0]}\$") && [ "$nearest" ]; then
        caught=SURVIVED
    elif [ -z "$caught" ] && build all; then
        caught=$(run_tests -LE "^${layer[0]}\$") && caught=SURVIVED
    fi
    printf '%-60s %-36s %s\n' "$1" "$file" "$(tr '\n' ' ' <<<"$caught")"
    git checkout --quiet -- "$file"
    [[ $caught != SURVIVED && $caught != "does not"* ]]
}

nearest=
[ -z "${MORVANE_MUTANTS-}" ] || nearest=1
if [ -z "$nearest" ]; then
    echo "Building and testing without a mutant"
    build all || { tail -n 20 "$results/build"; exit 1; }
    run_tests || { echo "the suite fails without a mutant"; exit 1; }
fi

# A mutant is three lines: its name after "=", the text after "-", what replaces it after "+".
wanted=$(IFS='|'; echo "${*:-.}")
failed=0
while IFS= read -r -u 3 line; do
    case $line in
    '= '*) name=${line#= } ;;
    '- '*) old=${line#- } ;;
    '+'*)
        grep -qE "$wanted" <<<"$name" || continue
        new=${line#+}
        judge "$name" "$old" "${new# }" || failed=$((failed + 1))
        ;;
    esac
done 3<"$list"
echo "$failed survived or could not be applied"
[ "$failed" -eq 0 ]
