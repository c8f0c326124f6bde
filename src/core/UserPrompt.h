// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace morvane {

enum class MessageStyle { Information, Critical };

// The answer that Enter gives where a question has buttons. No where Yes can harm another user.
enum class DefaultAnswer { Yes, No };

// Shows messages to the user and asks questions: in message boxes, on a terminal, or scripted in
// tests.
class UserPrompt {
  public:
    virtual ~UserPrompt() = default;

    // Shows a message and waits until it is dismissed.
    virtual void ShowMessage(std::string_view title, std::string_view text, MessageStyle style) = 0;
    // Asks a Yes/No question; no value if there is no user to ask.
    virtual std::optional<bool> AskYesNo(std::string_view title, std::string_view question,
                                         DefaultAnswer defaultAnswer) = 0;
};

}  // namespace morvane
