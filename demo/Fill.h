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

// Fill the tables of one kind row by row; memory does not grow with the model.
std::vector<TableCount> FillDimensions(SqliteFile& file, const RetailModel& model);
std::vector<TableCount> FillFacts(SqliteFile& file, const RetailModel& model);

}  // namespace morvane::demo
