// SPDX-License-Identifier: Apache-2.0
#include "run/Console.h"

#include "base/Text.h"
#include "run/CancelSignals.h"

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#else
#include <poll.h>
#include <unistd.h>

#include <csignal>
#endif

namespace morvane {

std::string ForConsole(std::string_view text) {
    std::string lines;
    lines.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.substr(i, kCrLf.size()) != kCrLf) {
            lines += text[i];
        }
    }
    return ToVisible(lines, "\n\t");
}

void WriteConsoleText(std::ostream& stream, std::string_view text) {
    const std::size_t first = text.find_first_not_of(kCrLf);
    if (first == std::string_view::npos) {
        return;
    }
    stream << ForConsole(text.substr(first, text.find_last_not_of(kCrLf) - first + 1)) << '\n'
           << std::flush;
}

#ifdef _WIN32

Utf8Console::Utf8Console() : formerCodePage_(GetConsoleOutputCP()) {
    SetConsoleOutputCP(CP_UTF8);
}

Utf8Console::~Utf8Console() {
    if (formerCodePage_ != 0) {
        SetConsoleOutputCP(formerCodePage_);
    }
}

#else

Utf8Console::Utf8Console() = default;
Utf8Console::~Utf8Console() = default;

#endif

ConsolePrompt::ConsolePrompt(std::ostream& stream, LineReader readLine)
    : stream_(stream), readLine_(std::move(readLine)) {}

void ConsolePrompt::ShowMessage(std::string_view title, std::string_view text, MessageStyle) {
    WriteConsoleText(stream_, std::string(title) + ": " + std::string(text));
}

std::optional<bool> ConsolePrompt::AskYesNo(std::string_view title, std::string_view question,
                                            DefaultAnswer) {
    while (readLine_) {
        stream_ << ForConsole(title) << ": " << ForConsole(question) << " [yes/no] " << std::flush;
        const std::optional<std::string> line = readLine_();
        if (!line.has_value()) {
            stream_ << '\n' << std::flush;
            break;
        }
        const std::string answer = ToLower(Trim(*line));
        if (answer == "y" || answer == "yes") {
            return true;
        }
        if (answer == "n" || answer == "no") {
            return false;
        }
    }
    return std::nullopt;
}

namespace {

#ifdef _WIN32

// The following read returns on Ctrl+C.
bool WaitForInput(int) {
    return !CancelSignals::Received();
}

bool ReadCharacter(int fileDescriptor, char& c) {
    return _read(fileDescriptor, &c, 1) == 1;
}

bool IsTerminal(int fileDescriptor) {
    return _isatty(fileDescriptor) != 0;
}

#else

// False if a signal to cancel was received, before or during the wait. The signals are unblocked
// only inside ppoll(), so none can arrive unnoticed between the check and the wait.
bool WaitForInput(int fileDescriptor) {
    sigset_t cancelling;
    sigset_t former;
    sigemptyset(&cancelling);
    for (const int number : kCancelSignals) {
        sigaddset(&cancelling, number);
    }
    pthread_sigmask(SIG_BLOCK, &cancelling, &former);
    pollfd waiting{fileDescriptor, POLLIN, 0};
    const bool ready = !CancelSignals::Received() && ppoll(&waiting, 1, nullptr, &former) > 0;
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    return ready;
}

bool ReadCharacter(int fileDescriptor, char& c) {
    return read(fileDescriptor, &c, 1) == 1;
}

bool IsTerminal(int fileDescriptor) {
    return isatty(fileDescriptor) != 0;
}

#endif

constexpr int kStandardInput = 0;
constexpr int kStandardError = 2;

}  // namespace

LineReader ReadLinesFrom(int fileDescriptor) {
    return [fileDescriptor]() -> std::optional<std::string> {
        std::string line;
        for (;;) {
            char c = 0;
            if (!WaitForInput(fileDescriptor) || !ReadCharacter(fileDescriptor, c)) {
                return std::nullopt;
            }
            if (c == '\n') {
                return line;
            }
            line += c;
        }
    };
}

LineReader TerminalReader() {
    return IsTerminal(kStandardInput) && IsTerminal(kStandardError) ? ReadLinesFrom(kStandardInput)
                                                                    : LineReader();
}

}  // namespace morvane
