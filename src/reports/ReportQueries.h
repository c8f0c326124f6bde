// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// The queries of the reports. Names go into the statements unquoted. All of them throw
// DatabaseError.

// The names of all dimension tables, selected or not, in the server's order.
std::unique_ptr<Recordset> LoadDimensionTables(Connection& connection);

// The number of marked elements. Throws if it does not fit into 32 bits.
std::int32_t CountUnusedRecords(Connection& connection, const std::string& tableName);

// The columns that identify an element to a reader, without duplicates: first its
// original_primary_key, then the other columns by which relations refer to it. Uses only the first
// relation. Throws if there is no relation, no original_primary_key, or a name is repeated in it.
std::vector<std::string> GetKeyFields(Connection& connection, const std::string& tableName);

// Case-sensitive.
bool CollectionHasKey(const std::vector<std::string>& list, std::string_view name);

// The key values of the marked elements in key order. Streamed, so memory use does not depend on
// the size of the table; the connection is busy until the recordset is destroyed.
std::unique_ptr<Recordset> OpenUnusedRecords(Connection& connection, const std::string& tableName,
                                             const std::vector<std::string>& keyFields);

// The result of a count query.
std::int32_t QueryCount(Connection& connection, const std::string& sql);

// The number of marked elements per dimension table, in the order in which they were added.
class UnusedCounts {
  public:
    // Throws DatabaseError if the table has been added before.
    void Add(const std::string& tableName, std::int32_t count);

    auto begin() const { return counts_.begin(); }
    auto end() const { return counts_.end(); }

  private:
    std::vector<std::pair<std::string, std::int32_t>> counts_;
};

}  // namespace morvane
