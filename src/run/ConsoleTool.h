// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "run/CancelSignals.h"
#include "run/Console.h"
#include "run/Environment.h"

namespace morvane {

// Prepares the process of morvane-inspect or morvane-nightly. Create it first in main().
struct ConsoleTool {
    ConsoleTool(int argc, char** argv);

    // Without the program's name. The process's own arguments no longer contain passwords.
    std::vector<std::string> Arguments;
    morvane::Environment Environment;
    Utf8Console Console;
    CancelSignals Signals;
};

}  // namespace morvane
