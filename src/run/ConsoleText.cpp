#include "run/ConsoleText.h"

#include <algorithm>
#include <string>

#ifdef _WIN32
#include <windows.h>
#endif

namespace morvane {

void WriteConsoleText(std::ostream& stream, std::string_view text) {
    constexpr std::string_view kLineBreaks = "\r\n";
    const std::size_t first = text.find_first_not_of(kLineBreaks);
    if (first == std::string_view::npos) {
        return;
    }
    std::string lines(text.substr(first, text.find_last_not_of(kLineBreaks) - first + 1));
    lines.erase(std::remove(lines.begin(), lines.end(), '\r'), lines.end());
    stream << lines << '\n' << std::flush;
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
