// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QApplication>
#include <QDialog>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/UserPrompt.h"
#include "ui/Controls.h"

namespace morvane {

// Shows messages and questions in boxes over the active window.
class MessageBoxPrompt : public UserPrompt {
  public:
    // `isEnding`, which may be null, tells whether the program is about to end. An open box is then
    // closed unanswered, and a message that was not read goes to standard error.
    explicit MessageBoxPrompt(std::function<bool()> isEnding = {});

    void ShowMessage(std::string_view title, std::string_view text, MessageStyle style) override;
    std::optional<bool> AskYesNo(std::string_view title, std::string_view question,
                                 DefaultAnswer defaultAnswer) override;

  private:
    std::function<bool()> isEnding_;
};

// Shows the exception being handled. Call it in a catch block. If the message cannot be shown
// either, says so on standard error.
void ShowCaught(UserPrompt& prompt) noexcept;

// Unless `done`, clears `errorText` and throws its former content. For operations that return
// whether they succeeded.
void Require(bool done, std::string& errorText);

// Base class of the program's windows, which shows exceptions to the user. Qt does not support
// exceptions that leave a slot, so slots are connected through Safe(), and event handlers call
// Try().
class Window : public QDialog {
  public:
    explicit Window(UserPrompt& prompt, QWidget* parent = nullptr)
        : QDialog(parent), prompt_(prompt) {}

    // Shows what `work` throws. Returns whether it succeeded.
    template <typename Work>
    bool Try(Work&& work) noexcept {
        try {
            std::forward<Work>(work)();
            return true;
        } catch (...) {
            ShowCaught(prompt_);
            return false;
        }
    }

    // The same under the busy pointer.
    template <typename Work>
    bool TryBusy(Work&& work) noexcept {
        return Try([&] {
            const HourglassPointer pointer;
            std::forward<Work>(work)();
        });
    }

  protected:
    bool event(QEvent* event) override;

    // A member function as a slot that runs inside Try().
    template <typename Self, typename... Arguments>
    auto Safe(void (Self::*slot)(Arguments...)) {
        return [this, slot](Arguments... arguments) {
            Try([&] { (static_cast<Self*>(this)->*slot)(arguments...); });
        };
    }

    void ShowMessage(std::string_view text, MessageStyle style = MessageStyle::Information);

  private:
    UserPrompt& prompt_;
    bool placed_ = false;
};

// Shows exceptions that Qt's own event handlers throw, such as std::bad_alloc. The event is
// dropped, and the program goes on. Also drops access keys that no control takes.
class Application : public QApplication {
  public:
    Application(int& argc, char** argv, UserPrompt& prompt)
        : QApplication(argc, argv), prompt_(prompt) {}
    bool notify(QObject* receiver, QEvent* event) override;

  private:
    UserPrompt& prompt_;
};

}  // namespace morvane
