// SPDX-License-Identifier: Apache-2.0
#include "UiTest.h"

#include <QAbstractButton>
#include <QLineEdit>
#include <QTimer>
#include <fstream>

#include "ui/Messages.h"

namespace morvane::testing {

namespace {

QWidget& Usable(const QWidget& window, const char* name) {
    auto& control = Find<QWidget>(window, name);
    if (!control.isVisible() || !control.isEnabled()) {
        throw std::runtime_error(std::string("hidden or disabled: ") + name);
    }
    return control;
}

void Poll(std::function<void(QWidget&)> act) {
    if (QWidget* modal = QApplication::activeModalWidget()) {
        act(*modal);
    } else {
        QTimer::singleShot(1, qApp, [act = std::move(act)] { Poll(act); });
    }
}

}  // namespace

ScriptedPrompt& ApplicationPrompt() {
    static ScriptedPrompt prompt;
    return prompt;
}

void Click(const QWidget& window, const char* name) {
    QWidget& control = Usable(window, name);
    const auto* button = qobject_cast<QAbstractButton*>(&control);
    // A check box may be wider than its text, but only the box and the text react to clicks.
    const bool isBox = button != nullptr && button->isCheckable();
    QTest::mouseClick(&control, Qt::LeftButton, {},
                      isBox ? QPoint(8, control.height() / 2) : control.rect().center());
}

void Type(const QWidget& window, const char* name, const QString& text) {
    QWidget& control = Usable(window, name);
    control.setFocus();
    QTest::keySequence(&control, QKeySequence::SelectAll);
    QTest::keyClick(&control, Qt::Key_Delete);
    QTest::keyClicks(&control, text);
}

void ShowActive(QWidget& window) {
    window.show();
    window.activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
}

void PressAccessKey(QWidget& window, char letter) {
    ShowActive(window);
    QTest::keyClick(&window, letter, Qt::AltModifier);
}

void WhenModalOpens(std::function<void(QWidget&)> act) {
    QTimer::singleShot(0, qApp, [act = std::move(act)] { Poll(act); });
}

}  // namespace morvane::testing

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const morvane::testing::TempFolder files;
    const std::string screen = files / "screen.json";
    // 1366 x 768 at 150 %, the smallest screen that is common.
    std::ofstream(screen) << R"({"screens": [{"name": "s", "x": 0, "y": 0, "width": 910,)"
                          << R"("height": 512, "logicalDpi": 96, "dpr": 1}]})";
    qputenv("QT_QPA_PLATFORM", QByteArray::fromStdString("offscreen:configfile=" + screen));
    const morvane::Application application(argc, argv, morvane::testing::ApplicationPrompt());
    return RUN_ALL_TESTS();
}
