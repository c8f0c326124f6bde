// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Recordset.h"
#include "core/TableDefinition.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// Tables and views, ignoring case.
bool TableExists(const SqliteDatabase& database, std::string_view table);
std::optional<NamedTable> FindTable(const SqliteDatabase& database, std::string_view table);

// The key columns of each index, also of the one that a primary key of whole numbers is.
std::vector<std::vector<std::string>> IndexColumns(const SqliteDatabase& database,
                                                   std::string_view table);

// Throws DatabaseError if the table does not exist.
TableDefinition DescribeTable(const SqliteDatabase& database, std::string_view table);

// What a date column holds: a day, or a day with a time. SessionDateTime (datetime and
// smalldatetime) reads "2024-03-05" in the session's date order; Date and DateTime2 always read the
// month first. When two kinds are compared, the later one in this list is used.
enum class DateKind { None, Date, SessionDateTime, DateTime2 };

// The kind of date that a parameter is compared with or written to.
struct DateParameter {
    DateKind Kind = DateKind::None;
    bool Written = false;
};

DateKind DateKindOfType(std::string_view declared);

// The kind of date that a column is declared as. No value without such a table or column.
std::optional<DateKind> DateKindOf(const SqliteDatabase& database, std::string_view table,
                                   std::string_view column);

// True if a column may hold numbers, which SQLite sorts before all texts. Only an index of the
// column can quickly prove that it does not.
bool MayHoldNumbers(const SqliteDatabase& database, std::string_view table,
                    std::string_view column);

// The expression of a computed column without a declared type. Empty for other columns.
std::string UntypedExpression(const SqliteDatabase& database, std::string_view table,
                              std::string_view column);

// The kinds of the columns filled by an INSERT without a column list: all except computed ones, in
// order. Empty if there is no such table.
std::vector<DateKind> DateKindsOfInserted(const SqliteDatabase& database, std::string_view table);

// A column type as the server would describe it.
struct ColumnType {
    DataType Type = DataType::VarChar;
    int DefinedSize = 0;
    int Precision = 0;
    int NumericScale = 0;
};

// Reads a declared type ("decimal(18,4)", "nvarchar(50)"). Types unknown to the server follow
// SQLite's rules of affinity.
ColumnType ParseColumnType(std::string_view declared);

// True for types of dates, with or without a time of day.
bool IsDateType(std::string_view declared);

}  // namespace morvane::embedded
