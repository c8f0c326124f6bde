#pragma once

namespace morvane {

// The program with its windows, or on the console when MORVANE_CONSOLE asks for that or no display
// can be opened. The result is the exit code: always 0.
int RunInWindows(int argc, char** argv);

}  // namespace morvane
