#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the test suite on an instrumented build and prints the line and branch coverage of each folder of
# src, and the files below 85 % of lines. Argument: a regular expression that selects the tests.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${test_packages[@]}" "${coverage_packages[@]}"
. scripts/compiler-cache.sh
build=build/coverage
mkdir -p "$build"
cc -c tests/support/gcov_exit.c -o "$build/gcov_exit.o"
cmake --preset dev -B "$build" -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" \
    -DCMAKE_EXE_LINKER_FLAGS="$PWD/$build/gcov_exit.o -Wl,--wrap=_exit,--wrap=_Exit" >/dev/null
cmake --build "$build" | tail -n 1
find "$build" -name '*.gcda' -delete
ctest --test-dir "$build" -R "${1:-.}" --no-tests=error -j "$(nproc)" | tail -n 4

# Columns: file, lines, covered lines, percentage, branches, covered branches, percentage.
gcovr --root . --filter src/ --exclude-throw-branches --csv "$build/coverage.csv" "$build"
awk -F, '
    function row(name, lines, hit, branches, taken) {
        return sprintf("%-28s %6d lines %6.1f %%   %6d branches %6.1f %%", name, lines,
            lines ? 100 * hit / lines : 100, branches, branches ? 100 * taken / branches : 100)
    }
    NR == 1 { next }
    {
        folder = $1
        sub("/[^/]*$", "", folder)
        lines[folder] += $2; hit[folder] += $3; branches[folder] += $5; taken[folder] += $6
        all += $2; allHit += $3; allBranches += $5; allTaken += $6
        if ($2 && $3 / $2 < 0.85) low[$1] = sprintf("%-44s %5d lines %6.1f %%", $1, $2, 100 * $3 / $2)
    }
    END {
        for (folder in lines)
            print row(folder, lines[folder], hit[folder], branches[folder], taken[folder]) | "sort"
        close("sort")
        print row("src", all, allHit, allBranches, allTaken)
        print "\nFiles below 85 % of lines:"
        for (file in low) print low[file] | "sort"
    }' "$build/coverage.csv"
