// SPDX-License-Identifier: Apache-2.0
#include "run/ProcessArguments.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/Text.h"
#include "run/CommandLine.h"

namespace morvane {

namespace {

constexpr std::string_view kPasswordMark = "pwd";

// One star stays, so that whoever looks sees that there was something. The rest are terminating
// nulls: as many stars as letters would tell the length.
void Hide(char* text) {
    const std::size_t length = std::strlen(text);
    std::fill_n(text, length, '\0');
    if (length > 0) {
        *text = '*';
    }
}

// Where the option's own name ends when the argument names a password, null when it does not.
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

void HidePasswords(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        char* rest = EndOfPasswordOption(argv[i]);
        if (rest == nullptr) {
            continue;
        }
        bool inQuotes = OpensOrClosesQuotes(rest);
        const bool valueFollows = *rest == '\0';
        Hide(rest);
        // A value in quotes may have been split at its blanks.
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
