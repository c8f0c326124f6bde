// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "run/StartUp.h"

namespace morvane {

// The program with its windows, or on the console when MORVANE_CONSOLE asks for that or no display
// can be opened. Of `argv` the window system gets the program's name alone. The result is the exit
// code: always 0.
int RunInWindows(const StartInput& input, char** argv);

}  // namespace morvane
