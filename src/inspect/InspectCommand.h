// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/RunSettings.h"
#include "inspect/Answer.h"

namespace morvane {

// The parsed command line of morvane-inspect.
struct InspectCommand {
    std::string Subcommand;
    std::vector<std::string> Words;  // after the subcommand
    ServerLogin Login;
    std::string Database;
    morvane::Format Format = morvane::Format::Text;
    bool List = false;
    bool Help = false;
    bool Version = false;
};

// The text for --help.
std::string_view InspectUsage();

// Throws std::runtime_error for an unknown option or format, or an option without its value.
InspectCommand ParseInspectCommand(const std::vector<std::string>& words);

// Throws std::runtime_error if the subcommand, its operands or the connection are incomplete.
void RequireComplete(const InspectCommand& command);

}  // namespace morvane
