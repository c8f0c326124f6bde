// SPDX-License-Identifier: Apache-2.0
#include "base/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace morvane {

namespace {

char LowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char UpperAscii(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

struct CodePoint {
    std::uint32_t value;
    std::size_t bytes;
};

constexpr std::uint32_t kReplacementCharacter = 0xFFFD;

// Decodes the first character. Overlong forms, surrogates and truncated sequences give a
// replacement character of one byte.
CodePoint DecodeFirst(std::string_view utf8) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(utf8[i]); };
    const unsigned char lead = byteAt(0);
    std::size_t length = 0;
    std::uint32_t value = 0;
    std::uint32_t smallest = 0;
    if (lead < 0x80) {
        return {lead, 1};
    }
    if ((lead & 0xE0U) == 0xC0U) {
        length = 2, value = lead & 0x1FU, smallest = 0x80;
    } else if ((lead & 0xF0U) == 0xE0U) {
        length = 3, value = lead & 0x0FU, smallest = 0x800;
    } else if ((lead & 0xF8U) == 0xF0U) {
        length = 4, value = lead & 0x07U, smallest = 0x10000;
    }
    if (length == 0 || utf8.size() < length) {
        return {kReplacementCharacter, 1};
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(i) & 0xC0U) != 0x80U) {
            return {kReplacementCharacter, 1};
        }
        value = (value << 6U) | (byteAt(i) & 0x3FU);
    }
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < smallest || value > 0x10FFFF || surrogate) {
        return {kReplacementCharacter, 1};
    }
    return {value, length};
}

// Whether a terminal interprets the character instead of displaying it.
bool ActsOnTerminal(std::uint32_t c) {
    const bool controls = c < 0x20 || (c >= 0x7F && c < 0xA0);
    const bool directs = c == 0x061C || c == 0x200E || c == 0x200F ||
                         (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
    const bool endsLine = c == 0x2028 || c == 0x2029;
    return controls || directs || endsLine;
}

}  // namespace

std::string_view Trim(std::string_view text, std::string_view characters) {
    const std::size_t first = text.find_first_not_of(characters);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(characters) - first + 1);
}

std::string ToLower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerAscii);
    return lower;
}

std::string ToUpper(std::string_view text) {
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(), UpperAscii);
    return upper;
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return LowerAscii(x) == LowerAscii(y); });
}

// Tests eight bytes at a time: every value of a long report is checked.
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

std::size_t Utf16Length(std::string_view utf8) {
    std::size_t units = 0;
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        const bool continues = (byte & 0xC0) == 0x80;
        units += continues ? 0 : byte >= 0xF0 ? 2 : 1;
    }
    return units;
}

std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> pieces;
    while (true) {
        const std::size_t end = text.find(separator);
        pieces.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return pieces;
        }
        text.remove_prefix(end + 1);
    }
}

std::vector<std::string> SplitColumnList(std::string_view list) {
    std::vector<std::string> names = Split(list, ',');
    for (std::string& name : names) {
        name = Trim(name);
    }
    return names;
}

std::string Join(const std::vector<std::string>& pieces, std::string_view separator) {
    return fmt::format("{}", fmt::join(pieces, separator));
}

std::string OneLine(std::string_view text) {
    std::string line;
    for (const char c : text) {
        const bool space = kWhiteSpace.find(c) != std::string_view::npos;
        if (!space || line.empty() || line.back() != ' ') {
            line += space ? ' ' : c;
        }
    }
    return line;
}

std::string ToVisible(std::string_view utf8, std::string_view kept) {
    std::string shown;
    while (!utf8.empty()) {
        const CodePoint character = DecodeFirst(utf8);
        const bool invalid = character.value == kReplacementCharacter && character.bytes == 1;
        if (invalid || character.value < 0x20 || character.value == 0x7F) {
            const char c = utf8.front();
            shown += kept.find(c) != std::string_view::npos
                         ? std::string(1, c)
                         : fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        } else if (ActsOnTerminal(character.value)) {
            shown += fmt::format("\\u{:04x}", character.value);
        } else {
            shown += utf8.substr(0, character.bytes);
        }
        utf8.remove_prefix(character.bytes);
    }
    return shown;
}

void AppendAsciiHtml(std::string& out, std::string_view utf8) {
    while (!utf8.empty()) {
        const auto beyond = std::find_if(
            utf8.begin(), utf8.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
        const auto plain = static_cast<std::size_t>(beyond - utf8.begin());
        out.append(utf8.substr(0, plain));
        utf8.remove_prefix(plain);
        if (!utf8.empty()) {
            const CodePoint character = DecodeFirst(utf8);
            const fmt::format_int number(character.value);
            out += "&#";
            out.append(number.data(), number.size());
            out += ';';
            utf8.remove_prefix(character.bytes);
        }
    }
}

}  // namespace morvane
