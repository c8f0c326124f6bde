// SPDX-License-Identifier: Apache-2.0
#include "ui/MessageBoxPrompt.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTimer>
#include <chrono>
#include <iostream>
#include <string>
#include <utility>

#include "run/ConsoleText.h"
#include "ui/Controls.h"

namespace morvane {

namespace {

constexpr std::chrono::milliseconds kLook{200};

// The button that was pressed; none when nobody is there any more.
std::optional<int> ShowBox(QMessageBox::Icon icon, std::string_view title, std::string_view text,
                           QMessageBox::StandardButtons buttons,
                           const std::function<bool()>& nobodyIsThere) {
    if (nobodyIsThere && nobodyIsThere()) {
        return std::nullopt;
    }
    const PointerShape usual(Qt::ArrowCursor);  // whatever work waits for the answer
    QMessageBox box(icon, ToQString(title), ToQString(text).trimmed(), buttons,
                    QApplication::activeWindow());
    box.setTextFormat(Qt::PlainText);
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);
    for (QAbstractButton* button : box.buttons()) {
        button->setIcon({});  // as the buttons of all other windows
    }
    bool left = false;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, &box, [&] {
        if (nobodyIsThere && nobodyIsThere()) {
            left = true;
            box.done(QDialog::Rejected);
        }
    });
    watch.start(kLook);
    const int pressed = box.exec();
    return left ? std::nullopt : std::optional(pressed);
}

}  // namespace

MessageBoxPrompt::MessageBoxPrompt(std::function<bool()> nobodyIsThere)
    : nobodyIsThere_(std::move(nobodyIsThere)) {}

void MessageBoxPrompt::ShowMessage(std::string_view title, std::string_view text,
                                   MessageStyle style) {
    const auto icon =
        style == MessageStyle::Critical ? QMessageBox::Critical : QMessageBox::Information;
    if (!ShowBox(icon, title, text, QMessageBox::Ok, nobodyIsThere_)) {
        WriteConsoleText(std::cerr, std::string(title) + ": " + std::string(text));
    }
}

std::optional<bool> MessageBoxPrompt::AskYesNo(std::string_view title, std::string_view question) {
    const std::optional<int> pressed = ShowBox(QMessageBox::Question, title, question,
                                               QMessageBox::Yes | QMessageBox::No, nobodyIsThere_);
    return pressed ? std::optional(*pressed == QMessageBox::Yes) : std::nullopt;
}

}  // namespace morvane
