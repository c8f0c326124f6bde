// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "inspect/Answer.h"
#include "inspect/StepReport.h"

namespace morvane {

// What a run would do with a fact table that has a condition.
struct ArchivePlan {
    std::string Table;
    std::int64_t Rows = 0;      // now
    std::int64_t Archived = 0;  // rows that archiving would move
};

// What marking and deletion would do to a dimension, either now or after archiving.
struct MarkedCounts {
    std::int64_t Rows = 0;  // to be marked; normal deletion deletes them
    // For slowly-moving dimensions:
    std::int64_t Elements = 0;     // whose versions would all be marked
    std::int64_t ElementRows = 0;  // their versions; atomic deletion deletes them
    std::int64_t Relinked = 0;     // updates of remaining versions by normal deletion
};

struct DimensionPlan {
    std::string Table;
    bool SlowMoving = false;
    std::int64_t Rows = 0;
    MarkedCounts Now;
    MarkedCounts AfterArchiving;
    // Why a run does not mark this table; empty if it does.
    std::string NotMarked;
};

struct Plan {
    std::vector<ArchivePlan> FactTables;
    std::vector<DimensionPlan> Dimensions;  // in the order of marking, the unmarked ones last
};

// What a run would archive, mark, re-link and delete. Writes nothing but temporary tables. Throws
// DatabaseError.
Plan MakePlan(Connection& connection, const StepReport& report);

Answer PlanAnswer(const Plan& plan);

// Why the relations keep a run from marking a selected dimension. Call it only for one that the
// forecast has not reached.
std::string WhyNotMarked(Connection& connection, const std::string& table);

}  // namespace morvane
