// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "demo/Fill.h"

namespace morvane::demo {

inline constexpr const char* kWarehouseFile = "retail.db";
inline constexpr const char* kArchiveFile = "retail_archive.db";

// At scale 1 some 300,000 fact rows; the keys fit their columns up to the last.
inline constexpr std::int64_t kLargestScale = 10000;

// Makes the warehouse and the empty archive database in the folder, which is made when missing.
// The files appear under their names only when they are whole. Files that are there already are
// an error, unless `replace` says that they go. `stop` is asked now and then; true ends the work.
// Throws DemoError or FileError; then the folder holds what it held before.
std::vector<TableCount> MakeDemoWarehouse(const std::string& folder, std::int64_t scale,
                                          bool replace, const std::function<bool()>& stop);

}  // namespace morvane::demo
