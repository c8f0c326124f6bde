#pragma once

#include <string_view>

#include "core/TableDefinition.h"
#include "db/odbc/OdbcHandle.h"

namespace morvane::odbc {

// Questions to a connection's catalogue. Drivers take names for patterns, in which "_" matches any
// character, and escape it each in a way of its own: what comes back is compared again here, letter
// case ignored. All throw DatabaseError.
bool TableExists(const OdbcHandle& connection, std::string_view table);
bool ColumnExists(const OdbcHandle& connection, std::string_view table, std::string_view column);
bool IsIndexed(const OdbcHandle& connection, std::string_view table);
TableDefinition DescribeTable(const OdbcHandle& connection, std::string_view table);

}  // namespace morvane::odbc
