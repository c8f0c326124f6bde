#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures how the cost of a run grows with the warehouse: all tasks in one run; then, on a fresh copy,
# each task in its own process, alternating between the program and hand-written SQL in the sqlite3 shell
# on another copy. Writes a table (docs/plots/scale.tsv) for bench/plot.sh. Arguments: the scales
# ("3 33 325": 1, 10 and 100 million fact rows) and the table. Needs some 0.13 GB per unit of the largest
# scale (42 GB by default) in the folder MORVANE_BENCH_FOLDER.
set -euo pipefail
cd "$(dirname "$0")/.."
scales=${1:-3 33 325}
table=${2:-docs/plots/scale.tsv}

. scripts/packages.sh
scripts/install-packages.sh "${bench_packages[@]}"
. bench/measure.sh
mkdir -p "$(dirname "$table")"

# row <task> <who> <file with one line of figures>: appends a row to the table.
row() {
    awk -v OFS='\t' -v scale="$scale" -v facts="$facts" -v task="$1" -v who="$2" \
        '{ printf "%s\t%s\t%s\t%s\t%.3f\t%.3f\t%.3f\t%.1f\t%.1f\n",
           scale, facts, task, who, $1, $2 + $3, $3, $4 / 1024, $5 * 512 / 1e6 }' "$3" |
        tee -a "$new_table"
}

# task <name> <SQL file or -> <options of the program...>
task() {
    local name=$1 sql=$2
    shift 2
    rm -f "$work/figures.txt"
    measure_program "$work/figures.txt" "$@"
    row "$name" program "$work/figures.txt"
    [ "$sql" = - ] && return 0
    rm -f "$work/figures.txt"
    measure_shell "$work/figures.txt" "$sql"
    row "$name" shell "$work/figures.txt"
}

# size <file> <name>: appends a row with the size of a file in bytes.
size() { stat -c %s "$1" | awk -v OFS='\t' -v scale="$scale" -v facts="$facts" -v what="$2" \
    '{ print scale, facts, what, "bytes", $1 }' | tee -a "$new_table"; }

archive_options=(-clsf -bkmac "sqlite:$work/program" -bkdb retail_archive -bkusr archivist)

# Prints the number of rows of each table in the program's warehouse and archive.
row_numbers() {
    local query="" table
    for table in sales shipments inventory $dimensions; do
        query+="SELECT '$table', count(*) FROM main.$table;"
    done
    for table in $(sqlite3 "$work/program/retail_archive.db" \
        "SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name"); do
        query+="SELECT 'archive', '$table', count(*) FROM archive.$table;"
    done
    sqlite3 "$work/program/retail.db" "ATTACH '$work/program/retail_archive.db' AS archive; $query"
}

measure_scale() {
    rm -rf "$work/program" "$work/hand"
    mkdir "$work/program" "$work/hand"
    "$demo" "$work/program" --scale "$scale" >/dev/null
    cp "$work/program/retail.db" "$work/program/retail_archive.db" "$work/hand"
    sync "$work"/*/*.db  # otherwise the first run would write these pages
    facts=$(sqlite3 "$work/program/retail.db" "SELECT (SELECT count(*) FROM sales) +
        (SELECT count(*) FROM shipments) + (SELECT count(*) FROM inventory)")
    size "$work/program/retail.db" warehouse

    task whole - -chkmd "${archive_options[@]}" -mark -grep -del
    row_numbers >"$work/whole.txt"
    rm -rf "$work/program"
    cp -r "$work/hand" "$work/program"
    sync "$work"/*/*.db

    task check - -chkmd
    task archiving bench/sql/archive.sql "${archive_options[@]}"
    size "$work/program/retail_archive.db" archive
    task marking bench/sql/mark.sql -mark
    task reports bench/sql/report-all.sql -grep
    task deletion bench/sql/delete.sql -del
    row_numbers >"$work/tasks.txt"
    diff "$work/whole.txt" "$work/tasks.txt"
    different=$(differences)
    if [ "$different" != 0 ]; then
        echo "Scale $scale: the program and the shell left $different different rows." >&2
        exit 1
    fi
}

# A failing run leaves the old table in place.
new_table=$work/scale.tsv
printf 'scale\tfacts\ttask\twho\twall s\tCPU s\tsystem s\tpeak MB\tread MB\n' >"$new_table"
for scale in $scales; do
    measure_scale
done
cp "$new_table" "$table"
