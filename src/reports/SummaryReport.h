// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "reports/ReportRun.h"

namespace morvane {

// The number of marked elements of every dimension table; the numbers stay in run.Counts. Throws
// on the first failure; the file keeps what was written so far.
void WriteSummaryReport(ReportRun& run);

}  // namespace morvane
