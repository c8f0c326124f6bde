// SPDX-License-Identifier: Apache-2.0
#include "ui/Messages.h"

#include <QAbstractButton>
#include <QKeyEvent>
#include <QMessageBox>
#include <QRegularExpression>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>

#include "core/ErrorTrap.h"
#include "run/Console.h"

namespace morvane {

namespace {

constexpr const char* kTitle = "Morvane";
constexpr std::chrono::milliseconds kEndingPoll{200};
constexpr int kMostLines = 14;
constexpr int kMostLetters = 1000;
constexpr QChar kZeroWidthSpace(0x200B);

// A box is as wide as its longest word, such as a path. Zero-width spaces let it wrap such words.
QString WithBreaks(QString text) {
    static const QRegularExpression longWord("\\S{61,}");
    static const QRegularExpression piece("(\\S{20,59}[/\\\\,;._-]|\\S{60})(?=\\S)");
    QRegularExpressionMatch match;
    for (qsizetype at = 0; (at = text.indexOf(longWord, at, &match)) >= 0;) {
        const QString word = match.captured().replace(piece, QString("\\1") + kZeroWidthSpace);
        text.replace(at, match.capturedLength(), word);
        at += word.size();
    }
    return text;
}

// A box is as high as its text. A text that is too long for a low screen is cut. The details, which
// scroll, contain all of it as it is.
void SetText(QMessageBox& box, const QString& text) {
    const QString start = text.section('\n', 0, kMostLines - 1).left(kMostLetters);
    const QString shown = WithBreaks(start == text ? text : start + "...");
    box.setText(shown);
    if (shown != text) {
        box.setDetailedText(text);
    }
}

// Returns the button that was pressed, or nothing if the program is ending.
std::optional<int> ShowBox(QMessageBox::Icon icon, std::string_view title, std::string_view text,
                           QMessageBox::StandardButtons buttons,
                           QMessageBox::StandardButton defaultButton,
                           const std::function<bool()>& isEnding) {
    if (isEnding && isEnding()) {
        return std::nullopt;
    }
    const PointerShape arrow(Qt::ArrowCursor);  // the caller may have set the busy pointer
    QMessageBox box(icon, ToQString(title), {}, buttons, QApplication::activeWindow());
    box.setDefaultButton(defaultButton);
    box.setTextFormat(Qt::PlainText);
    SetText(box, ToQString(text).trimmed());
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);
    for (QAbstractButton* button : box.buttons()) {
        button->setIcon({});  // no other window has icons on its buttons
    }
    bool closed = false;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, &box, [&] {
        if (isEnding && isEnding()) {
            closed = true;
            box.done(QDialog::Rejected);
        }
    });
    watch.start(kEndingPoll);
    const int pressed = box.exec();
    return closed ? std::nullopt : std::optional(pressed);
}

// Alt and a letter that no shortcut has taken, such as the access key of a disabled button. A text
// box would insert the letter.
bool IsUnusedAccessKey(const QEvent& event) {
    if (event.type() != QEvent::KeyPress) {
        return false;
    }
    const auto& key = static_cast<const QKeyEvent&>(event);
    return key.modifiers().testFlag(Qt::AltModifier) &&
           !key.modifiers().testFlag(Qt::ControlModifier) &&  // AltGr on Windows
           !key.text().isEmpty() && key.text().front().isPrint();
}

}  // namespace

MessageBoxPrompt::MessageBoxPrompt(std::function<bool()> isEnding)
    : isEnding_(std::move(isEnding)) {}

void MessageBoxPrompt::ShowMessage(std::string_view title, std::string_view text,
                                   MessageStyle style) {
    const auto icon =
        style == MessageStyle::Critical ? QMessageBox::Critical : QMessageBox::Information;
    if (!ShowBox(icon, title, text, QMessageBox::Ok, QMessageBox::Ok, isEnding_)) {
        WriteConsoleText(std::cerr, std::string(title) + ": " + std::string(text));
    }
}

std::optional<bool> MessageBoxPrompt::AskYesNo(std::string_view title, std::string_view question,
                                               DefaultAnswer defaultAnswer) {
    const std::optional<int> pressed =
        ShowBox(QMessageBox::Question, title, question, QMessageBox::Yes | QMessageBox::No,
                defaultAnswer == DefaultAnswer::No ? QMessageBox::No : QMessageBox::Yes, isEnding_);
    return pressed ? std::optional(*pressed == QMessageBox::Yes) : std::nullopt;
}

void ShowCaught(UserPrompt& prompt) noexcept {
    try {
        try {
            throw;
        } catch (const std::exception& error) {
            prompt.ShowMessage(kTitle, Describe(error), MessageStyle::Critical);
        }
    } catch (...) {
        std::fputs("Morvane: an error has occurred and cannot be shown\n", stderr);
    }
}

void Require(bool done, std::string& errorText) {
    if (!done) {
        throw std::runtime_error(std::exchange(errorText, {}));
    }
}

void Window::ShowMessage(std::string_view text, MessageStyle style) {
    prompt_.ShowMessage(kTitle, text, style);
}

// A window system can place the title bar of a high window above the screen, because its height is
// unknown before the window is shown.
bool Window::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate && !std::exchange(placed_, true)) {
        const int above = screen()->availableGeometry().top() - frameGeometry().top();
        move(x(), y() + std::max(above, 0));
    }
    return QDialog::event(event);
}

bool Application::notify(QObject* receiver, QEvent* event) {
    if (receiver->isWidgetType() && IsUnusedAccessKey(*event)) {
        return true;
    }
    try {
        return QApplication::notify(receiver, event);
    } catch (...) {
        ShowCaught(prompt_);
        return false;
    }
}

}  // namespace morvane
