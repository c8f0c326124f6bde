// SPDX-License-Identifier: Apache-2.0
#include "dialogs/FactConditions.h"

#include "core/ErrorTrap.h"
#include "db/modDatabaseOperations.h"
#include "dialogs/SaveRows.h"

namespace morvane {

namespace {

// What is pasted often ends with a line end.
std::string_view WithoutMargins(std::string_view text) {
    constexpr std::string_view kWhiteSpace = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

ColumnValue Describe(const Field& field, Value value) {
    return {.Name = field.Name,
            .Type = field.Type,
            .Size = field.DefinedSize,
            .Precision = field.Precision,
            .NumericScale = field.NumericScale,
            .Value = std::move(value)};
}

// The server compares no column of its old types for long texts; converted it does.
ColumnValue DescribeForKey(const Field& field, const Value& value) {
    ColumnValue column = Describe(field, value);
    if (field.Type == DataType::LongVarChar) {
        column.Name = "cast(" + field.Name + " as varchar(max))";
    } else if (field.Type == DataType::LongVarWChar) {
        column.Name = "cast(" + field.Name + " as nvarchar(max))";
    }
    return column;
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
    const std::string text(WithoutMargins(condition));
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

// A refusal leaves the connection in compile-only mode, in which nothing would ever be saved.
bool FactConditions::Compiles(const Row& row, const std::string& condition,
                              std::string& errorText) {
    if (ValidateQuery("select * from " + row.Table.Text() + " where " + condition, warehouse_,
                      errorText)) {
        return true;
    }
    try {
        warehouse_.Execute("Set NOEXEC OFF");
    } catch (const DatabaseError&) {
        // The connection is lost, which the refusal says already.
    }
    return false;
}

void FactConditions::Save(Row& row, const std::string& condition) {
    const RowChange change{
        {Describe(tableField_, row.Table), DescribeForKey(conditionField_, row.Condition)},
        {Describe(conditionField_, Value(condition))}};
    SaveRows(warehouse_, "dwm_tables", {change});
    row.Condition = Value(condition);
}

}  // namespace morvane
