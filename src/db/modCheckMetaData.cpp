// SPDX-License-Identifier: Apache-2.0
#include "db/modCheckMetaData.h"

#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/Text.h"

namespace morvane {

namespace {

// The columns of the query on dwm_star_relations.
enum RelationColumn : std::size_t {
    kSelected,
    kForeignTable,
    kForeignColumns,
    kPrimaryTable,
    kPrimaryColumns,
    kSlowMovingDim,
    kOriginalPrimaryKey
};

// The columns of the query on dwm_tables.
enum TableColumn : std::size_t { kTableName, kTableType, kWhereClause, kIsSelected };

// The meta data is invalid; what() is the message for the user.
class MetaDataError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class MetaDataCheck {
  public:
    MetaDataCheck(Connection& connection, ProgressWindow& progress)
        : connection_(connection), progress_(progress) {}

    void PrepareProgress();
    // Both are false when the user cancelled.
    bool CheckRelationsTable();
    bool CheckTablesTable();
    void CheckConsistency();
    void FinishProgress();

  private:
    void CheckRelation(const Recordset& relation);
    void RefuseNullsInRelation(const Recordset& relation);
    void CheckTable(const Recordset& row);
    void RefuseNullsInTable(const Recordset& row);
    void CheckControlColumns(const std::string& dimension);

    // Queries the catalogue once per table.
    const std::optional<NamedTable>& FindTable(std::string_view table);
    bool ColumnExists(std::string_view table, std::string_view column) {
        const auto& found = FindTable(table);
        return found && found->HasColumn(Trim(column));
    }
    bool IsIndexed(std::string_view table) {
        const auto& found = FindTable(table);
        return found && found->Indexed;
    }
    void RequireTable(const std::string& table);
    void RequireColumns(const std::string& table, const std::vector<std::string>& columns);
    void RequireControlColumn(const std::string& dimension, const std::string& column);
    std::int64_t CountRows(const std::string& table);
    void Advance() { progress_.ProgressVal(progress_.ProgressVal() + 1); }

    Connection& connection_;
    ProgressWindow& progress_;
    std::unordered_map<std::string, std::optional<NamedTable>> tables_;
};

const std::optional<NamedTable>& MetaDataCheck::FindTable(std::string_view table) {
    const std::string name(Trim(table));
    const auto known = tables_.find(name);
    return known != tables_.end()
               ? known->second
               : tables_.emplace(name, connection_.FindTable(name)).first->second;
}

std::int64_t MetaDataCheck::CountRows(const std::string& table) {
    return (*connection_.OpenRecordset("SELECT COUNT(*) FROM " + table))[0].Integer();
}

void MetaDataCheck::PrepareProgress() {
    const std::int64_t relations = CountRows("dwm_star_relations");
    const std::int64_t tables = CountRows("dwm_tables");
    progress_.SetProgressRange(0, static_cast<float>(relations + tables + 1));
    progress_.SetProgressValue(0);
}

bool MetaDataCheck::CheckRelationsTable() {
    progress_.Comment("Checking the Relations Table");
    if (!connection_.TableExists("dwm_star_relations")) {
        throw MetaDataError(
            "Table : 'dwm_star_relations' does not exist in the Datawarehouse database");
    }
    const auto relations = connection_.OpenRecordset(
        "Select selected,foreign_table,foreign_columns, primary_table,primary_columns,"
        "slow_moving_dim, original_primary_key FROM dwm_star_relations");
    if (relations->Eof()) {
        throw MetaDataError("Table: dwm_star_relations does not contain any records");
    }
    for (; !relations->Eof(); relations->MoveNext()) {
        if (progress_.CheckCancelState()) {
            return false;
        }
        CheckRelation(*relations);
        Advance();
    }
    return true;
}

void MetaDataCheck::CheckRelation(const Recordset& relation) {
    RefuseNullsInRelation(relation);
    const std::string foreignTable = relation[kForeignTable].Text();
    const std::string primaryTable = relation[kPrimaryTable].Text();
    RequireTable(foreignTable);
    RequireTable(primaryTable);
    const std::vector<std::string> foreignColumns =
        SplitColumnList(relation[kForeignColumns].Text());
    const std::vector<std::string> primaryColumns =
        SplitColumnList(relation[kPrimaryColumns].Text());
    RequireColumns(foreignTable, foreignColumns);
    RequireColumns(primaryTable, primaryColumns);
    if (relation[kSlowMovingDim].Flag()) {
        RequireColumns(primaryTable, SplitColumnList(relation[kOriginalPrimaryKey].Text()));
    }
    if (primaryColumns.size() != foreignColumns.size()) {
        throw MetaDataError(
            "Count of Primary Key Fields and Foreign Key Fields not the same for the "
            "relationship :\r\nPrimary Table - " +
            primaryTable + "\r\nForeign Table - " + foreignTable);
    }
}

void MetaDataCheck::RefuseNullsInRelation(const Recordset& relation) {
    for (const Field& field : relation.Fields()) {
        if (!field.Value.IsNull()) {
            continue;
        }
        if (!EqualsIgnoreCase(field.Name, "original_primary_key")) {
            throw MetaDataError(field.Name + " Column Empty in dwm_star_relations Table");
        }
        if (relation[kSlowMovingDim].Flag()) {
            throw MetaDataError(
                "original_primary_key Column Empty  for slow Moving Dimension Table : " +
                relation[kPrimaryTable].Text());
        }
    }
}

bool MetaDataCheck::CheckTablesTable() {
    progress_.Comment("Checking the dwm_tables Table");
    if (!connection_.TableExists("dwm_tables")) {
        throw MetaDataError("Table : 'dwm_tables' does not exist in the Datawarehouse database");
    }
    const auto tables = connection_.OpenRecordset(
        "SELECT table_name,Upper(table_type),where_clause,is_selected FROM dwm_tables");
    if (tables->Eof()) {
        throw MetaDataError("'dwm_tables' Table does not contain any records");
    }
    for (; !tables->Eof(); tables->MoveNext()) {
        if (progress_.CheckCancelState()) {
            return false;
        }
        CheckTable(*tables);
        Advance();
    }
    return true;
}

void MetaDataCheck::CheckTable(const Recordset& row) {
    RefuseNullsInTable(row);
    const std::string table = row[kTableName].Text();
    const std::string type = row[kTableType].Text();
    if (type != "DIMENSION" && type != "FACT") {
        throw MetaDataError("table_type  Incorrect for TableName : " + table +
                            " in the dwm_tables Table.");
    }
    RequireTable(table);
    if (type == "DIMENSION") {
        CheckControlColumns(table);
    } else if (!IsIndexed(table)) {
        throw MetaDataError("Table :" + table + " is not indexed.");
    }
}

void MetaDataCheck::RefuseNullsInTable(const Recordset& row) {
    for (const Field& field : row.Fields()) {
        if (!field.Value.IsNull() || EqualsIgnoreCase(field.Name, "where_clause")) {
            continue;
        }
        if (!EqualsIgnoreCase(field.Name, "is_selected")) {
            throw MetaDataError(field.Name + " Column Empty in dwm_tables Table");
        }
        if (row[kTableType].Text() == "DIMENSION") {
            throw MetaDataError("is_selected Column Empty for Dimension Table : " +
                                row[kTableName].Text() + " in dwm_tables Table");
        }
    }
}

void MetaDataCheck::CheckControlColumns(const std::string& dimension) {
    RequireControlColumn(dimension, "is_sustainable");
    RequireControlColumn(dimension, "is_deletable");
    const auto slowMoving = connection_.OpenRecordset(
        "SELECT DISTINCT slow_moving_dim FROM dwm_star_relations WHERE primary_table = '" +
        dimension + "'");
    if (!slowMoving->Eof() && (*slowMoving)[0].Flag()) {
        RequireControlColumn(dimension, "start_date");
        RequireControlColumn(dimension, "end_date");
        RequireControlColumn(dimension, "is_current");
    }
}

void MetaDataCheck::RequireTable(const std::string& table) {
    if (!FindTable(table)) {
        throw MetaDataError("Table : " + table + " does not exist in the Datawarehouse database");
    }
    connection_.RequireTableName(table);
}

void MetaDataCheck::RequireColumns(const std::string& table,
                                   const std::vector<std::string>& columns) {
    for (const std::string& column : columns) {
        if (!ColumnExists(table, column)) {
            throw MetaDataError("Column :: " + column + " doesnt exist in table " + table);
        }
        connection_.RequireName(NameOf::Column, column);
    }
}

void MetaDataCheck::RequireControlColumn(const std::string& dimension, const std::string& column) {
    if (!ColumnExists(dimension, column)) {
        throw MetaDataError("Column :: " + column +
                            " does not exist in the Dimension Table : " + dimension);
    }
}

void MetaDataCheck::CheckConsistency() {
    progress_.Comment("Checking the consistency between meta tables");
    const auto unknown = connection_.OpenRecordset(
        "SELECT * FROM (SELECT primary_table AS TableName FROM dwm_star_relations UNION SELECT "
        "foreign_table AS TableName FROM dwm_star_relations) AS TempTable WHERE NOT EXISTS "
        "(SELECT table_name FROM dwm_tables WHERE TempTable.TableName = dwm_tables.table_name)");
    if (unknown->Eof()) {
        Advance();
        progress_.Refresh();
        return;
    }
    std::string message =
        "The following tables are referred to by the dwm_star_relations table but the details of "
        "the same are not present in the dwm_tables table ::\r\n";
    for (; !unknown->Eof(); unknown->MoveNext()) {
        message += unknown->ValueOf("TableName").Text();
        message += kCrLf;
    }
    throw MetaDataError(message);
}

void MetaDataCheck::FinishProgress() {
    progress_.SetProgressValue(0);
    progress_.Comment("");
    progress_.Refresh();
}

}  // namespace

Outcome CheckMetaData(RunState& state, ProgressWindow& progress) {
    return TrapOutcome(state.ErrorText, [&] {
        MetaDataCheck check(*state.WarehouseConnection, progress);
        check.PrepareProgress();
        if (!check.CheckRelationsTable() || !check.CheckTablesTable()) {
            return Outcome::Cancelled;
        }
        check.CheckConsistency();
        check.FinishProgress();
        return Outcome::Done;
    });
}

Outcome CheckTablesTable(RunState& state, ProgressWindow& progress) {
    return TrapOutcome(state.ErrorText, [&] {
        return MetaDataCheck(*state.WarehouseConnection, progress).CheckTablesTable()
                   ? Outcome::Done
                   : Outcome::Cancelled;
    });
}

}  // namespace morvane
