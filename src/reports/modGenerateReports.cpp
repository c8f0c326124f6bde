// SPDX-License-Identifier: Apache-2.0
#include "reports/modGenerateReports.h"

#include "reports/DetailedReport.h"
#include "reports/ReportQueries.h"
#include "reports/ReportRun.h"
#include "reports/SummaryReport.h"
#include "reports/TableFilterReport.h"

namespace morvane {

namespace {

// The bar advances once a dimension table in each of the summary and the detailed report, and in
// the table-filter report once a fact table and once a selected dimension table.
void PrepareReportProgress(const ReportRun& run) {
    const auto dimensions = static_cast<float>(QueryCount(
        run.Warehouse(), "Select COUNT(*) from dwm_tables where Upper(table_type) = 'DIMENSION'"));
    const auto filterRows = static_cast<float>(
        QueryCount(run.Warehouse(),
                   "Select COUNT(*) from dwm_tables where (Upper(table_type) = 'DIMENSION' "
                   "AND is_selected = 1) OR UPPER(table_type)='FACT'"));
    const float steps = 2 * dimensions + filterRows;
    if (steps < 1) {
        run.Progress.SetProgressRange(0, 1);
        run.Progress.SetProgressValue(1);
    } else {
        run.Progress.SetProgressRange(0, steps);
        run.Progress.SetProgressValue(0);
    }
}

void FinishReportProgress(const ReportRun& run) {
    run.Progress.SetProgressValue(0);
    run.Progress.Comment("");
    run.Progress.Refresh();
}

// False when the user asks to cancel before the report begins.
bool BeginReport(const ReportRun& run, std::string_view comment) {
    run.Progress.Comment(comment);
    return !run.Progress.CheckCancelState();
}

}  // namespace

Outcome GenerateAllReports(RunState& state, ProgressWindow& progress,
                           const std::string& reportDirectory) {
    return TrapOutcome(state.ErrorText, [&] {
        ReportRun run{state, progress, reportDirectory, {}};
        PrepareReportProgress(run);
        if (!BeginReport(run, "Generating Summary Report")) {
            return Outcome::Cancelled;
        }
        WriteSummaryReport(run);
        if (!BeginReport(run, "Generating Detailed Report")) {
            return Outcome::Cancelled;
        }
        WriteDetailedReport(run);
        if (!BeginReport(run, "Generating TableFilter Report")) {
            return Outcome::Cancelled;
        }
        WriteTableFilterReport(run);
        FinishReportProgress(run);
        return Outcome::Done;
    });
}

}  // namespace morvane
