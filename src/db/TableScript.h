// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/TableDefinition.h"

namespace morvane {

// The CREATE TABLE statement for copies of a table's rows: the same columns with types, nullability
// and defaults, and the primary key with its name. Every column must accept an inserted value, so
// identity is omitted and a row version becomes binary(8). Throws DatabaseError for a table without
// columns.
std::string CreateTableScript(const TableDefinition& table);

// The type as in a script: "decimal(18,4)", "nvarchar(max)", "datetime".
std::string TypeText(const ColumnDefinition& column);

}  // namespace morvane
