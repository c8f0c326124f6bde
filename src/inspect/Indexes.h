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

// Throws DatabaseError.
std::vector<MissingIndex> FindMissingIndexes(Connection& connection);

}  // namespace morvane
