// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/ErrorTrap.h"
#include "core/ProgressWindow.h"
#include "core/RunState.h"

namespace morvane {

// Writes the summary, detailed and table-filter reports of the run into `reportDirectory`. False
// on a failure, described in ErrorText, or when the user cancelled between two reports.
Outcome GenerateAllReports(RunState& state, ProgressWindow& progress,
                           const std::string& reportDirectory);

}  // namespace morvane
