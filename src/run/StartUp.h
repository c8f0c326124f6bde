// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "run/Environment.h"
#include "run/RunServices.h"

namespace morvane {

struct StartInput {
    std::string CommandLine;
    morvane::Environment Environment;
};

// Parses the command line and starts a run or shows the settings window, in configuration mode with
// the options filled in.
void StartUp(const StartInput& input, RunServices& services);

// Takes date formats and character encoding from the user's locale, but not number formats.
void UseSystemLocale();

// Connections with the options from the environment. CancelSignals end their waits.
ConnectionFactory CancellableConnections(const Environment& environment);

// Runs the program on a console. `whyNoWindow` is shown if the settings window is requested.
// Returns the exit code, which is always 0: the outcome of a run is in its log and status file.
int RunOnConsole(const StartInput& input, std::string_view whyNoWindow);

}  // namespace morvane
