// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "core/RunState.h"
#include "run/RunServices.h"

namespace morvane {

// What the process was given: its command line, and the passwords of its environment.
struct StartInput {
    std::string CommandLine;
    LoginPasswords Passwords;
};

// Reads the command line and does what it asks for: a run, or the settings window, or the settings
// window with the options filled in.
void StartUp(const StartInput& input, RunServices& services);

// Dates and letters as the system's user has them; numbers as every program writes them.
void UseSystemLocale();

// Connections whose waits a signal ends; see CancelSignals.
ConnectionFactory CancellableConnections();

// The program on a console. `whyNoWindow` is the sentence for a user who wants the settings window.
// The result is the exit code: always 0, since a run tells its outcome in the log and the status
// file.
int RunOnConsole(const StartInput& input, std::string_view whyNoWindow);

}  // namespace morvane
