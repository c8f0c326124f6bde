// SPDX-License-Identifier: Apache-2.0
#include "ui/Slots.h"

#include <cstdio>
#include <exception>

#include "core/ErrorTrap.h"

namespace morvane {

void ShowCaught(UserPrompt& prompt) noexcept {
    try {
        try {
            throw;
        } catch (const std::exception& error) {
            prompt.ShowMessage("Morvane", Describe(error), MessageStyle::Critical);
        }
    } catch (...) {
        std::fputs("Morvane: an error has occurred and cannot be shown\n", stderr);
    }
}

bool Application::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (...) {
        ShowCaught(prompt_);
        return false;
    }
}

}  // namespace morvane
