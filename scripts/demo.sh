#!/usr/bin/env bash
# Builds Morvane, makes the demo warehouse and runs the main job on it. The argument is the scale of
# the warehouse, 1 unless given; everything lands in the folder demo-out.
set -euo pipefail
cd "$(dirname "$0")/.."
scale=${1:-1}

. scripts/packages.sh
scripts/install-packages.sh "${demo_packages[@]}"
cmake --preset release >/dev/null
cmake --build --preset release --target morvane morvane-demo | tail -n 1

folder=$PWD/demo-out
logs=$folder/logs
mkdir -p "$folder"
build/release/demo/morvane-demo "$folder" --scale "$scale" --force

# The selected dimensions and the number of their rows, one a line.
count_rows() {
    sqlite3 "$folder/retail.db" "SELECT DISTINCT table_name FROM dwm_tables
        WHERE upper(table_type) = 'DIMENSION' AND is_selected = 1 ORDER BY 1" |
        while read -r table; do
            echo "$table $(sqlite3 "$folder/retail.db" "SELECT count(*) FROM $table")"
        done
}

count_rows >"$folder/before.txt"
build/release/src/run/morvane -mac "sqlite:$folder" -ntaut -db retail \
    -chkmd -mark -grep -del -log "$logs" -statusfile "$folder/status.txt"
count_rows >"$folder/after.txt"

echo
echo "The run ended with \"$(tr -d '\r\n' <"$folder/status.txt")\". Elements in each cleaned dimension:"
join "$folder/before.txt" "$folder/after.txt" |
    awk '{ printf "  %-22s %8d before, %8d deleted, %8d kept\n", $1, $2, $2 - $3, $3 }'
newest() { find "$logs" -name "$1*" -printf '%T@ %p\n' | sort -n | tail -n 1 | cut -d' ' -f2-; }
echo "Log and reports:"
for file in Morvane_Log SummaryReport DetailedReport TableFilterReport; do
    echo "  $(newest "$file")"
done
grep -q '^ok' "$folder/status.txt"
