// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "core/UserPrompt.h"

namespace morvane {

// Makes a text safe for a terminal: see ToVisible. CR LF becomes a line feed.
std::string ForConsole(std::string_view text);

// Writes a text without leading line breaks and with a single one at its end.
void WriteConsoleText(std::ostream& stream, std::string_view text);

// Sets a Windows console to UTF-8, the program's encoding, for the lifetime of this object. Does
// nothing elsewhere.
class Utf8Console {
  public:
    Utf8Console();
    ~Utf8Console();
    Utf8Console(const Utf8Console&) = delete;
    Utf8Console& operator=(const Utf8Console&) = delete;

  private:
    [[maybe_unused]] unsigned formerCodePage_ = 0;  // Windows only; 0 without a console
};

// Reads a line of user input; no value at the end of the input or when the user cancels.
using LineReader = std::function<std::optional<std::string>()>;

// Messages and questions on the console.
class ConsolePrompt : public UserPrompt {
  public:
    // Without a reader, questions have no answer.
    ConsolePrompt(std::ostream& stream, LineReader readLine);

    void ShowMessage(std::string_view title, std::string_view text, MessageStyle style) override;
    // Repeats the question until the answer is yes or no; the first letter is enough.
    std::optional<bool> AskYesNo(std::string_view title, std::string_view question,
                                 DefaultAnswer defaultAnswer) override;

  private:
    std::ostream& stream_;
    LineReader readLine_;
};

// Reads from a file descriptor. Returns early if a signal arrives.
LineReader ReadLinesFrom(int fileDescriptor);

// Reads from standard input; null unless standard input and standard error are terminals.
LineReader TerminalReader();

}  // namespace morvane
