// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sstream>
#include <string>

#include "db/ConnectionFactory.h"
#include "run/RunTasks.h"
#include "support/FixedClock.h"
#include "support/RecordingProgress.h"
#include "support/ScriptedPrompt.h"

namespace morvane::testing {

// Performs a run at which nobody is present; returns its error text.
inline std::string RunUnattended(const RunSettings& settings) {
    std::ostringstream output;
    std::ostringstream errors;
    FixedClock clock;
    ScriptedPrompt prompt;
    RecordingProgress progress;
    RunServices services{clock, prompt, progress, CreateConnection, output, errors, {}, {}};
    RunState state;
    state.CommandLineMode = true;
    RunTasks(settings, state, services);
    return state.ErrorText;
}

}  // namespace morvane::testing
