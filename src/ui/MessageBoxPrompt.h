// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "core/UserPrompt.h"

namespace morvane {

// Messages and questions in boxes over the window that is in use.
class MessageBoxPrompt : public UserPrompt {
  public:
    // `nobodyIsThere`, which may be null, tells that the program is about to end: a box that waits
    // is closed then. A message that nobody has read goes to standard error.
    explicit MessageBoxPrompt(std::function<bool()> nobodyIsThere = {});

    void ShowMessage(std::string_view title, std::string_view text, MessageStyle style) override;
    std::optional<bool> AskYesNo(std::string_view title, std::string_view question) override;

  private:
    std::function<bool()> nobodyIsThere_;
};

}  // namespace morvane
