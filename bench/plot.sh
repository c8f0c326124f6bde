#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Plots the table of bench/scale.sh: CPU seconds of each task over the number of fact rows. Arguments:
# the table, and the picture (.svg or .png).
set -euo pipefail
cd "$(dirname "$0")/.."
table=${1:-docs/plots/scale.tsv}
picture=${2:-docs/plots/scale.svg}

. scripts/packages.sh
scripts/install-packages.sh "${plot_packages[@]}"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# series <task> <who>: prints lines of fact rows and CPU seconds.
series() { awk -F'\t' -v task="$1" -v who="$2" '$3 == task && $4 == who { print $2, $6 }' "$table"; }
for task in check archiving marking reports deletion; do
    for who in program shell; do
        series "$task" "$who" >"$work/$task-$who"
    done
    tail -1 "$work/$task-program" >"$work/$task-end"
done

gnuplot -e "folder='$work'; picture='$picture'" bench/scale.gnuplot
