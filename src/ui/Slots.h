// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QApplication>
#include <utility>

#include "core/UserPrompt.h"

namespace morvane {

// To be called in a catch block: shows what was caught, or says on standard error that it cannot be
// shown.
void ShowCaught(UserPrompt& prompt) noexcept;

// Does the work of a slot or an event handler. An exception must not pass through the frames of the
// toolkit, which are not made for it: it is shown to the user, and the result is false.
template <typename Work>
bool RunSlot(UserPrompt& prompt, Work&& work) noexcept {
    try {
        std::forward<Work>(work)();
        return true;
    } catch (...) {
        ShowCaught(prompt);
        return false;
    }
}

// A member function as a slot that lets nothing out.
template <typename Window, typename... Arguments>
auto SafeSlot(Window* window, UserPrompt& prompt, void (Window::*slot)(Arguments...)) {
    return [window, &prompt, slot](Arguments... arguments) {
        RunSlot(prompt, [&] { (window->*slot)(arguments...); });
    };
}

// The toolkit itself may find no memory, in a handler of its own. The event is given up, and the
// program goes on.
class Application : public QApplication {
  public:
    Application(int& argc, char** argv, UserPrompt& prompt)
        : QApplication(argc, argv), prompt_(prompt) {}
    bool notify(QObject* receiver, QEvent* event) override;

  private:
    UserPrompt& prompt_;
};

}  // namespace morvane
