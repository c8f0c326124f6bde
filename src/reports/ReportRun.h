// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/ProgressWindow.h"
#include "core/RunState.h"
#include "reports/ReportNames.h"

namespace morvane {

// The marked elements of each dimension table, in the order in which they were counted.
class UnusedCounts {
  public:
    // Throws DatabaseError for a name that is already there.
    void Add(const std::string& tableName, std::int32_t count);

    auto begin() const { return counts_.begin(); }
    auto end() const { return counts_.end(); }

  private:
    std::vector<std::pair<std::string, std::int32_t>> counts_;
};

// What the three reports of one run share.
struct ReportRun {
    RunState& State;
    ProgressWindow& Progress;
    std::string ReportDirectory;
    UnusedCounts Counts;

    Connection& Warehouse() const { return *State.WarehouseConnection; }
    std::string PathOf(Report report) const { return ReportPath(report, State, ReportDirectory); }

    // One table of a report is done.
    void Advance() const {
        Progress.ProgressVal(Progress.ProgressVal() + 1);
        Progress.Refresh();
    }
};

}  // namespace morvane
