// SPDX-License-Identifier: Apache-2.0
#include "ui/RunInWindows.h"

#include <QDialog>
#include <QEventLoop>
#include <QIcon>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include "core/ErrorTrap.h"
#include "run/CancelSignals.h"
#include "run/Console.h"
#include "run/ExitGuard.h"
#include "ui/Messages.h"
#include "ui/frmBrowseComputer.h"
#include "ui/frmMain.h"
#include "ui/frmProgress.h"
#include "ui/modBrowsing.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace morvane {

namespace {

#ifdef _WIN32

bool DisplayOpens(const Environment&) {
    return true;
}

#else

// Runs in a child process: Qt ends the process if it cannot open a display.
[[noreturn]] void TryDisplay() {
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDERR_FILENO);
    int count = 1;
    std::string name = "morvane";
    std::array<char*, 2> arguments{name.data(), nullptr};
    const QGuiApplication application(count, arguments.data());
    _exit(0);
}

bool DisplayOpens(const Environment& environment) {
    if (!environment.HasDisplay) {
        return false;
    }
    const pid_t child = fork();
    if (child == 0) {
        TryDisplay();
    }
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

#endif

// Returns why no window can be shown, as a sentence for the user, or an empty text.
std::string_view ObstacleToWindows(const Environment& environment) {
    if (environment.ConsoleOnly) {
        return "MORVANE_CONSOLE turns the windows off.";
    }
    return DisplayOpens(environment)
               ? ""
               : "The settings window cannot be shown: no display can be opened.";
}

// Closes the console that Windows opened for this process alone, as it does for a program started
// from the desktop. A console shared with other processes stays open.
void CloseOwnConsole() {
#ifdef _WIN32
    std::array<DWORD, 2> processes{};
    if (GetConsoleProcessList(processes.data(), static_cast<DWORD>(processes.size())) == 1) {
        FreeConsole();
    }
#endif
}

// Asks the questions of an unattended run in its terminal, if there is one. Otherwise uses message
// boxes.
class WindowPrompt : public MessageBoxPrompt {
  public:
    WindowPrompt()
        : MessageBoxPrompt([] { return CancelSignals::Received() || ExitGuard::ExitUnderWay(); }) {}

    std::optional<bool> AskYesNo(std::string_view title, std::string_view question,
                                 DefaultAnswer defaultAnswer) override {
        if (const LineReader reader = TerminalReader(); Unattended && reader) {
            return ConsolePrompt(std::cerr, reader).AskYesNo(title, question, defaultAnswer);
        }
        return MessageBoxPrompt::AskYesNo(title, question, defaultAnswer);
    }

    bool Unattended = true;
};

// Set by the Qt thread that notices the loss. That thread then waits for the process to end.
std::atomic<bool> displayLost = false;

// When its display is gone, Qt's Wayland client logs a message and then calls _exit(), in any
// thread. So the message is the last chance to end the run in order.
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

// Prints only Qt's messages about errors. The rest is of no use to the user.
void ShowFatalMessages(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (message.startsWith("The Wayland connection ")) {
        NoteLostDisplay();
    }
    if (type == QtFatalMsg || type == QtCriticalMsg) {
        WriteConsoleText(std::cerr, message.toStdString());
    }
}

// Called repeatedly after a signal. Each call rejects the innermost dialog, which drops an edit in
// progress; when none is left, it closes the window.
void CloseInnermost(frmMain& window, frmProgress& progress) {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (dialog != nullptr && dialog != &progress) {
        dialog->done(QDialog::Rejected);
        return;
    }
    window.isVisible() ? window.close() : progress.close();
}

// Shows the settings window until it is closed, by the user or by a signal such as Ctrl+C. Closing
// it releases the lock.
void ShowUntilClosed(frmMain& window, frmProgress& progress) {
    QEventLoop loop;
    QObject::connect(&window, &frmMain::Closed, &loop, &QEventLoop::quit);
    QTimer signalWatch;
    QObject::connect(&signalWatch, &QTimer::timeout, &window, [&] {
        if (CancelSignals::Received()) {
            // Queued, so that a message box opened by closing does not block this timer.
            const auto close = [&] { window.Try([&] { CloseInnermost(window, progress); }); };
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
    BrowsingDialogs browsing(
        prompt, [&input] { return SourcesOfThisMachine(input.Environment.DataSources); });
    RunServices services{.Clock = clock,
                         .Prompt = prompt,
                         .Progress = progress,
                         .Connect = CancellableConnections(input.Environment),
                         .Output = std::cout,
                         .Errors = std::cerr};
    services.ShowMainWindow = [&](RunState& state, const RunSettings&) {
        prompt.Unattended = false;
        frmMain window(state, services, browsing);
        QObject::connect(&progress, &frmProgress::Closed, &window, &frmMain::ShowAgain);
        ShowUntilClosed(window, progress);
    };
    StartUp(input, services);
}

}  // namespace

int RunInWindows(const StartInput& input, char** argv) {
    const std::string_view obstacle = ObstacleToWindows(input.Environment);
    if (!obstacle.empty()) {
        return RunOnConsole(input, obstacle);
    }
    CloseOwnConsole();
    qInstallMessageHandler(ShowFatalMessages);
    int ownNameOnly = 1;  // Qt must not interpret the program's options
    WindowPrompt prompt;
    const Application application(ownNameOnly, argv, prompt);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setDesktopFileName("morvane");
    QApplication::setWindowIcon(QIcon::fromTheme("morvane"));  // null if not installed
    UseSystemLocale();                                         // Qt has changed it
    const CancelSignals cancelSignals;
    try {
        Run(input, prompt);
    } catch (const std::exception& error) {
        WriteConsoleText(std::cerr, Describe(error));
    }
    if (displayLost) {
        std::cout.flush();
        std::_Exit(0);  // Qt would wait for its thread
    }
    return 0;
}

}  // namespace morvane
