// SPDX-License-Identifier: Apache-2.0
#include "dialogs/FactConditions.h"

#include <algorithm>

#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/modDatabaseOperations.h"
#include "dialogs/UpdatableRows.h"

namespace morvane {

namespace {

// SQL Server cannot compare columns of type text and ntext.
std::string ComparableName(const Field& field) {
    if (field.Type == DataType::LongVarChar) {
        return "cast(" + field.Name + " as varchar(max))";
    }
    if (field.Type == DataType::LongVarWChar) {
        return "cast(" + field.Name + " as nvarchar(max))";
    }
    return field.Name;
}

}  // namespace

FactConditions::FactConditions(Connection& warehouse) : warehouse_(warehouse) {
    const auto tables = warehouse.OpenRecordset(
        "select table_name, where_clause from dwm_tables where upper(table_type) = 'FACT'");
    tableField_ = tables->Fields().at(0);
    conditionField_ = tables->Fields().at(1);
    for (; !tables->Eof(); tables->MoveNext()) {
        rows_.push_back({(*tables)[0], (*tables)[1]});
    }
}

bool FactConditions::Change(std::size_t row, std::string_view condition, std::string& errorText) {
    const std::string text(Trim(condition, " \t\r\n"));  // pasted text often ends with a line break
    if (text == Condition(row)) {
        return true;
    }
    if (!text.empty() && !Compiles(rows_[row], text, errorText)) {
        return false;
    }
    errorText.clear();
    return TrapErrors(errorText, [&] {
        Save(rows_[row], text);
        return true;
    });
}

// A refusal leaves the connection in compile-only mode, in which nothing could be saved.
bool FactConditions::Compiles(const Row& row, const std::string& condition,
                              std::string& errorText) {
    if (ValidateQuery("select * from " + row.Table.Text() + " where " + condition, warehouse_,
                      errorText)) {
        return true;
    }
    try {
        warehouse_.Execute("Set NOEXEC OFF");
    } catch (const DatabaseError&) {
        // The connection is lost, as the refusal already says.
    }
    return false;
}

void FactConditions::Save(Row& row, const std::string& condition) {
    const RowChange change{
        {MakeColumnValue(tableField_, tableField_.Name, row.Table),
         MakeColumnValue(conditionField_, ComparableName(conditionField_), row.Condition)},
        {MakeColumnValue(conditionField_, conditionField_.Name, Value(condition))}};
    try {
        SaveRows(warehouse_, "dwm_tables", {change});
    } catch (const RowChangedError&) {
        Reread(row);
        throw;
    }
    row.Condition = Value(condition);
}

void FactConditions::Reread(Row& row) {
    const FactConditions now(warehouse_);
    const auto same = [&](const Row& other) { return other.Table.Text() == row.Table.Text(); };
    // A table that is gone or listed twice keeps what was read before.
    if (std::count_if(now.rows_.begin(), now.rows_.end(), same) == 1) {
        row.Condition = std::find_if(now.rows_.begin(), now.rows_.end(), same)->Condition;
    }
}

}  // namespace morvane
