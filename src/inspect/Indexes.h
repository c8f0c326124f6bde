// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// An index that would make runs faster. Without an index on the foreign columns of a relation,
// marking reads the whole table. Without one on the original key of a slowly-moving dimension,
// re-linking reads the whole table for each version.
struct MissingIndex {
    std::string Table;
    std::vector<std::string> Columns;
    std::string Statement;  // creates the index
};

// Whether an index of the table begins with these columns, in any order. Throws DatabaseError.
bool HasIndex(Connection& connection, const std::string& table,
              const std::vector<std::string>& columns);

// The indexes that the relations need and the tables do not have. Throws DatabaseError.
std::vector<MissingIndex> FindMissingIndexes(Connection& connection);

}  // namespace morvane
