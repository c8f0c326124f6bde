// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "reports/ReportRun.h"

namespace morvane {

// The key values of every marked element, table by table in the order of run.Counts; a table
// without marked elements is left out. Memory does not grow with a table. Throws on the first
// failure; the file keeps what was written so far.
void WriteDetailedReport(ReportRun& run);

}  // namespace morvane
