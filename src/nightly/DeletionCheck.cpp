// SPDX-License-Identifier: Apache-2.0
#include "nightly/DeletionCheck.h"

#include <fmt/format.h>

#include "base/Text.h"
#include "inspect/TemporaryTable.h"
#include "inspect/Verify.h"
#include "tasks/RelationWalk.h"

namespace morvane {

namespace {

std::string LimitText(const DeleteLimit& limit) {
    return fmt::format("{}{}", limit.Value, limit.IsPercentage ? "%" : "");
}

void CheckLimit(Connection& warehouse, const DeleteLimit& limit,
                std::vector<std::string>& objections) {
    for (const std::string& table : SelectedDimensions(warehouse)) {
        warehouse.RequireTableName(table);
        const std::int64_t rows = QueryNumber(warehouse, "SELECT COUNT(*) FROM " + table);
        const std::int64_t marked =
            QueryNumber(warehouse, "SELECT COUNT(*) FROM " + table + " WHERE is_deletable = 1");
        if (!limit.Allows(marked, rows)) {
            objections.push_back(fmt::format("{}: {} of {} rows are marked, the limit is {}",
                                             Trim(table), marked, rows, LimitText(limit)));
        }
    }
}

}  // namespace

std::vector<std::string> ObjectionsToDeletion(Connection& warehouse, const JobOptions& options) {
    std::vector<std::string> objections;
    if (options.MaxDelete) {
        CheckLimit(warehouse, *options.MaxDelete, objections);
    }
    if (options.CheckReferences) {
        for (const Finding& found :
             MarkedButReferredTo(warehouse, false, [](const std::string&) {})) {
            objections.push_back(
                fmt::format("{}: {} ({})", found.Table, found.Detail, found.Count));
        }
    }
    return objections;
}

}  // namespace morvane
