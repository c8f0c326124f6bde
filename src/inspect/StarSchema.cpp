// SPDX-License-Identifier: Apache-2.0
#include "inspect/StarSchema.h"

#include <algorithm>

#include "base/Text.h"

namespace morvane {

namespace {

std::string CheckedTable(const Connection& connection, const Value& name) {
    connection.RequireTableName(name.Text());
    return std::string(Trim(name.Text()));
}

std::vector<std::string> CheckedColumns(const Connection& connection, const Value& list) {
    connection.RequireColumnNames(list.Text());
    return SplitColumnList(list.Text());
}

std::vector<std::string> ReadFactTables(Connection& connection) {
    std::vector<std::string> tables;
    const auto rows = connection.OpenRecordset(
        "SELECT DISTINCT table_name FROM dwm_tables WHERE Upper(table_type) = 'FACT'");
    for (; !rows->Eof(); rows->MoveNext()) {
        tables.push_back(CheckedTable(connection, (*rows)[0]));
    }
    return tables;
}

std::vector<KeyRelation> ReadRelations(Connection& connection) {
    std::vector<KeyRelation> relations;
    const auto rows = connection.OpenRecordset(
        "SELECT DISTINCT foreign_table,foreign_columns,primary_table,primary_columns,"
        "slow_moving_dim,original_primary_key FROM dwm_star_relations");
    for (; !rows->Eof(); rows->MoveNext()) {
        const Recordset& row = *rows;
        KeyRelation relation{.ForeignTable = CheckedTable(connection, row[0]),
                             .ForeignColumns = CheckedColumns(connection, row[1]),
                             .PrimaryTable = CheckedTable(connection, row[2]),
                             .PrimaryColumns = CheckedColumns(connection, row[3]),
                             .ElementKey = {}};
        if (relation.ForeignColumns.size() != relation.PrimaryColumns.size()) {
            throw DatabaseError({"The relation of " + relation.ForeignTable + " with " +
                                 relation.PrimaryTable +
                                 " needs as many foreign_columns as primary_columns."});
        }
        if (row[4].Flag() && !row[5].Text().empty()) {
            relation.ElementKey = CheckedColumns(connection, row[5]);
        }
        relations.push_back(std::move(relation));
    }
    return relations;
}

}  // namespace

bool StarSchema::IsFactTable(std::string_view table) const {
    return std::ranges::any_of(
        FactTables, [&](const std::string& fact) { return EqualsIgnoreCase(fact, table); });
}

StarSchema ReadStarSchema(Connection& connection) {
    return {ReadFactTables(connection), ReadRelations(connection)};
}

}  // namespace morvane
