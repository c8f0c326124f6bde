// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "core/UserPrompt.h"

namespace morvane::testing {

// Answers questions from a list; no user is present when the list is empty.
class ScriptedPrompt : public UserPrompt {
  public:
    std::deque<bool> Answers;
    std::vector<std::string> Shown;  // "title|text"
    std::vector<std::string> Asked;  // "title|question"
    int Failures = 0;                // number of next messages that throw std::bad_alloc

    void ShowMessage(std::string_view title, std::string_view text, MessageStyle) override {
        if (Failures > 0) {
            --Failures;
            throw std::bad_alloc();
        }
        Shown.push_back(std::string(title) + "|" + std::string(text));
    }

    std::optional<bool> AskYesNo(std::string_view title, std::string_view question,
                                 DefaultAnswer) override {
        Asked.push_back(std::string(title) + "|" + std::string(question));
        if (Answers.empty()) {
            return std::nullopt;
        }
        const bool answer = Answers.front();
        Answers.pop_front();
        return answer;
    }
};

}  // namespace morvane::testing
