// SPDX-License-Identifier: Apache-2.0
#include "run/ProcessArguments.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "base/Text.h"

#ifdef _WIN32
#include <windows.h>

#include "base/Platform.h"
#endif

namespace morvane {

namespace {

constexpr std::string_view kPasswordMark = "pwd";

// Leaves one star to show that there was a value, and zeroes the rest: as many stars as characters
// would reveal the length.
void Hide(char* text) {
    const std::size_t length = std::strlen(text);
    std::fill_n(text, length, '\0');
    if (length > 0) {
        *text = '*';
    }
}

// The end of the option name if the argument is a password option, else null.
char* EndOfPasswordOption(char* argument) {
    const std::string lower = ToLower(argument);
    const std::size_t mark = lower.find(kPasswordMark);
    const bool mayBeOption = lower.find_first_of("-/\"") == 0;
    return mayBeOption && mark != std::string::npos ? argument + mark + kPasswordMark.size()
                                                    : nullptr;
}

bool OpensOrClosesQuotes(std::string_view argument) {
    return std::count(argument.begin(), argument.end(), '"') % 2 != 0;
}

}  // namespace

std::string ComposeCommandLine(int argc, const char* const* argv) {
    std::vector<std::string> pieces;
    for (int i = 1; i < argc; ++i) {
        std::string argument = argv[i];
        argument.erase(argument.find_last_not_of("\r\n") + 1);
        const bool plain = !argument.empty() && argument.find_first_of(" \t") == std::string::npos;
        pieces.push_back(plain ? argument : '"' + argument + '"');
    }
    return Join(pieces, " ");
}

std::string_view AfterProgramName(std::string_view wholeLine) {
    bool inQuotes = false;
    std::size_t end = 0;
    for (; end < wholeLine.size(); ++end) {
        const char c = wholeLine[end];
        inQuotes = inQuotes != (c == '"');
        if (!inQuotes && (c == ' ' || c == '\t')) {
            break;
        }
    }
    const std::string_view rest = wholeLine.substr(end);
    return rest.substr(std::min(rest.find_first_not_of(" \t"), rest.size()));
}

#ifdef _WIN32

std::string ProcessCommandLine(int, const char* const*) {
    return std::string(AfterProgramName(ToUtf8(GetCommandLineW())));
}

#else

std::string ProcessCommandLine(int argc, const char* const* argv) {
    return ComposeCommandLine(argc, argv);
}

#endif

void HidePasswords(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        char* rest = EndOfPasswordOption(argv[i]);
        if (rest == nullptr) {
            continue;
        }
        bool inQuotes = OpensOrClosesQuotes(rest);
        const bool valueFollows = *rest == '\0';
        Hide(rest);
        // The shell splits a value in quotes at its blanks.
        for (bool first = valueFollows; (first || inQuotes) && i + 1 < argc; first = false) {
            ++i;
            inQuotes = inQuotes != OpensOrClosesQuotes(argv[i]);
            Hide(argv[i]);
        }
    }
}

std::string TakeCommandLine(int argc, char** argv) {
    std::string commandLine = ProcessCommandLine(argc, argv);
    HidePasswords(argc, argv);
    return commandLine;
}

}  // namespace morvane
