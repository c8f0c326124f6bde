#pragma once

#include "core/UserPrompt.h"

namespace morvane {

// Messages and questions in boxes over the window that is in use.
class MessageBoxPrompt : public UserPrompt {
  public:
    void ShowMessage(std::string_view title, std::string_view text, MessageStyle style) override;
    std::optional<bool> AskYesNo(std::string_view title, std::string_view question) override;
};

}  // namespace morvane
