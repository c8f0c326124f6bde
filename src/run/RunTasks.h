// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/RunSettings.h"
#include "core/RunState.h"
#include "run/CommandLine.h"
#include "run/RunServices.h"

namespace morvane {

// Performs a run: status file, log, validation, connections, lock, tasks and summary. Returns
// whether ErrorText is empty at its end.
bool RunTasks(RunSettings settings, RunState& state, RunServices& services,
              const CommandLineReport& commandLine = {});

}  // namespace morvane
