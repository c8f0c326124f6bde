// SPDX-License-Identifier: Apache-2.0
#include "reports/ReportRun.h"

#include <algorithm>

namespace morvane {

void UnusedCounts::Add(const std::string& tableName, std::int32_t count) {
    const bool known = std::any_of(counts_.begin(), counts_.end(),
                                   [&](const auto& counted) { return counted.first == tableName; });
    if (known) {
        throw DatabaseError(
            {"The dimension table " + tableName + " stands more than once in dwm_tables"});
    }
    counts_.emplace_back(tableName, count);
}

}  // namespace morvane
