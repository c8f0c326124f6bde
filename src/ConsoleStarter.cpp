// SPDX-License-Identifier: Apache-2.0
// morvane.com is what the command "morvane" runs in a Windows console, because command interpreters
// try .com before .exe. A console does not wait for a GUI program such as morvane.exe. This program
// starts it in its own folder with the same arguments, waits for it and returns its exit code.
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

constexpr int kCannotStart = 2;

// Ignores Ctrl+C and Ctrl+Break, which morvane.exe gets as well and handles. When the console is
// closed, Windows ends this process as soon as this returns, or some seconds later.
BOOL WINAPI LeaveToProgram(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        Sleep(INFINITE);
    }
    return TRUE;
}

std::wstring ProgramPath() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.find_last_of(L'.')) + L".exe";
}

}  // namespace

int main() {
    SetConsoleCtrlHandler(LeaveToProgram, TRUE);
    const std::wstring program = ProgramPath();
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(program.c_str(), GetCommandLineW(), nullptr, nullptr, TRUE, 0, nullptr,
                        nullptr, &start, &started)) {
        std::fprintf(stderr, "Cannot start morvane.exe: error %lu\n", GetLastError());
        return kCannotStart;
    }
    WaitForSingleObject(started.hProcess, INFINITE);
    DWORD code = kCannotStart;
    GetExitCodeProcess(started.hProcess, &code);
    return static_cast<int>(code);
}
