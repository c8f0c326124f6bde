// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// A column with the value that it has or is to have, described as the column is.
using ColumnValue = Parameter;

// New values for one row, found by its key. Old values of other columns may stand in the key too:
// then a row that somebody else has changed meanwhile is not found.
struct RowChange {
    std::vector<ColumnValue> Key;
    std::vector<ColumnValue> NewValues;
};

// Writes all changes in one transaction, each with one UPDATE that must touch exactly one row.
// Otherwise nothing is saved and DatabaseError says which row: it is gone, was changed, or its key
// is not unique.
void SaveRows(Connection& connection, const std::string& table,
              const std::vector<RowChange>& changes);

}  // namespace morvane
