#include "run/ConsoleText.h"

#include <algorithm>
#include <string>

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

}  // namespace morvane
