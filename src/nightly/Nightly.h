// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "base/Clock.h"
#include "nightly/JobRun.h"
#include "run/Environment.h"

namespace morvane {

// The services that the program depends on. The caller owns them.
struct NightlyServices {
    const morvane::Environment& Environment;
    const morvane::Clock& Clock;
    std::ostream& Output;
    std::ostream& Errors;
};

// The parsed command line.
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
