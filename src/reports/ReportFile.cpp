// SPDX-License-Identifier: Apache-2.0
#include "reports/ReportFile.h"

#include "base/Text.h"

namespace morvane {

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
