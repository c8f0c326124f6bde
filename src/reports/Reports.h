// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/ProgressWindow.h"
#include "core/RunState.h"
#include "reports/ReportQueries.h"
#include "reports/modGenerateReports.h"

namespace morvane {

// Shared by the three reports of a run.
struct ReportRun {
    RunState& State;
    ProgressWindow& Progress;
    std::string ReportDirectory;
    UnusedCounts Counts;

    Connection& Warehouse() const { return *State.WarehouseConnection; }
    std::string PathOf(Report report) const { return ReportPath(report, State, ReportDirectory); }

    // Called after each table of a report.
    void Advance() const {
        Progress.ProgressVal(Progress.ProgressVal() + 1);
        Progress.Refresh();
    }
};

// Each writes one report. They throw on the first error and leave a partial file.

// The number of marked elements per dimension table. Also puts the numbers into run.Counts.
void WriteSummaryReport(ReportRun& run);

// The key values of all marked elements, for each table of run.Counts that has any. Streams the
// rows, so memory use does not depend on the size of a table.
void WriteDetailedReport(ReportRun& run);

// The archive condition of each fact table and the names of the selected dimension tables.
void WriteTableFilterReport(ReportRun& run);

}  // namespace morvane
