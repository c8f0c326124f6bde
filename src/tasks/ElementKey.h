// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// What identifies an element of a slowly-moving dimension across its versions.
struct ElementKey {
    std::string Text;                  // as the meta tables hold it
    std::vector<std::string> Columns;  // its names, without surrounding blanks
};

// The key in the first row of a query for original_primary_key; empty when there is no row.
ElementKey ReadElementKey(Connection& connection, std::string_view sql);

// Where the query has the column, from 0. Throws DatabaseError for a name that it has not.
std::size_t ColumnPosition(const Recordset& recordset, std::string_view name);

// The positions of the key's columns, in the key's order.
std::vector<std::size_t> KeyPositions(const Recordset& recordset, const ElementKey& key);

}  // namespace morvane
