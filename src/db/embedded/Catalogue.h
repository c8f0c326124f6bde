#pragma once

#include <set>
#include <string>
#include <string_view>

#include "core/TableDefinition.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// A table as its CREATE statement and the catalogue describe it. Throws DatabaseError for a table
// that is not there.
TableDefinition DescribeTable(const SqliteDatabase& database, std::string_view table);

// What a date column holds.
enum class DateKind { None, Date, DateTime };

// What kind of date the column of that name is in those of the tables that are there. None where
// they disagree.
DateKind DateKindOf(const SqliteDatabase& database, const std::set<std::string>& tables,
                    std::string_view column);

}  // namespace morvane::embedded
