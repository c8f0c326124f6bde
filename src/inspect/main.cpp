// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>

#include "base/Text.h"
#include "inspect/Inspect.h"
#include "run/ConsoleProgress.h"
#include "run/ConsoleTool.h"
#include "run/StartUp.h"

namespace {

// Shows each step on one line of the terminal. Ends the work before a step if the user has
// cancelled; a statement that is being executed is ended by its connection.
void ShowStep(const std::string& step, int columns) {
    if (columns > 1) {
        std::string line = morvane::ToVisible(step, "");
        line.resize(std::min(line.size(), static_cast<std::size_t>(columns) - 1));
        std::cerr << "\r\x1b[K" << line << std::flush;
    }
    if (!step.empty() && morvane::CancelSignals::Received()) {
        throw std::runtime_error("cancelled");
    }
}

}  // namespace

int main(int argc, char** argv) {
    using namespace morvane;
    const ConsoleTool tool(argc, argv);
    const int columns = ErrorTerminalColumns();
    const InspectServices services{
        .Connect = CancellableConnections(tool.Environment),
        .Passwords = tool.Environment.Passwords,
        .Report = [columns](const std::string& step) { ShowStep(step, columns); },
        .Output = std::cout,
        .Errors = std::cerr};
    return static_cast<int>(Inspect(tool.Arguments, services));
}
