// SPDX-License-Identifier: Apache-2.0
#include "reports/ReportQueries.h"

#include <algorithm>
#include <limits>

#include "base/Text.h"
#include "sql/MaskPasswords.h"

namespace morvane {

namespace {

std::vector<std::string> KeyColumns(const std::string& list) {
    return Trim(list).empty() ? std::vector<std::string>() : SplitColumnList(list);
}

}  // namespace

std::unique_ptr<Recordset> LoadDimensionTables(Connection& connection) {
    return connection.OpenRecordset(
        "Select table_name from dwm_tables where Upper(table_type) = 'DIMENSION'");
}

std::int32_t CountUnusedRecords(Connection& connection, const std::string& tableName) {
    connection.RequireTableName(tableName);
    return QueryCount(connection, "Select Count(*) As CntUnusedRecords from " + tableName +
                                      " where is_deletable=1");
}

std::vector<std::string> GetKeyFields(Connection& connection, const std::string& tableName) {
    const auto relations = connection.OpenRecordset(
        "SELECT DISTINCT primary_columns, original_primary_key FROM dwm_star_relations "
        "WHERE primary_table = '" +
        tableName + "'");
    if (relations->Eof()) {
        throw DatabaseError({"The key fields of the table " + tableName +
                             " are not known: no row of dwm_star_relations has it as its "
                             "primary_table"});
    }
    const Value& originalKey = (*relations)[1];
    if (originalKey.IsNull()) {
        throw DatabaseError({"The key fields of the table " + tableName +
                             " are not known: its original_primary_key in dwm_star_relations is "
                             "empty"});
    }
    std::vector<std::string> keyFields;
    for (const std::string& name : KeyColumns(originalKey.Text())) {
        if (CollectionHasKey(keyFields, name)) {
            throw DatabaseError({"The original_primary_key of the table " + tableName +
                                 " in dwm_star_relations has the column " + name +
                                 " more than once"});
        }
        keyFields.push_back(name);
    }
    for (const std::string& name : KeyColumns((*relations)[0].Text())) {
        if (!CollectionHasKey(keyFields, name)) {
            keyFields.push_back(name);
        }
    }
    connection.RequireColumnNames(Join(keyFields, ","));
    return keyFields;
}

bool CollectionHasKey(const std::vector<std::string>& list, std::string_view name) {
    return std::find(list.begin(), list.end(), name) != list.end();
}

std::unique_ptr<Recordset> OpenUnusedRecords(Connection& connection, const std::string& tableName,
                                             const std::vector<std::string>& keyFields) {
    const std::string columns = Join(keyFields, ",");
    return connection.OpenRecordset(
        "SELECT " + columns + " FROM " + tableName + " WHERE is_deletable=1 ORDER BY " + columns,
        RecordsetKind::Streamed);
}

std::int32_t QueryCount(Connection& connection, const std::string& sql) {
    const auto counted = connection.OpenRecordset(sql);
    const std::int64_t count = counted->Eof() ? 0 : (*counted)[0].Integer();
    if (count > std::numeric_limits<std::int32_t>::max()) {
        throw DatabaseError({"The count " + std::to_string(count) + " is too large for a report"},
                            MaskPasswords(sql));
    }
    return static_cast<std::int32_t>(count);
}

void UnusedCounts::Add(const std::string& tableName, std::int32_t count) {
    if (std::ranges::any_of(counts_, [&](const auto& entry) { return entry.first == tableName; })) {
        throw DatabaseError(
            {"The dimension table " + tableName + " stands more than once in dwm_tables"});
    }
    counts_.emplace_back(tableName, count);
}

}  // namespace morvane
