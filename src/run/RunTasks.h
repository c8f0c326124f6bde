// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/RunSettings.h"
#include "core/RunState.h"
#include "run/CommandLine.h"
#include "run/RunServices.h"

namespace morvane {

// Performs one run from the status file's first word to its last: log, validation, connections,
// lock, tasks, summary. True when the run ended without a text in ErrorText.
bool RunTasks(RunSettings settings, RunState& state, RunServices& services,
              const CommandLineReport& commandLine = {});

}  // namespace morvane
