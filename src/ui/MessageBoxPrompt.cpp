#include "ui/MessageBoxPrompt.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>

#include "ui/Controls.h"

namespace morvane {

namespace {

// A box is answered with the usual pointer, whatever work waits for it.
class UsualPointer {
  public:
    UsualPointer() { QGuiApplication::setOverrideCursor(Qt::ArrowCursor); }
    ~UsualPointer() { QGuiApplication::restoreOverrideCursor(); }
    UsualPointer(const UsualPointer&) = delete;
    UsualPointer& operator=(const UsualPointer&) = delete;
};

int ShowBox(QMessageBox::Icon icon, std::string_view title, std::string_view text,
            QMessageBox::StandardButtons buttons) {
    const UsualPointer pointer;
    QMessageBox box(icon, ToQString(title), ToQString(text).trimmed(), buttons,
                    QApplication::activeWindow());
    box.setTextFormat(Qt::PlainText);
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);
    for (QAbstractButton* button : box.buttons()) {
        button->setIcon({});  // as the buttons of all other windows
    }
    return box.exec();
}

}  // namespace

void MessageBoxPrompt::ShowMessage(std::string_view title, std::string_view text,
                                   MessageStyle style) {
    ShowBox(style == MessageStyle::Critical ? QMessageBox::Critical : QMessageBox::Information,
            title, text, QMessageBox::Ok);
}

std::optional<bool> MessageBoxPrompt::AskYesNo(std::string_view title, std::string_view question) {
    return ShowBox(QMessageBox::Question, title, question, QMessageBox::Yes | QMessageBox::No) ==
           QMessageBox::Yes;
}

}  // namespace morvane
