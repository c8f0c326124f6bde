#pragma once

#include <string>
#include <string_view>

#include "run/RunServices.h"

namespace morvane {

// Reads the command line and does what it asks for: a run, or the settings window, or the settings
// window with the options filled in.
void StartUp(std::string_view commandLine, RunServices& services);

// The program on a console. The result is the exit code: always 0, since a run tells its outcome
// in the log and the status file.
int RunOnConsole(const std::string& commandLine);

}  // namespace morvane
