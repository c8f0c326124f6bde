#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds Morvane, creates the demo warehouse and runs all five tasks on it. Argument: the scale of the
# warehouse, 1 by default. All output goes to the folder demo-out.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/timing.sh
scale=${1:-1}

. scripts/packages.sh
scripts/install-packages.sh "${demo_packages[@]}"
cmake --preset release >/dev/null
cmake --build --preset release --target morvane morvane-demo | tail -n 1

folder=$PWD/demo-out
logs=$folder/logs
mkdir -p "$folder"
build/release/demo/morvane-demo "$folder" --scale "$scale" --force

# count_rows <condition on dwm_tables>: prints one line per table with its name and number of rows.
count_rows() {
    sqlite3 "$folder/retail.db" "SELECT table_name FROM dwm_tables WHERE $1 ORDER BY 1" |
        while read -r table; do
            echo "$table $(sqlite3 "$folder/retail.db" "SELECT count(*) FROM $table")"
        done
}
cleaned="upper(table_type) = 'DIMENSION' AND is_selected = 1"
archived="upper(table_type) = 'FACT' AND where_clause <> ''"

count_rows "$cleaned" >"$folder/dimensions-before.txt"
count_rows "$archived" >"$folder/facts-before.txt"
build/release/src/morvane -mac "sqlite:$folder" -ntaut -db retail \
    -clsf -bkmac "sqlite:$folder" -bkdb retail_archive -bkusr archivist \
    -chkmd -mark -grep -del -log "$logs" -statusfile "$folder/status.txt"
count_rows "$cleaned" >"$folder/dimensions-after.txt"
count_rows "$archived" >"$folder/facts-after.txt"

# show <facts or dimensions> <"archived" or "deleted">: compares the row counts before and after.
show() {
    join "$folder/$1-before.txt" "$folder/$1-after.txt" |
        awk -v verb="$2" '{ printf "  %-22s %8d before, %8d %s, %8d kept\n", $1, $2, $2 - $3, verb, $3 }'
}
echo
echo "The run ended with \"$(tr -d '\r\n' <"$folder/status.txt")\"."
echo "Rows of the fact tables with an archive condition (now in retail_archive.db):"
show facts archived
echo "Elements of the cleaned dimensions:"
show dimensions deleted
newest() { find "$logs" -name "$1*" -printf '%T@ %p\n' | sort -n | tail -n 1 | cut -d' ' -f2-; }
echo "Log and reports:"
for file in Morvane_Log SummaryReport DetailedReport TableFilterReport; do
    echo "  $(newest "$file")"
done
grep -q '^ok' "$folder/status.txt"
