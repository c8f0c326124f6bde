# SPDX-License-Identifier: Apache-2.0
# Sourced by bench/latency.sh: the SQL of its warehouse, with 6 fact tables and 24 dimensions, four of
# them slowly-moving. Each of their elements has three versions, one of them unused: in one of four
# elements the first, in one of four the current one, in the others the middle one. A tenth of each plain
# dimension is unused.
facts="sales returns shipments inventory visits purchases"
slow_dimensions="customer product store supplier"
plain_dimensions="calendar promotion channel currency return_reason carrier warehouse ship_mode page
    device campaign buyer segment city brand category department store_format country site"

# Prints what a table references.
references() {
    case $1 in
        sales) echo calendar customer product store promotion channel currency ;;
        returns) echo calendar customer product store return_reason ;;
        shipments) echo calendar customer carrier warehouse ship_mode ;;
        inventory) echo calendar product warehouse ;;
        visits) echo calendar customer page device campaign ;;
        purchases) echo calendar product supplier buyer currency ;;
        customer) echo segment city ;;
        product) echo brand category ;;
        store) echo city store_format ;;
        supplier | city) echo country ;;
        promotion) echo campaign ;;
        warehouse) echo city ;;
        page) echo site ;;
        category) echo department ;;
    esac
}

is_slow() { [[ " $slow_dimensions " == *" $1 "* ]]; }

elements() {
    case $1 in
        calendar) echo 4000 ;;
        promotion | city | page) echo 1000 ;;
        campaign | brand | category | buyer) echo 200 ;;
        *) echo 40 ;;
    esac
}

# reference <table> <elements per slowly-moving dimension>: prints the key that row n references.
reference() {
    if is_slow "$1"; then
        local element="(n * 7) % $2"
        echo "3 * ($element) + ((CASE ($element) % 4 WHEN 1 THEN 0 WHEN 3 THEN 2 ELSE 1 END)" \
            "+ 1 + (n / $2) % 2) % 3"
    else
        echo "(n * 7) % $(($(elements "$1") * 9 / 10))"
    fi
}

# The foreign columns, and the expressions inserted there.
key_columns() { for table in $(references "$1"); do printf ', %s_key' "$table"; done; }
key_definitions() { for table in $(references "$1"); do printf ', %s_key int NOT NULL' "$table"; done; }
key_values() { for table in $(references "$1"); do printf ', %s' "$(reference "$table" "$2")"; done; }

controls="is_sustainable bit NOT NULL, is_deletable bit NOT NULL"

fact_sql() {
    echo "CREATE TABLE $1 ($1_key int NOT NULL PRIMARY KEY$(key_definitions "$1"),
        quantity int NOT NULL, amount decimal(12, 2) NOT NULL);
        INSERT INTO $1 ($1_key$(key_columns "$1"), quantity, amount)
        SELECT n$(key_values "$1" "$2"), n % 9 + 1, n % 1000 + 0.5 FROM bench_numbers WHERE n < $3;"
}

plain_sql() {
    local count
    count=$(elements "$1")
    echo "CREATE TABLE $1 ($1_key int NOT NULL PRIMARY KEY, $1_code varchar(20) NOT NULL,
        $1_name varchar(60) NOT NULL$(key_definitions "$1"), $controls);
        INSERT INTO $1 ($1_key, $1_code, $1_name$(key_columns "$1"), is_sustainable, is_deletable)
        SELECT n, 'C' + CAST(100000 + n AS varchar(10)), 'The $1 with the number ' +
            CAST(n AS varchar(10))$(key_values "$1" "$2"), 0,
            CASE WHEN n >= $((count * 9 / 10)) THEN 1 ELSE 0 END
        FROM bench_numbers WHERE n < $count;"
}

slow_sql() {
    echo "CREATE TABLE $1 ($1_key int NOT NULL PRIMARY KEY, $1_no varchar(20) NOT NULL,
        $1_name varchar(60) NOT NULL$(key_definitions "$1"),
        start_date datetime NOT NULL, end_date datetime NOT NULL, is_current bit NOT NULL, $controls);
        INSERT INTO $1 ($1_key, $1_no, $1_name$(key_columns "$1"), start_date, end_date, is_current,
            is_sustainable, is_deletable)
        SELECT n, 'N' + CAST(100000 + n / 3 AS varchar(10)),
            'The $1 with the number ' + CAST(n / 3 AS varchar(10))$(key_values "$1" "$2"),
            CAST(CASE n % 3 WHEN 0 THEN '20150101' WHEN 1 THEN '20180301' ELSE '20210601' END
                AS datetime),
            CAST(CASE n % 3 WHEN 0 THEN '20180301' WHEN 1 THEN '20210601' ELSE '99991231' END
                AS datetime),
            CASE n % 3 WHEN 2 THEN 1 ELSE 0 END, 0,
            CASE WHEN n % 3 = CASE (n / 3) % 4 WHEN 1 THEN 0 WHEN 3 THEN 2 ELSE 1 END
                THEN 1 ELSE 0 END
        FROM bench_numbers WHERE n < $((3 * $2));
        CREATE INDEX $1_by_no ON $1 ($1_no);"
}

meta_sql() {
    echo "CREATE TABLE dwm_tables (table_name varchar(128) NOT NULL PRIMARY KEY,
            table_type varchar(20) NOT NULL, where_clause varchar(8000) NULL, is_selected bit NULL);
        CREATE TABLE dwm_star_relations (selected bit NOT NULL, foreign_table varchar(128) NOT NULL,
            foreign_columns varchar(1000) NOT NULL, primary_table varchar(128) NOT NULL,
            primary_columns varchar(1000) NOT NULL, slow_moving_dim bit NOT NULL,
            original_primary_key varchar(1000) NULL);"
    local table to
    for table in $facts; do
        echo "INSERT INTO dwm_tables VALUES ('$table', 'Fact', NULL, NULL);"
    done
    for table in $plain_dimensions $slow_dimensions; do
        echo "INSERT INTO dwm_tables VALUES ('$table', 'Dimension', NULL, 1);"
    done
    for table in $facts $plain_dimensions $slow_dimensions; do
        for to in $(references "$table"); do
            echo "INSERT INTO dwm_star_relations VALUES (1, '$table', '${to}_key', '$to', '${to}_key',
                $(is_slow "$to" && echo "1, '${to}_no'" || echo "0, '${to}_code'"));"
        done
    done
}

# warehouse_sql <elements per slowly-moving dimension> <rows per fact table>: prints the SQL. The
# dimensions are marked as the program would mark them, and each has a copy saved_<name>.
warehouse_sql() {
    local digits="(SELECT 0 AS n UNION ALL SELECT 1 UNION ALL SELECT 2 UNION ALL SELECT 3 UNION ALL
        SELECT 4 UNION ALL SELECT 5 UNION ALL SELECT 6 UNION ALL SELECT 7 UNION ALL SELECT 8 UNION ALL
        SELECT 9)"
    echo "CREATE TABLE bench_numbers (n int NOT NULL PRIMARY KEY);
        INSERT INTO bench_numbers
        SELECT a.n + 10 * b.n + 100 * c.n + 1000 * d.n + 10000 * e.n
        FROM $digits a, $digits b, $digits c, $digits d, $digits e;"
    local table
    for table in $facts; do
        printf 'go\n%s\n' "$(fact_sql "$table" "$1" "$2")"
    done
    for table in $plain_dimensions; do
        printf 'go\n%s\n' "$(plain_sql "$table" "$1")"
    done
    for table in $slow_dimensions; do
        printf 'go\n%s\n' "$(slow_sql "$table" "$1")"
    done
    printf 'go\n%s\n' "$(meta_sql)"
    for table in $plain_dimensions $slow_dimensions; do
        printf 'go\nSELECT * INTO saved_%s FROM %s;\n' "$table" "$table"
    done
    echo go
}

# Restores the dimensions from their copies.
fresh_sql() {
    local table
    for table in $plain_dimensions $slow_dimensions; do
        echo "TRUNCATE TABLE $table; INSERT INTO $table SELECT * FROM saved_$table;"
    done
    echo go
}
