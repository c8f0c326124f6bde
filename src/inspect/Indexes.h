// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// The foreign columns of relations and the original keys of slowly-moving dimensions that no index
// begins with: without one, marking reads the whole table and re-linking does so for each version.
struct MissingIndex {
    std::string Table;
    std::vector<std::string> Columns;
    std::string Statement;  // that creates the index
};

// Whether an index of the table begins with these columns, in any order. Throws DatabaseError.
bool HasIndex(Connection& connection, const std::string& table,
              const std::vector<std::string>& columns);

// Throws DatabaseError.
std::vector<MissingIndex> FindMissingIndexes(Connection& connection);

}  // namespace morvane
