#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures the cost of network latency: compares runs on a live server, through a delaying proxy, with a
# client's script of the same statements. Arguments: the number of rounds (5), the number of runs with
# 100,000 marked versions (3; 0 skips them), the rows per fact table (50,000), the one-way delays in ms,
# and the number of statements of a transaction that the script sends together (1). The server is given
# as for the live tests, with its port: MORVANE_TEST_SERVER=host,port, MORVANE_TEST_USER and
# MORVANE_TEST_PASSWORD. Creates two databases there, morvane_bench_..., and drops them.
set -euo pipefail
cd "$(dirname "$0")/.."
rounds=${1:-5}
large_runs=${2:-3}
fact_rows=${3:-50000}
delays=${4:-0 0.5 2.5 10}
client_batch=${5:-1}

if [ -z "${MORVANE_TEST_SERVER-}" ] || [ -z "${MORVANE_TEST_USER-}" ] ||
    [ -z "${MORVANE_TEST_PASSWORD-}" ]; then
    echo "Needs a server: MORVANE_TEST_SERVER=host,port MORVANE_TEST_USER MORVANE_TEST_PASSWORD" >&2
    exit 2
fi
host=${MORVANE_TEST_SERVER%,*}
port=1433
[[ $MORVANE_TEST_SERVER != *,* ]] || port=${MORVANE_TEST_SERVER##*,}

. scripts/packages.sh
scripts/install-packages.sh "${latency_packages[@]}"
. bench/measure.sh
. bench/latency-warehouse.sh
cmake -B build/bench -DMORVANE_BENCH=ON >/dev/null
cmake --build build/bench --target morvane-delay-proxy >/dev/null
export TDSVER=7.4

small=morvane_bench_$$_small
large=morvane_bench_$$_large
proxy_id=
clean_up() {
    [ -z "$proxy_id" ] || kill "$proxy_id" 2>/dev/null || true
    printf 'DROP DATABASE %s\ngo\nDROP DATABASE %s\ngo\n' "$small" "$large" |
        client "$host:$port" master >/dev/null 2>&1 || true
    rm -rf "$work"
}

# client <server:port> <database>: executes the script on standard input and prints its result rows.
client() {
    bsqldb -q -S "$1" -U "$MORVANE_TEST_USER" -P "$MORVANE_TEST_PASSWORD" -D "$2" 2>"$work/client.txt"
    if grep -q '^Msg' "$work/client.txt"; then
        cat "$work/client.txt" >&2
        return 1
    fi
}
send_script() { client "$1" "$2" <"$3"; }
export -f client send_script
export work

start_proxy() {
    : >"$work/proxy.txt"
    build/bench/bench/morvane-delay-proxy "$host" "$port" "$1" >"$work/proxy.txt" &
    proxy_id=$!
    until read -r listening <"$work/proxy.txt"; do sleep 0.02; done
}

# Sets $trips to the number of round trips.
stop_proxy() {
    kill "$proxy_id"
    wait "$proxy_id"
    proxy_id=
    trips=$(awk 'NR == 2 { print $2 }' "$work/proxy.txt")
}

# try_program <delay> <database> <options...>: one run on a fresh copy of the dimensions. Writes its
# seconds to measured.txt and sets $trips.
try_program() {
    local delay=$1 database=$2
    shift 2
    fresh_sql | client "$host:$port" "$database"
    rm -rf "$work/logs"/* "$work/status.txt" "${MORVANE_STATEMENT_LOG:-}"
    start_proxy "$delay"
    (measure "$work/measured.txt" "$morvane" -mac "127.0.0.1,$listening" \
        -usr "$MORVANE_TEST_USER" -pwd "$MORVANE_TEST_PASSWORD" -db "$database" -log "$work/logs" \
        -statusfile "$work/status.txt" "$@") || true
    stop_proxy
    grep -qs '^ok' "$work/status.txt"
}

# run_program <output file> <delay> <database> <options...>: appends seconds and round trips. Other
# users of the server can disturb its catalogue, so a failed run is repeated up to twice.
run_program() {
    local figures=$1 attempt
    shift
    for attempt in 1 2 3; do
        if try_program "$@"; then
            echo "$(tail -1 "$work/measured.txt" | cut -d' ' -f1) $trips" >>"$figures"
            return
        fi
        echo "A run failed:" >&2
        head -1 "$work"/logs/*.txt >&2 || true
    done
    exit 1
}

run_client() {
    fresh_sql | client "$host:$port" "$small"
    start_proxy "$2"
    measure "$work/measured.txt" bash -c 'send_script "$@"' - "127.0.0.1:$listening" "$small" "$3"
    stop_proxy
    echo "$(tail -1 "$work/measured.txt" | cut -d' ' -f1) $trips" >>"$1"
}

# Prints a summary that identifies the state of the dimensions.
fingerprint() {
    local table dates
    for table in $plain_dimensions $slow_dimensions; do
        dates=
        ! is_slow "$table" || dates=", SUM(CAST(is_current AS int)),
            SUM(DATEDIFF(day, '20000101', start_date)), SUM(DATEDIFF(day, '20000101', end_date) % 9999)"
        echo "SELECT COUNT(*), SUM(${table}_key), SUM(CAST(is_deletable AS int))$dates FROM $table"
        echo go
    done | client "$host:$port" "$small"
}

# same_afterwards <option>: runs the program with a statement log, creates the client's script from it,
# and checks that both leave the same rows.
same_afterwards() {
    MORVANE_STATEMENT_LOG=$work/statements.txt run_program "$work/unused.txt" 0 "$small" "$1"
    fingerprint >"$work/program.txt"
    awk -v most="$client_batch" -f bench/latency-script.awk "$work/statements.txt" >"$work/script$1.sql"
    run_client "$work/unused.txt" 0 "$work/script$1.sql"
    fingerprint >"$work/hand.txt"
    cmp -s "$work/program.txt" "$work/hand.txt" || { echo "$1: different rows afterwards" >&2; exit 1; }
    echo "  $1: the client's script leaves the same rows; it takes $trips round trips"
}

# pair <round> <delay> <option>: runs both; they take turns in going first.
pair() {
    [ $(($1 % 2)) = 0 ] || run_client "$work/client$3-$2.txt" "$2" "$work/script$3.sql"
    run_program "$work/program$3-$2.txt" "$2" "$small" "$3"
    [ $(($1 % 2)) = 1 ] || run_client "$work/client$3-$2.txt" "$2" "$work/script$3.sql"
}

seconds() { cut -d' ' -f1 "$1" | median; }
trips_of() { cut -d' ' -f2 "$1" | median; }
# The median of the line-by-line ratios.
ratio() { paste -d' ' "$1" "$2" | awk '{ print $1 / $3 }' | median; }

make_warehouse() {
    printf 'CREATE DATABASE %s\ngo\n' "$1" | client "$host:$port" master
    warehouse_sql "$2" "$3" | client "$host:$port" "$1"
}

trap clean_up EXIT
trap 'exit 1' INT TERM
printf 'SELECT CAST(@@VERSION AS varchar(60))\ngo\n' | client "$host:$port" master | head -1 | sed "s, *$,,"
echo "Driver: ${MORVANE_ODBC_DRIVER:-the one that the program chooses}"
make_warehouse "$small" 384 "$fact_rows"
echo "30 tables, 1,536 marked versions, 6 times $fact_rows fact rows"
run_program "$work/unused.txt" 0 "$small" -mark # creates the lock's table
same_afterwards -mark
same_afterwards -del
for task in -chkmd -mark -grep -del; do
    run_program "$work/task$task.txt" 0 "$small" "$task"
    echo "  $task alone: $(trips_of "$work/task$task.txt") round trips"
done

for ((round = 0; round < rounds; ++round)); do
    for delay in $delays; do
        run_program "$work/full-$delay.txt" "$delay" "$small" -chkmd -mark -grep -del
        pair "$round" "$delay" -mark
        pair "$round" "$delay" -del
    done
done
echo
echo "Medians of $rounds rounds"
echo "one way  full run              marking                  deletion"
echo "     ms  trips       s  to 0   program  client  ratio   program  client  ratio"
for delay in $delays; do
    printf '%7s %6d %7.2f %5.2f' "$delay" "$(trips_of "$work/full-$delay.txt")" \
        "$(seconds "$work/full-$delay.txt")" "$(ratio "$work/full-$delay.txt" "$work/full-0.txt")"
    for task in -mark -del; do
        printf '   %7.2f %7.2f %6.2f' "$(seconds "$work/program$task-$delay.txt")" \
            "$(seconds "$work/client$task-$delay.txt")" \
            "$(ratio "$work/program$task-$delay.txt" "$work/client$task-$delay.txt")"
    done
    echo
done

[ "$large_runs" -gt 0 ] || exit 0
echo
echo "Deletion with 100,000 marked versions, medians of $large_runs"
make_warehouse "$large" 25000 "$fact_rows"
run_program "$work/unused.txt" 0 "$large" -chkmd # creates the lock's table
for ((round = 0; round < large_runs; ++round)); do
    for delay in 0 2.5; do
        run_program "$work/large-$delay.txt" "$delay" "$large" -del
    done
done
for delay in 0 2.5; do
    printf '%7s ms one way: %d round trips, %.2f s, %.2f times the time at 0\n' "$delay" \
        "$(trips_of "$work/large-$delay.txt")" "$(seconds "$work/large-$delay.txt")" \
        "$(ratio "$work/large-$delay.txt" "$work/large-0.txt")"
done
