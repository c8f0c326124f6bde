// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

// The line end in every file that the program writes.
inline constexpr std::string_view kCrLf = "\r\n";

// The white space of ASCII.
inline constexpr std::string_view kWhiteSpace = " \t\r\n\f\v";

// Removes leading and trailing characters, by default only U+0020, like the server's LTRIM and
// RTRIM.
std::string_view Trim(std::string_view text, std::string_view characters = " ");

std::string ToLower(std::string_view text);
std::string ToUpper(std::string_view text);

// Ignores the case of ASCII letters.
bool EqualsIgnoreCase(std::string_view a, std::string_view b);

bool IsAscii(std::string_view text);

// The number of UTF-16 code units of a UTF-8 text.
std::size_t Utf16Length(std::string_view utf8);

// The pieces between separators, untrimmed; an empty text gives one empty piece.
std::vector<std::string> Split(std::string_view text, char separator);

// The names in a comma-separated column list, trimmed.
std::vector<std::string> SplitColumnList(std::string_view list);

std::string Join(const std::vector<std::string>& pieces, std::string_view separator);

// Replaces each run of white space by one space.
std::string OneLine(std::string_view text);

// Escapes what a terminal would interpret, as "\x1b" or "\u202e": control characters other than
// those in `kept`, line separators, bidirectional controls and invalid UTF-8.
std::string ToVisible(std::string_view utf8, std::string_view kept);

// Appends a text with numeric character references ("&#233;") instead of non-ASCII characters, so
// that a browser needs no charset. Invalid UTF-8 becomes U+FFFD.
void AppendAsciiHtml(std::string& out, std::string_view utf8);

}  // namespace morvane
