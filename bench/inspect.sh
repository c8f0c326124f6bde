#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares "morvane-inspect plan" and "verify" with a marking run on the same warehouse, in several pairs of
# runs, and prints the ratios and the peak memory. Arguments: the scale of the warehouse (33: 10 million fact
# rows) and the number of pairs.
set -euo pipefail
cd "$(dirname "$0")/.."
scale=${1:-33}
pairs=${2:-6}

. scripts/packages.sh
scripts/install-packages.sh "${bench_packages[@]}"
. bench/measure.sh
cmake --build build/bench --target morvane-inspect >/dev/null

# look <figures> <subcommand>: exit code 1 means that something was found.
look() {
    local figures=$1
    shift
    measure "$figures" bash -c '"$@" || [ $? = 1 ]' _ build/bench/src/inspect/morvane-inspect "$@" \
        -mac "sqlite:$work/program" -db retail
}

"$demo" "$work/program" --scale "$scale" --force >/dev/null
# As in a warehouse that is marked every night.
measure_program "$work/first.txt" -mark
for ((pair = 0; pair < pairs; ++pair)); do
    [ $((pair % 2)) = 0 ] || measure_program "$work/mark.txt" -mark
    look "$work/plan.txt" plan
    look "$work/verify.txt" verify
    [ $((pair % 2)) = 1 ] || measure_program "$work/mark.txt" -mark
done

printf '%-8s %8s %8s %7s %7s %9s\n' "" "s" "CPU s" "ratio" "CPU" "peak KB"
for name in mark plan verify; do
    paste -d' ' "$work/$name.txt" "$work/mark.txt" >"$work/pairs.txt"
    printf '%-8s %8.3f %8.3f %7.2f %7.2f %9d\n' "$name" \
        "$(cut -d' ' -f1 "$work/$name.txt" | median)" \
        "$(awk '{ print $2 + $3 }' "$work/$name.txt" | median)" \
        "$(awk '{ print $1 / $6 }' "$work/pairs.txt" | median)" \
        "$(awk '{ print ($2 + $3) / ($7 + $8) }' "$work/pairs.txt" | median)" \
        "$(cut -d' ' -f4 "$work/$name.txt" | median)"
done
