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

"$demo" "$work" --scale "$scale" >/dev/null
cp "$work/retail.db" "$work/plain.db"
sqlite3 "$work/plain.db" "UPDATE dwm_tables SET where_clause = NULL"

fresh() {
    cp "$1" "$work/program/retail.db"
    : >"$work/program/retail_archive.db"
    sync
}

# Without conditions a plan forecasts marking, with conditions archiving and two markings.
for ((pair = 0; pair < pairs; ++pair)); do
    fresh "$work/plain.db"
    [ $((pair % 2)) = 0 ] || measure_program "$work/mark.txt" -mark
    look "$work/plan.txt" plan
    [ $((pair % 2)) = 1 ] || measure_program "$work/mark.txt" -mark
    look "$work/verify.txt" verify
    fresh "$work/retail.db"
    look "$work/plan-archive.txt" plan
    measure_program "$work/archive.txt" -clsf -mark -bkmac "sqlite:$work/program" \
        -bkdb retail_archive -bkusr archivist
done

printf '%-42s %8s %8s %7s %7s %9s\n' "" "s" "CPU s" "ratio" "CPU" "peak KB"
# row <name> <figures> <figures of the run it is compared with>
row() {
    paste -d' ' "$work/$2.txt" "$work/$3.txt" >"$work/pairs.txt"
    printf '%-42s %8.3f %8.3f %7.2f %7.2f %9d\n' "$1" \
        "$(cut -d' ' -f1 "$work/$2.txt" | median)" \
        "$(awk '{ print $2 + $3 }' "$work/$2.txt" | median)" \
        "$(awk '{ print $1 / $6 }' "$work/pairs.txt" | median)" \
        "$(awk '{ print ($2 + $3) / ($7 + $8) }' "$work/pairs.txt" | median)" \
        "$(cut -d' ' -f4 "$work/$2.txt" | median)"
}
row "marking" mark mark
row "plan without conditions / marking" plan mark
row "verify / marking" verify mark
row "archiving and marking" archive archive
row "plan with conditions / both" plan-archive archive
