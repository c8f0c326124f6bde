#include "run/ConsolePrompt.h"

#include <string>

#include "core/Text.h"
#include "run/ConsoleText.h"

#ifdef _WIN32
#include <io.h>

#include <iostream>
#else
#include <poll.h>
#include <unistd.h>

#include <csignal>

#include "run/CancelSignals.h"
#endif

namespace morvane {

ConsolePrompt::ConsolePrompt(std::ostream& stream, LineReader readLine)
    : stream_(stream), readLine_(std::move(readLine)) {}

void ConsolePrompt::ShowMessage(std::string_view title, std::string_view text, MessageStyle) {
    WriteConsoleText(stream_, std::string(title) + ": " + std::string(text));
}

std::optional<bool> ConsolePrompt::AskYesNo(std::string_view title, std::string_view question) {
    while (readLine_) {
        stream_ << title << ": " << question << " [yes/no] " << std::flush;
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

#ifdef _WIN32

LineReader ReadLinesFrom(int) {
    return []() -> std::optional<std::string> {
        std::string line;
        return std::getline(std::cin, line) ? std::optional(line) : std::nullopt;
    };
}

LineReader TerminalReader() {
    return _isatty(0) != 0 && _isatty(2) != 0 ? ReadLinesFrom(0) : LineReader();
}

#else

namespace {

// False when a signal to cancel has come, before or while waiting. Between the look at it and the
// wait none can slip in: the signals are let through by the wait alone.
bool WaitForInput(int fileDescriptor) {
    sigset_t cancelling;
    sigset_t former;
    sigemptyset(&cancelling);
    sigaddset(&cancelling, SIGINT);
    sigaddset(&cancelling, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &cancelling, &former);
    pollfd waiting{fileDescriptor, POLLIN, 0};
    const bool ready = !CancelSignals::Received() && ppoll(&waiting, 1, nullptr, &former) > 0;
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    return ready;
}

}  // namespace

LineReader ReadLinesFrom(int fileDescriptor) {
    return [fileDescriptor]() -> std::optional<std::string> {
        std::string line;
        for (;;) {
            char c = 0;
            if (!WaitForInput(fileDescriptor) || read(fileDescriptor, &c, 1) != 1) {
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
    return isatty(STDIN_FILENO) != 0 && isatty(STDERR_FILENO) != 0 ? ReadLinesFrom(STDIN_FILENO)
                                                                   : LineReader();
}

#endif

}  // namespace morvane
