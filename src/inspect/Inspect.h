// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "core/RunState.h"
#include "inspect/Answer.h"
#include "inspect/Forecast.h"

namespace morvane {

// The exit codes of morvane-inspect.
enum class InspectExit { NothingFound = 0, Found = 1, CouldNotLook = 2 };

// What the program works with.
struct InspectServices {
    ConnectionFactory Connect;
    LoginPasswords Passwords;
    StepReport Report;  // before each step that may take long
    std::ostream& Output;
    std::ostream& Errors;
};

// Runs a subcommand of morvane-inspect. `words`: the arguments after the program's name.
InspectExit Inspect(const std::vector<std::string>& words, const InspectServices& services);

}  // namespace morvane
