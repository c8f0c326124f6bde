// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/TableDefinition.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// Tables and views, letter case ignored.
bool TableExists(const SqliteDatabase& database, std::string_view table);
std::optional<NamedTable> FindTable(const SqliteDatabase& database, std::string_view table);

// A table as its CREATE statement and the catalogue describe it. Throws DatabaseError for a table
// that is not there.
TableDefinition DescribeTable(const SqliteDatabase& database, std::string_view table);

// What a date column holds: a day, or a day with its time. SessionDateTime (datetime and
// smalldatetime) reads "2024-03-05" in the session's order; for Date and DateTime2 the month comes
// before the day there in every session. Where two kinds meet, the later one of this list wins.
enum class DateKind { None, Date, SessionDateTime, DateTime2 };

// What the value of a parameter is compared with, or written into.
struct DateParameter {
    DateKind Kind = DateKind::None;
    bool Written = false;
};

DateKind DateKindOfType(std::string_view declared);

// What kind of date a column is declared as. No value when there is no such table or column.
std::optional<DateKind> DateKindOf(const SqliteDatabase& database, std::string_view table,
                                   std::string_view column);

// True when a column may hold numbers, which SQLite sorts before every text: only an index of the
// column tells at once that it does not.
bool MayHoldNumbers(const SqliteDatabase& database, std::string_view table,
                    std::string_view column);

// The expression of a computed column without a declared type, whose type is that of its
// expression. Empty for any other column.
std::string UntypedExpression(const SqliteDatabase& database, std::string_view table,
                              std::string_view column);

// The kinds of the columns that an INSERT without a column list gives values to: all but computed
// ones, in the table's order. Empty when there is no such table.
std::vector<DateKind> DateKindsOfInserted(const SqliteDatabase& database, std::string_view table);

}  // namespace morvane::embedded
