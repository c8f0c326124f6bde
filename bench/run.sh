#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares the program with hand-written SQL in the sqlite3 shell, in several pairs of runs on copies of
# the same file, and prints the ratios; then the program's peak memory as the warehouse grows. Arguments:
# the scale of the warehouse (33: 10 million fact rows), the number of pairs, the scales for the memory,
# and a pattern that selects rows by name. Needs some 8 GB in the folder MORVANE_BENCH_FOLDER.
set -euo pipefail
cd "$(dirname "$0")/.."
scale=${1:-33}
pairs=${2:-6}
memory_scales=${3-1 10 100}
rows=${4:-.}

. scripts/packages.sh
scripts/install-packages.sh "${bench_packages[@]}"
. bench/measure.sh

fresh_copies() {
    cp "$1" "$work/program/retail.db"
    cp "$1" "$work/hand/retail.db"
    : >"$work/program/retail_archive.db"
    : >"$work/hand/retail_archive.db"
    sync
}

# compare <name> <base file> <SQL file> <options of the program...>
compare() {
    local name=$1 base=$2 sql=$3
    shift 3
    [[ $name =~ $rows ]] || return 0
    rm -f "$work/a.txt" "$work/b.txt"
    local pair
    for ((pair = 0; pair < pairs; ++pair)); do
        fresh_copies "$base"
        # The first one after the copying is at a slight disadvantage.
        [ $((pair % 2)) = 0 ] || measure_shell "$work/b.txt" "$sql"
        measure_program "$work/a.txt" "$@"
        [ $((pair % 2)) = 1 ] || measure_shell "$work/b.txt" "$sql"
    done
    local a b
    a=$(cut -d' ' -f1 "$work/a.txt" | median)
    b=$(cut -d' ' -f1 "$work/b.txt" | median)
    paste -d' ' "$work/a.txt" "$work/b.txt" >"$work/pairs.txt"
    printf '%-34s %8.3f %8.3f %7.2f %7.2f %10s\n' "$name" "$a" "$b" \
        "$(awk '{ print $1 / $6 }' "$work/pairs.txt" | median)" \
        "$(awk '{ print ($2 + $3) / ($7 + $8 + 0.001) }' "$work/pairs.txt" | median)" \
        "$(different=$(differences); [ "$different" = 0 ] && echo same || echo "$different rows")"
}

echo "Creating the warehouses: scale $scale"
"$demo" "$work" --scale "$scale" >/dev/null
sqlite3 "$work/retail.db" ".read bench/sql/more-products.sql"
sqlite3 "$work/retail.db" "SELECT 'Fact rows: ' || ((SELECT count(*) FROM sales) +
    (SELECT count(*) FROM shipments) + (SELECT count(*) FROM inventory))"

echo
echo "Medians of $pairs pairs; a ratio above 1 means that the program was slower."
printf '%-34s %8s %8s %7s %7s %10s\n' "" "program" "shell" "ratio" "CPU" "tables"
printf '%-34s %8s %8s %7s %7s %10s\n' "" "s" "s" "" "ratio" "afterwards"
compare "archiving" "$work/retail.db" bench/sql/archive.sql \
    -clsf -bkmac "sqlite:$work/program" -bkdb retail_archive -bkusr archivist
compare "marking" "$work/retail.db" bench/sql/mark.sql -mark
# Without marks the detailed report reads no rows, which leaves the summary.
cp "$work/retail.db" "$work/marked.db"
for table in $dimensions; do
    sqlite3 "$work/marked.db" "UPDATE $table SET is_deletable = 0 WHERE is_deletable <> 0"
done
compare "summary" "$work/marked.db" bench/sql/summary.sql -grep
cp "$work/retail.db" "$work/marked.db"
sqlite3 "$work/marked.db" ".read bench/sql/mark.sql"
compare "reports, a million marked rows" "$work/marked.db" bench/sql/report.sql -grep
compare "deletion" "$work/marked.db" bench/sql/delete.sql -del
compare "atomic deletion" "$work/marked.db" bench/sql/delete-atomic.sql -del -datom
sqlite3 "$work/retail.db" ".read bench/sql/more-customers.sql"
cp "$work/retail.db" "$work/marked.db"
sqlite3 "$work/marked.db" ".read bench/sql/mark.sql"
compare "deletion, + a million versions" "$work/marked.db" bench/sql/delete.sql -del
compare "atomic, + 333,334 elements" "$work/marked.db" bench/sql/delete-atomic.sql -del -datom
rm -f "$work"/*.db "$work"/program/* "$work"/hand/*

echo
echo "Peak memory of one run of all tasks:"
for memory_scale in $memory_scales; do
    "$demo" "$work/program" --scale "$memory_scale" --force >/dev/null
    rm -f "$work/memory.txt"
    measure_program "$work/memory.txt" -chkmd -clsf -bkmac "sqlite:$work/program" \
        -bkdb retail_archive -bkusr archivist -mark -grep -del
    awk -v scale="$memory_scale" -v bytes="$(stat -c %s "$work/program/retail.db")" \
        '{ printf "  scale %4d, %6.1f MB of warehouse: %6.1f MB\n", scale, bytes / 1e6, $4 / 1024 }' \
        "$work/memory.txt"
done
