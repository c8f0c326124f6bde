// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "demo/RetailModel.h"
#include "demo/SqliteFile.h"

namespace morvane::demo {

struct TableCount {
    std::string Table;
    std::int64_t Rows;
};

// Creates all tables and fills the two meta tables. The declared column types are those of SQL
// Server, because the embedded engine derives its types from them.
void MakeTables(SqliteFile& file);
// Creates the secondary indexes. Call this after filling the tables: it is faster.
void MakeIndexes(SqliteFile& file);

// Fill the tables row by row, in constant memory.
std::vector<TableCount> FillDimensions(SqliteFile& file, const RetailModel& model);
std::vector<TableCount> FillFacts(SqliteFile& file, const RetailModel& model);

}  // namespace morvane::demo
