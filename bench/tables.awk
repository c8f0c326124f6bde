# SPDX-License-Identifier: Apache-2.0
# Prints the SQL of a warehouse with many tables. Variables: tables=2000, relations=5000, and shape:
# "snowflake" (any table references any later one), "chain" (each dimension the next), "wide" (facts all
# dimensions) or "hub" (each table the same dimension). One table in 40 is a fact table, one in four a
# slowly-moving dimension; each has 40 rows.
function relate(from, to) {
    printf "INSERT INTO dwm_star_relations VALUES(1,'%s','f%d','%s','id',%d,'code');\n",
        name(from), ++columns[from], name(to), slow(to)
}
function is_fact(t) { return t < facts }
function slow(t) { return !is_fact(t) && t % 4 == 0 }
function name(t) { return (is_fact(t) ? "fact_" : "dimension_") t }
function below(n) { return int(rand() * n) }

function write_relations(    t, n) {
    for (t = facts; t < tables; ++t) {
        relate(shape == "chain" ? t - 1 : shape == "wide" ? t % facts : below(t), t)
        ++n
    }
    for (t = 0; shape == "hub" && t < tables - 1; ++t) {
        relate(t, tables - 1)
        ++n
    }
    for (; n < relations; ++n) {
        t = facts + below(tables - facts)
        relate(shape == "wide" ? below(facts) : below(t), t)
    }
}

function write_table(t,    list, row, c) {
    list = "id int primary key, code int"
    row = "i, i / 3"
    for (c = 1; c <= columns[t]; ++c) {
        list = list ", f" c " int"
        row = row ", (i * " (7 + c) " + " below(40) ") % 50"
    }
    if (!is_fact(t)) {
        list = list ", is_sustainable bit default 0, is_deletable bit default 0"
        row = row ", 0, 0"
    }
    if (slow(t)) {
        list = list ", start_date datetime, end_date datetime, is_current bit"
        row = row ", (2000 + i % 3) || '-01-01 00:00:00', (2001 + i % 3) || '-01-01 00:00:00', i % 3 = 2"
    }
    printf "CREATE TABLE %s(%s);\n", name(t), list
    printf "INSERT INTO %s WITH n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 39)", name(t)
    printf " SELECT %s FROM n;\n", row
    printf "INSERT INTO dwm_tables VALUES('%s',%s,1);\n", name(t),
        is_fact(t) ? "'FACT','id < 5'" : "'DIMENSION',NULL"
}

BEGIN {
    srand(1)
    facts = int(tables / 40)
    print "BEGIN;"
    print "CREATE TABLE dwm_tables(table_name varchar(128) COLLATE NOCASE, table_type varchar(20)" \
        " COLLATE NOCASE, where_clause varchar(8000), is_selected bit);"
    print "CREATE TABLE dwm_star_relations(selected bit, foreign_table varchar(128) COLLATE NOCASE," \
        " foreign_columns varchar(1000), primary_table varchar(128) COLLATE NOCASE," \
        " primary_columns varchar(1000), slow_moving_dim bit, original_primary_key varchar(1000));"
    write_relations()
    for (t = 0; t < tables; ++t) write_table(t)
    print "COMMIT;"
}
