// SPDX-License-Identifier: Apache-2.0
#include "ui/Display.h"

#include <QGuiApplication>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

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

bool IsSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool ConsoleIsAskedFor() {
    return IsSet("MORVANE_CONSOLE") && std::string_view(std::getenv("MORVANE_CONSOLE")) != "0";
}

#ifdef _WIN32

bool DisplayOpens() {
    return true;
}

#else

// In a child process of its own: a window system that does not open ends the process that tries.
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

bool DisplayOpens() {
    constexpr std::array kVariables{"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"};
    if (std::none_of(kVariables.begin(), kVariables.end(), IsSet)) {
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

}  // namespace

std::string_view ObstacleToWindows() {
    if (ConsoleIsAskedFor()) {
        return "MORVANE_CONSOLE turns the windows off.";
    }
    return DisplayOpens() ? "" : "The settings window cannot be shown: no display can be opened.";
}

void CloseOwnConsole() {
#ifdef _WIN32
    std::array<DWORD, 2> processes{};
    if (GetConsoleProcessList(processes.data(), static_cast<DWORD>(processes.size())) == 1) {
        FreeConsole();
    }
#endif
}

}  // namespace morvane
