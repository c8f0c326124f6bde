// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "core/RunState.h"
#include "inspect/Answer.h"
#include "inspect/StepReport.h"

namespace morvane {

// The exit codes of morvane-inspect.
enum class InspectExit { NothingFound = 0, Found = 1, Failed = 2 };

// The services that the program depends on. The caller owns them.
struct InspectServices {
    ConnectionFactory Connect;
    LoginPasswords Passwords;
    StepReport Report;
    std::ostream& Output;
    std::ostream& Errors;
};

// Opens a database read-only. Throws std::runtime_error with the provider's messages, or
// DatabaseError.
std::unique_ptr<Connection> OpenToInspect(const ConnectionFactory& connect,
                                          const ServerLogin& login, const std::string& database);

// Runs a subcommand of morvane-inspect. `words`: the arguments after the program's name.
InspectExit Inspect(const std::vector<std::string>& words, const InspectServices& services);

}  // namespace morvane
