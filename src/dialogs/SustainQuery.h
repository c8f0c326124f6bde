// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "dialogs/SelectQuery.h"
#include "dialogs/UpdatableRows.h"

namespace morvane {

// A deliberately narrow test for a join: a comma between the first "from" and the condition,
// grouping or order. Does not detect JOIN.
bool IsJoinQuery(std::string_view sql);

// The query for the dimension tables and their is_selected flags.
UpdatableQuery DimensionTablesQuery(Connection& connection);

// Rebuilds the user's query with is_sustainable as its first field, and finds the key of its rows.
// Key columns that the user does not select are added after the flag, unless that would change the
// result.
UpdatableQuery SustainQuery(Connection& connection, const SelectQuery& query);

}  // namespace morvane
