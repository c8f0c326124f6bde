// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "dialogs/SelectQuery.h"
#include "dialogs/UpdatableRows.h"

namespace morvane {

// The narrow test of whether a query names several tables: a comma between the first "from" and
// the condition, grouping or order behind it. JOIN passes.
bool IsJoinQuery(std::string_view sql);

// The dimension tables with their flag is_selected.
UpdatableQuery DimensionTablesQuery(Connection& connection);

// The user's query with is_sustainable as its first field, and the key of its rows. A key that the
// user does not select is added behind it, unless that would change what the query means.
UpdatableQuery SustainQuery(Connection& connection, const SelectQuery& query);

}  // namespace morvane
