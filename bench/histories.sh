#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures how re-linking grows with the number of marked versions in a table without a suitable index:
# with four versions per element, and with all versions in one element. Prints the seconds and the ratio
# for each doubling, which is 2 for linear growth. Arguments: the smallest number of versions, and the
# number of doublings.
set -euo pipefail
cd "$(dirname "$0")/.."
smallest=${1:-32000}
doublings=${2:-3}

. scripts/packages.sh
scripts/install-packages.sh "${bench_packages[@]}"
. bench/measure.sh

# make_history <versions> <versions per element>: of every four versions, only the second one is kept.
make_history() {
    rm -f "$work/program/retail.db"
    sqlite3 "$work/program/retail.db" "
        CREATE TABLE dwm_tables (table_name varchar(128) COLLATE NOCASE, table_type varchar(20) COLLATE NOCASE,
            where_clause varchar(8000), is_selected bit);
        CREATE TABLE dwm_star_relations (selected bit, foreign_table varchar(128) COLLATE NOCASE,
            foreign_columns varchar(1000), primary_table varchar(128) COLLATE NOCASE,
            primary_columns varchar(1000), slow_moving_dim bit, original_primary_key varchar(1000));
        CREATE TABLE sales (customer_key int);
        CREATE TABLE customer (customer_key integer PRIMARY KEY, code varchar(20) COLLATE NOCASE,
            start_date datetime, end_date datetime, is_current bit, is_deletable bit, is_sustainable bit);
        INSERT INTO dwm_tables VALUES ('sales', 'Fact', NULL, 1), ('customer', 'Dimension', NULL, 1);
        INSERT INTO dwm_star_relations VALUES (1, 'sales', 'customer_key', 'customer', 'customer_key', 1, 'code');
        WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i + 1 < $1)
        INSERT INTO customer SELECT i, 'C' || (i / $2), datetime('1700-01-01', (i % $2) || ' days'),
            datetime('1700-01-01', (i % $2 + 1) || ' days'), i % $2 = $2 - 1, i % 4 <> 1, 0 FROM n"
}

# seconds <versions> <versions per element>: prints the median CPU time of three runs.
seconds() {
    rm -f "$work/figures.txt"
    for _ in 1 2 3; do
        make_history "$1" "$2"
        measure_program "$work/figures.txt" -del
    done
    awk '{ print $2 + $3 }' "$work/figures.txt" | median
}

printf '%10s %22s %8s %18s %8s\n' versions "four to an element, s" ratio "one element, s" ratio
before_many= before_one=
for ((i = 0, versions = smallest; i <= doublings; ++i, versions *= 2)); do
    many=$(seconds "$versions" 4)
    one=$(seconds "$versions" "$versions")
    printf '%10d %22.2f %8s %18.2f %8s\n' "$versions" "$many" \
        "${before_many:+$(awk "BEGIN { printf \"%.2f\", $many / $before_many }")}" "$one" \
        "${before_one:+$(awk "BEGIN { printf \"%.2f\", $one / $before_one }")}"
    before_many=$many before_one=$one
done
