// SPDX-License-Identifier: Apache-2.0
#include "run/ConsoleTool.h"

#include "base/Platform.h"
#include "run/ProcessArguments.h"
#include "run/StartUp.h"

namespace morvane {

namespace {

std::vector<std::string> TakeArguments(int argc, char** argv) {
    PrepareProcess();
    std::vector<std::string> arguments(argv + 1, argv + argc);
    HidePasswords(argc, argv);
    return arguments;
}

}  // namespace

ConsoleTool::ConsoleTool(int argc, char** argv)
    : Arguments(TakeArguments(argc, argv)), Environment(TakeEnvironment()) {
    UseSystemLocale();
}

}  // namespace morvane
