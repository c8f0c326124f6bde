#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures how the tasks grow with the number of tables and relations, with few rows: runs each task in
# its own process on warehouses of four shapes (bench/tables.awk). Prints CPU seconds, wall-clock seconds,
# and the ratio of the CPU seconds to those of the previous size. Arguments: the numbers of tables ("500
# 1000 2000"; there are two and a half times as many relations), the number of rounds (3), of which the
# median is printed, and the shapes.
set -euo pipefail
cd "$(dirname "$0")/.."
sizes=${1:-500 1000 2000}
rounds=${2:-3}
shapes=${3:-snowflake chain wide hub}

. scripts/packages.sh
scripts/install-packages.sh "${bench_packages[@]}"
. bench/measure.sh

# task <name> <options...>: appends the figures to a file for the shape, size and task.
task() {
    local figures=$work/figures-$shape-$size-$1
    shift
    measure_program "$figures" "$@"
}

for shape in $shapes; do
    for size in $sizes; do
        awk -v shape="$shape" -v tables="$size" -v relations=$((size * 5 / 2)) -f bench/tables.awk |
            sqlite3 "$work/base-$shape-$size.db"
    done
    for ((round = 0; round < rounds; ++round)); do
        for size in $sizes; do
            cp "$work/base-$shape-$size.db" "$work/program/retail.db"
            : >"$work/program/retail_archive.db"
            sync "$work/program/retail.db"
            task check -chkmd
            task archiving -clsf -bkmac "sqlite:$work/program" -bkdb retail_archive -bkusr archivist
            task marking -mark
            task reports -grep
            task deletion -del
        done
    done
done

echo "| shape | task | tables | CPU s | s | CPU ratio |"
echo "|---|---|---:|---:|---:|---:|"
for shape in $shapes; do
    for name in check archiving marking reports deletion; do
        former=
        for size in $sizes; do
            figures=$work/figures-$shape-$size-$name
            cpu=$(awk '{ print $2 + $3 }' "$figures" | median)
            wall=$(awk '{ print $1 }' "$figures" | median)
            awk -v cpu="$cpu" -v wall="$wall" -v former="$former" \
                -v row="$shape | $name | $size" 'BEGIN { printf "| %s | %.2f | %.2f | %s |\n", row, cpu,
                wall, former == "" ? "" : sprintf("%.2f", cpu / former) }'
            former=$cpu
        done
    done
done
