// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "demo/Tables.h"

namespace morvane::demo {

inline constexpr const char* kWarehouseFile = "retail.db";
inline constexpr const char* kArchiveFile = "retail_archive.db";

// Scale 1 has some 300,000 fact rows. Beyond this limit keys overflow their columns' types.
inline constexpr std::int64_t kLargestScale = 10000;

// Creates the warehouse and the empty archive database in the folder, which is created if missing.
// Both files are written under temporary names and renamed when complete. Existing files are an
// error unless `replace` is set. `stop` is polled; returning true aborts. Returns the row counts.
// Throws DemoError or FileError and then leaves the folder as it was.
std::vector<TableCount> MakeDemoWarehouse(const std::string& folder, std::int64_t scale,
                                          bool replace, const std::function<bool()>& stop);

}  // namespace morvane::demo
