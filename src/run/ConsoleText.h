#pragma once

#include <ostream>
#include <string_view>

namespace morvane {

// Writes a text of the log to the console: the terminal's line ends, none before and one after it.
void WriteConsoleText(std::ostream& stream, std::string_view text);

}  // namespace morvane
