// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "reports/ReportRun.h"

namespace morvane {

// The archive condition of every fact table and the names of the selected dimension tables. Throws
// on the first failure; the file keeps what was written so far.
void WriteTableFilterReport(ReportRun& run);

}  // namespace morvane
