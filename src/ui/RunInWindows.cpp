// SPDX-License-Identifier: Apache-2.0
#include "ui/RunInWindows.h"

#include <QDialog>
#include <QEventLoop>
#include <QIcon>
#include <QThread>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

#include "core/ErrorTrap.h"
#include "run/CancelSignals.h"
#include "run/ConsolePrompt.h"
#include "run/ConsoleText.h"
#include "run/ExitGuard.h"
#include "ui/BrowsingDialogs.h"
#include "ui/Display.h"
#include "ui/MessageBoxPrompt.h"
#include "ui/Slots.h"
#include "ui/frmMain.h"
#include "ui/frmProgress.h"

namespace morvane {

namespace {

// An unattended run asks in the terminal that it was started from, if there is one. Everything else
// is a matter of the windows.
class WindowPrompt : public UserPrompt {
  public:
    void ShowMessage(std::string_view title, std::string_view text, MessageStyle style) override {
        boxes_.ShowMessage(title, text, style);
    }

    std::optional<bool> AskYesNo(std::string_view title, std::string_view question) override {
        if (const LineReader reader = TerminalReader(); Unattended && reader) {
            return ConsolePrompt(std::cerr, reader).AskYesNo(title, question);
        }
        return boxes_.AskYesNo(title, question);
    }

    bool Unattended = true;

  private:
    MessageBoxPrompt boxes_{[] { return CancelSignals::Received() || ExitGuard::ExitUnderWay(); }};
};

// Set by a thread of the toolkit's, which waits for the end of the process from then on.
std::atomic<bool> displayLost = false;

// The toolkit's Wayland client says so when its display is gone, and then ends the process by
// _exit(), from whatever thread has noticed. So the remark is where the end is put in order.
void NoteLostDisplay() {
    if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
        ExitGuard::ExitInOrder();
        return;
    }
    displayLost = true;
    CancelSignals::Note();
    for (;;) {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}

// Qt's remarks are for its developers; only what ends the program is for the user.
void ShowFatalMessages(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (message.startsWith("The Wayland connection ")) {
        NoteLostDisplay();
    }
    if (type == QtFatalMsg || type == QtCriticalMsg) {
        WriteConsoleText(std::cerr, message.toStdString());
    }
}

// Takes a signal one step further: whatever waits for an answer gets none, an edit that is under
// way is given up, and when no dialog is left the window itself is closed.
void CloseInnermost(frmMain& window, frmProgress& progress) {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (dialog != nullptr && dialog != &progress) {
        dialog->done(QDialog::Rejected);
        return;
    }
    window.isVisible() ? window.close() : progress.close();
}

// Shows the settings window until it is closed. Ctrl+C closes it too, and its lock is released.
void ShowUntilClosed(frmMain& window, frmProgress& progress, UserPrompt& prompt) {
    QEventLoop loop;
    QObject::connect(&window, &frmMain::Closed, &loop, &QEventLoop::quit);
    QTimer signalWatch;
    QObject::connect(&signalWatch, &QTimer::timeout, &window, [&] {
        if (CancelSignals::Received()) {
            // Queued: a message that this brings up must not keep the timer from its next turn.
            const auto close = [&] { RunSlot(prompt, [&] { CloseInnermost(window, progress); }); };
            QMetaObject::invokeMethod(&window, close, Qt::QueuedConnection);
        }
    });
    signalWatch.start(std::chrono::milliseconds(200));
    window.show();
    loop.exec();
}

void Run(const StartInput& input, WindowPrompt& prompt) {
    const SystemClock clock;
    frmProgress progress(CancelSignals::Received);
    BrowsingDialogs browsing;
    RunServices services{clock,     prompt,    progress, CancellableConnections(),
                         std::cout, std::cerr, {},       {}};
    services.ShowMainWindow = [&](RunState& state, const RunSettings&) {
        prompt.Unattended = false;
        frmMain window(state, services, browsing);
        QObject::connect(&progress, &frmProgress::Closed, &window, &frmMain::ShowAgain);
        ShowUntilClosed(window, progress, prompt);
    };
    StartUp(input, services);
}

}  // namespace

int RunInWindows(const StartInput& input, char** argv) {
    const std::string_view obstacle = ObstacleToWindows();
    if (!obstacle.empty()) {
        return RunOnConsole(input, obstacle);
    }
    CloseOwnConsole();
    qInstallMessageHandler(ShowFatalMessages);
    int ownNameOnly = 1;  // the options are the program's own, none of them the window system's
    WindowPrompt prompt;
    const Application application(ownNameOnly, argv, prompt);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setDesktopFileName("morvane");
    QApplication::setWindowIcon(QIcon::fromTheme("morvane"));  // none where it is not installed
    UseSystemLocale();  // as it was before the window system set it
    const CancelSignals cancelSignals;
    try {
        Run(input, prompt);
    } catch (const std::exception& error) {
        WriteConsoleText(std::cerr, Describe(error));
    }
    if (displayLost) {
        std::cout.flush();
        std::_Exit(0);  // the toolkit would wait for its thread
    }
    return 0;
}

}  // namespace morvane
