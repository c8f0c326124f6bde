// SPDX-License-Identifier: Apache-2.0
#include "reports/modGenerateReports.h"

#include <array>

#include "base/Clock.h"
#include "base/modFileFunctions.h"
#include "reports/Reports.h"

namespace morvane {

namespace {

struct ReportNames {
    std::string_view FilePrefix;
    std::string_view LinkText;
};

const ReportNames& NamesOf(Report report) {
    static constexpr std::array<ReportNames, 3> kNames{{
        {"SummaryReport", "Summary Report"},
        {"DetailedReport", "Detailed Report"},
        {"TableFilterReport", "Table Filter Report"},
    }};
    return kNames.at(static_cast<std::size_t>(report));
}

// One step per dimension table in the summary and in the detailed report, and one per fact table
// and selected dimension table in the table filter report.
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

struct ReportStep {
    Report What;
    std::string_view Comment;
    void (*Write)(ReportRun&);
};

// The detailed report needs the counts of the summary report.
constexpr std::array kSteps{
    ReportStep{Report::Summary, "Generating Summary Report", WriteSummaryReport},
    ReportStep{Report::Detailed, "Generating Detailed Report", WriteDetailedReport},
    ReportStep{Report::TableFilter, "Generating TableFilter Report", WriteTableFilterReport},
};

}  // namespace

std::string ReportFileName(Report report, const RunState& state) {
    return std::string(NamesOf(report).FilePrefix) +
           FileStamp(state.RunStartDate, state.RunStartTime) + ".html";
}

std::string ReportPath(Report report, const RunState& state, const std::string& directory) {
    return directory + kPathSeparator + ReportFileName(report, state);
}

std::string_view ReportLinkText(Report report) {
    return NamesOf(report).LinkText;
}

Outcome GenerateAllReports(RunState& state, ProgressWindow& progress,
                           const std::string& reportDirectory) {
    return TrapOutcome(state.ErrorText, [&] {
        ReportRun run{state, progress, reportDirectory, {}};
        PrepareReportProgress(run);
        for (const ReportStep& step : kSteps) {
            progress.Comment(step.Comment);
            if (progress.CheckCancelState()) {
                return Outcome::Cancelled;
            }
            step.Write(run);
            state.Result.Reports.push_back(ReportPath(step.What, state, reportDirectory));
        }
        FinishReportProgress(run);
        return Outcome::Done;
    });
}

}  // namespace morvane
