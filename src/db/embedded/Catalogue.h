#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/TableDefinition.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// Tables and views, letter case ignored.
bool TableExists(const SqliteDatabase& database, std::string_view table);
std::optional<NamedTable> FindTable(const SqliteDatabase& database, std::string_view table);

// A table as its CREATE statement and the catalogue describe it. Throws DatabaseError for a table
// that is not there.
TableDefinition DescribeTable(const SqliteDatabase& database, std::string_view table);

// What a date column holds.
enum class DateKind { None, Date, DateTime };

DateKind DateKindOfType(std::string_view declared);

// What kind of date a column is. No value when there is no such table or column.
std::optional<DateKind> DateKindOf(const SqliteDatabase& database, std::string_view table,
                                   std::string_view column);

}  // namespace morvane::embedded
