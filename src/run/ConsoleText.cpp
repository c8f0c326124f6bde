// SPDX-License-Identifier: Apache-2.0
#include "run/ConsoleText.h"

#include "base/Text.h"

#ifdef _WIN32
#include <windows.h>
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

}  // namespace morvane
