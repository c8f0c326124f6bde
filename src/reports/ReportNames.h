// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "core/RunState.h"

namespace morvane {

enum class Report { Summary, Detailed, TableFilter };

// The bare file name, as the reports link to each other: "SummaryReport05-03-202414-07-09.html".
std::string ReportFileName(Report report, const RunState& state);

// The file name in its folder.
std::string ReportPath(Report report, const RunState& state, const std::string& directory);

// What a link to the report says.
std::string_view ReportLinkText(Report report);

}  // namespace morvane
