// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "core/ErrorTrap.h"
#include "core/ProgressWindow.h"
#include "core/RunState.h"

namespace morvane {

enum class Report { Summary, Detailed, TableFilter };

// The file name without a folder, as the reports link to each other:
// "SummaryReport05-03-202414-07-09.html".
std::string ReportFileName(Report report, const RunState& state);

std::string ReportPath(Report report, const RunState& state, const std::string& directory);

// The text of a link to the report.
std::string_view ReportLinkText(Report report);

// Writes the summary, detailed and table filter reports of a run into `reportDirectory`. Polls for
// a cancel before each report.
Outcome GenerateAllReports(RunState& state, ProgressWindow& progress,
                           const std::string& reportDirectory);

}  // namespace morvane
