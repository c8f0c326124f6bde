// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "base/Clock.h"
#include "nightly/JobRun.h"
#include "run/Environment.h"

namespace morvane {

// What the program works with.
struct NightlyServices {
    const morvane::Environment& Environment;
    const morvane::Clock& Clock;
    std::ostream& Output;
    std::ostream& Errors;
};

// What the arguments ask for.
struct NightlyCommand {
    bool Help = false;
    bool Version = false;
    bool All = false;
    std::string TomlFile = {};
    std::vector<std::string> Words = {};  // sections; or two files and options of morvane
    JobOptions Options = {};
};

// Throws NotStarted.
NightlyCommand ParseNightlyCommand(const std::vector<std::string>& words);

// Runs morvane for the warehouses of the command line. `words`: the arguments after the program's
// name.
NightlyExit Nightly(const std::vector<std::string>& words, const NightlyServices& services);

}  // namespace morvane
