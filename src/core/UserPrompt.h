// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace morvane {

enum class MessageStyle { Information, Critical };

// Whoever can be told or asked something: message boxes, a terminal, a script in a test.
class UserPrompt {
  public:
    virtual ~UserPrompt() = default;

    // A message that waits for its reader.
    virtual void ShowMessage(std::string_view title, std::string_view text, MessageStyle style) = 0;
    // A Yes/No question. No value when nobody can be asked.
    virtual std::optional<bool> AskYesNo(std::string_view title, std::string_view question) = 0;
};

}  // namespace morvane
