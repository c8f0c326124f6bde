// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "demo/SqliteFile.h"

namespace morvane::demo {

// Makes all tables, empty, and fills the two meta tables. Column types are the server's own: the
// engine reads the declared types.
void MakeTables(SqliteFile& file);
// The indexes beside the primary keys; made last, which is faster than keeping them.
void MakeIndexes(SqliteFile& file);

}  // namespace morvane::demo
