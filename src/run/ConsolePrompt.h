// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "core/UserPrompt.h"

namespace morvane {

// Questions and messages on the console. A line of the user's input, or none when the input has
// ended or the user rather ended the program.
using LineReader = std::function<std::optional<std::string>()>;

class ConsolePrompt : public UserPrompt {
  public:
    // Without a reader nobody can be asked.
    ConsolePrompt(std::ostream& stream, LineReader readLine);

    void ShowMessage(std::string_view title, std::string_view text, MessageStyle style) override;
    // Asks again until the answer is yes or no, of which the first letter is enough.
    std::optional<bool> AskYesNo(std::string_view title, std::string_view question) override;

  private:
    std::ostream& stream_;
    LineReader readLine_;
};

// Reads from a file descriptor; a signal or the end of the input ends the wait.
LineReader ReadLinesFrom(int fileDescriptor);

// The reader of standard input, null unless both it and standard error are a terminal.
LineReader TerminalReader();

}  // namespace morvane
