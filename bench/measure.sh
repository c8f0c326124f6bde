# SPDX-License-Identifier: Apache-2.0
# Sourced by the benchmarks. Builds the release, and creates a folder "$work" that is removed at exit.
cmake --preset release -B build/bench -DMORVANE_UI=OFF >/dev/null
cmake --build build/bench --target morvane morvane-demo >/dev/null
morvane=$PWD/build/bench/src/morvane
demo=$PWD/build/bench/demo/morvane-demo

work=$(mktemp -d "${MORVANE_BENCH_FOLDER:-/tmp}/morvane-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/program" "$work/hand" "$work/logs"

# measure <output file> <command...>: appends a line with wall, user and system seconds, peak KB, and the
# number of 512-byte blocks read from the disk (not from the page cache).
measure() {
    local figures=$1 failed=0 TIMEFORMAT='%3R %3U %3S'
    shift
    { time /usr/bin/time -o "$work/peak.txt" -f '%M %I' "$@" >"$work/out.txt" 2>"$work/err.txt" ||
        failed=1; } 2>"$work/time.txt"
    [ "$failed" = 0 ] || { cat "$work/err.txt"; exit 1; }
    echo "$(cat "$work/time.txt") $(tail -1 "$work/peak.txt")" >>"$figures"
}

# measure_program <output file> <options of the program...>
measure_program() {
    local figures=$1
    shift
    measure "$figures" "$morvane" -mac "sqlite:$work/program" -ntaut -db retail -log "$work/logs" \
        -statusfile "$work/status.txt" "$@"
    grep -q '^ok' "$work/status.txt" || { cat "$work/err.txt"; exit 1; }
}

# measure_shell <output file> <SQL file>
measure_shell() {
    measure "$1" sqlite3 "$work/hand/retail.db" \
        "ATTACH '$work/hand/retail_archive.db' AS archive" ".read $2"
}

# Prints the median of the numbers on standard input.
median() { sort -n | awk '{ v[NR] = $1 } END { print NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

dimensions="calendar geography department category brand product store employee promotion
    customer_segment customer carrier"

# Prints the number of rows in which the dimensions of the two copies differ, plus the differences in
# the numbers of facts.
differences() {
    local query=""
    for table in sales shipments; do
        query+="SELECT abs((SELECT count(*) FROM main.$table) - (SELECT count(*) FROM other.$table));"
    done
    for table in $dimensions; do
        query+="SELECT count(*) FROM (SELECT * FROM (SELECT * FROM main.$table
            EXCEPT SELECT * FROM other.$table) UNION ALL SELECT * FROM
            (SELECT * FROM other.$table EXCEPT SELECT * FROM main.$table));"
    done
    sqlite3 "$work/program/retail.db" "ATTACH '$work/hand/retail.db' AS other; $query" |
        awk '{ n += $1 } END { print n }'
}
