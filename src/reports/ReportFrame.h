// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "core/RunState.h"
#include "reports/ReportNames.h"

namespace morvane {

// Everything above a report's own table: style, heading, the start of the run, the warehouse, and
// the links to the two sibling reports. Ends with a line break. Nothing is escaped. Throws when the
// connection's properties cannot be read.
std::string BuildReportHead(const RunState& state, std::string_view title, std::string_view heading,
                            Report firstLink, Report secondLink);

// From the end of a report's last table to the end of the file, without a last line break.
std::string BuildReportFoot();

}  // namespace morvane
