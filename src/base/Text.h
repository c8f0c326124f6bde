// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

// The line end of every file that the program writes.
inline constexpr std::string_view kCrLf = "\r\n";

// Without leading and trailing blanks (the character 32 alone, as the server's own trim does).
std::string_view Trim(std::string_view text);

std::string ToLower(std::string_view text);
std::string ToUpper(std::string_view text);

// Letter case of ASCII letters ignored.
bool EqualsIgnoreCase(std::string_view a, std::string_view b);

bool IsAscii(std::string_view text);

// The number of 16-bit units that a UTF-8 text takes as UTF-16.
std::size_t Utf16Length(std::string_view utf8);

// The pieces between separators, as they stand; an empty text is one empty piece.
std::vector<std::string> Split(std::string_view text, char separator);

// The comma-separated names of a key column list, each without its surrounding blanks.
std::vector<std::string> SplitColumnList(std::string_view list);

std::string Join(const std::vector<std::string>& pieces, std::string_view separator);

// The text without what would act on a terminal: control characters but those in `kept`, characters
// that change the direction of writing, and invalid UTF-8 stand as "\x1b" or "\u202e".
std::string ToVisible(std::string_view utf8, std::string_view kept);

// ASCII text in which every character beyond ASCII stands as a numeric character reference
// ("&#233;"), so that a browser needs no charset. Bytes that are no UTF-8 become U+FFFD.
std::string ToAsciiHtml(std::string_view utf8);

// As ToAsciiHtml, added to the end of `out`; spares a long report one string a row.
void AppendAsciiHtml(std::string& out, std::string_view utf8);

}  // namespace morvane
