#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Injects a fault at every statement that a run sends on the embedded engine (the statement fails, its
# response is lost, the connection is lost, the process is killed) and limits file sizes. Prints the
# counts. MORVANE_FAULTS=sample takes the same sample as the test suite.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${fault_packages[@]}"
. scripts/compiler-cache.sh
cmake --preset dev -B build/faults -DMORVANE_UI=OFF >/dev/null
cmake --build build/faults --target fault_tests | tail -n 1

export MORVANE_FAULTS=${MORVANE_FAULTS:-all}
GTEST_TOTAL_SHARDS=$(nproc)
export GTEST_TOTAL_SHARDS
results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT
shards=()
for ((shard = 0; shard < GTEST_TOTAL_SHARDS; ++shard)); do
    GTEST_SHARD_INDEX=$shard build/faults/tests/faults/fault_tests >"$results/$shard" 2>&1 &
    shards+=($!)
done
failed=0
for shard in "${!shards[@]}"; do
    wait "${shards[$shard]}" || { failed=1; cat "$results/$shard"; }
done

# A line of counts holds: kind of run, kind of fault, task, statements, faults.
cat "$results"/* | awk '
    $1 == "counts:" {
        task = $4
        if ($3 == "Refused") statements[task] += $5
        faults[task, $3] += $6
        faults["all", $3] += $6
        total[task] += $6
        total["all"] += $6
        if ($3 == "Refused") statements["all"] += $5
    }
    END {
        printf "%-8s %10s %8s %11s %11s %7s %6s\n", "task", "statements", "refused", \
            "answer lost", "server lost", "killed", "runs"
        count = split("lock check archive mark reports delete all", tasks, " ")
        for (i = 1; i <= count; ++i) {
            t = tasks[i]
            printf "%-8s %10d %8d %11d %11d %7d %6d\n", t, statements[t], faults[t, "Refused"], \
                faults[t, "AnswerLost"], faults[t, "ServerLost"], faults[t, "Killed"], 2 * total[t]
        }
    }'
grep -hE '^\[ +(OK|FAILED|SKIPPED) +\].*ms\)' "$results"/* | sort -k 4
exit "$failed"
