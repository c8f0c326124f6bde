// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// What the reports ask the warehouse. Names go into the statements as they stand. All throw
// DatabaseError.

// The names of all dimension tables, selected or not, in the server's order.
std::unique_ptr<Recordset> LoadDimensionTables(Connection& connection);

// The number of marked elements. More than a 32-bit count holds is an error.
std::int32_t CountUnusedRecords(Connection& connection, const std::string& tableName);

// The columns that show an element to a reader: those that identify it across its versions, then
// the other columns by which relations refer to it, none twice. Only the first of several relations
// counts. A table without a relation, without an original_primary_key, or with a name repeated in
// that key has none: an error that says so.
std::vector<std::string> GetKeyFields(Connection& connection, const std::string& tableName);

// Whether the list has the name, letter case included.
bool CollectionHasKey(const std::vector<std::string>& list, std::string_view name);

// The key values of the marked elements in key order; read as asked for, so that memory does not
// grow with the table. The connection is busy until the recordset goes.
std::unique_ptr<Recordset> OpenUnusedRecords(Connection& connection, const std::string& tableName,
                                             const std::vector<std::string>& keyFields);

// The single value of a count query.
std::int32_t QueryCount(Connection& connection, const std::string& sql);

}  // namespace morvane
