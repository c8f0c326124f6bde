// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "run/StartUp.h"

namespace morvane {

// Runs the program with its windows, or on the console if MORVANE_CONSOLE asks for that or no
// display can be opened. Qt gets only the program's name from `argv`. Returns the exit code, which
// is always 0.
int RunInWindows(const StartInput& input, char** argv);

}  // namespace morvane
