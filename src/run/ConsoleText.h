// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace morvane {

// A text as a terminal may get it: see ToVisible. Line ends become the terminal's.
std::string ForConsole(std::string_view text);

// Writes a text of the log to the console as ForConsole makes it, with no line end before and one
// after it.
void WriteConsoleText(std::ostream& stream, std::string_view text);

// While one exists, a Windows console takes what the program writes for the UTF-8 that it is.
// Elsewhere that is the terminal's own affair.
class Utf8Console {
  public:
    Utf8Console();
    ~Utf8Console();
    Utf8Console(const Utf8Console&) = delete;
    Utf8Console& operator=(const Utf8Console&) = delete;

  private:
    [[maybe_unused]] unsigned formerCodePage_ = 0;  // Windows only; 0 without a console
};

}  // namespace morvane
