// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/TableDefinition.h"

namespace morvane {

// The statement that creates a table for copies of another one's rows: the same columns with their
// types, nullability and defaults, and the primary key with its name. Every column takes the value
// that an insert gives it: an identity is left out, and a row version becomes the bytes that it
// holds. Throws DatabaseError for a table without columns.
std::string CreateTableScript(const TableDefinition& table);

// "decimal(18,4)", "nvarchar(max)", "datetime": the type as a script writes it.
std::string TypeText(const ColumnDefinition& column);

}  // namespace morvane
