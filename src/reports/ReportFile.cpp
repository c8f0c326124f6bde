#include "reports/ReportFile.h"

#include <cstdint>
#include <cstring>

#include "core/Text.h"

namespace morvane {

namespace {

// Eight bytes at a time: nearly every row of a long report passes here and is plain ASCII.
bool IsAscii(std::string_view text) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080U;
    std::uint64_t seen = 0;
    std::size_t i = 0;
    for (; i + sizeof(seen) <= text.size(); i += sizeof(seen)) {
        std::uint64_t eight = 0;
        std::memcpy(&eight, text.data() + i, sizeof(eight));
        seen |= eight;
    }
    for (; i < text.size(); ++i) {
        seen |= static_cast<unsigned char>(text[i]);
    }
    return (seen & kHighBits) == 0;
}

}  // namespace

std::string Lines(std::initializer_list<std::string_view> lines) {
    std::string text;
    for (const std::string_view line : lines) {
        text += line;
        text += kCrLf;
    }
    return text;
}

void ReportFile::WriteLine(std::string_view text) {
    std::string line(text);
    line += kCrLf;
    Write(line);
}

// Converting a whole text gives the same as converting each value in it: the markup around the
// values is ASCII, which ends every cut character.
void ReportFile::Write(std::string_view text) {
    if (IsAscii(text)) {
        file_.Write(text);
    } else {
        ascii_.clear();
        AppendAsciiHtml(ascii_, text);
        file_.Write(ascii_);
    }
}

}  // namespace morvane
