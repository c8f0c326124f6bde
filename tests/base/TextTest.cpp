// SPDX-License-Identifier: Apache-2.0
#include "base/Text.h"

#include <gtest/gtest.h>

#include "support/Texts.h"

namespace morvane::testing {
namespace {

TEST(Text, TrimRemovesSpacesOnly) {
    EXPECT_EQ(Trim("  \ta b\t "), "\ta b\t");
    EXPECT_EQ(Trim("   "), "");
    EXPECT_EQ(Trim(""), "");
}

TEST(Text, SplitKeepsEmptyPiecesAndColumnListsAreTrimmed) {
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(Split("", ','), Pieces{""});
    EXPECT_EQ(Split(",a, b,", ','), (Pieces{"", "a", " b", ""}));
    EXPECT_EQ(SplitColumnList(" id , line no,"), (Pieces{"id", "line no", ""}));
    EXPECT_EQ(Join({"a", "", "b"}, ", "), "a, , b");
    EXPECT_EQ(Join({}, ","), "");
}

TEST(Text, CaseConversionIsLimitedToAscii) {
    EXPECT_TRUE(EqualsIgnoreCase("dwm_Tables", "DWM_tABLES"));
    EXPECT_FALSE(EqualsIgnoreCase("dwm", "dwm_"));
    EXPECT_FALSE(EqualsIgnoreCase("[", "{"));
    EXPECT_EQ(ToUpper("a\u00e9z{"), "A\u00e9Z{");
    EXPECT_EQ(ToLower("A\u00c9Z["), "a\u00c9z[");
}

TEST(Text, EscapesTerminalControls) {
    for (const auto& [text, shown] : std::vector<std::pair<std::string, std::string>>{
             {"a\u00e9\u20ac\U0001F600 ~", "a\u00e9\u20ac\U0001F600 ~"},
             {"\x1b[2J\x07\x7f\n\r", "\\x1b[2J\\x07\\x7f\n\\x0d"},
             {"\u009b31m\u0085\u00a0", "\\u009b31m\\u0085\u00a0"},
             {"\u202egpj.\u2066\u061c", "\\u202egpj.\\u2066\\u061c"},
             {"\x9b\xc3(\ufffd", "\\x9b\\xc3(\ufffd"}}) {
        EXPECT_EQ(ToVisible(text, "\n"), shown);
    }
}

std::string ToAsciiHtml(std::string_view utf8) {
    std::string ascii;
    AppendAsciiHtml(ascii, utf8);
    return ascii;
}

TEST(AsciiHtml, NonAsciiCharactersBecomeReferences) {
    EXPECT_EQ(ToAsciiHtml("<\xC2\x80\u07FF\u0800\u20AC\uFFFF\U00010000\U0010FFFF&"),
              "<&#128;&#2047;&#2048;&#8364;&#65535;&#65536;&#1114111;&");
    EXPECT_EQ(ToAsciiHtml(std::string("a\0<b>\t\r\n", 9)), std::string("a\0<b>\t\r\n", 9));
}

// "!" stands for a replacement character.
TEST(AsciiHtml, InvalidUtf8BecomesReplacementCharacters) {
    for (const auto& [text, expected] : std::vector<std::pair<const char*, const char*>>{
             {"\xC3", "!"},                 // truncated at the end
             {"\xE2\x82</TD>", "!!</TD>"},  // truncated by the next character
             {"\xA9x", "!x"},               // continuation byte without a lead
             {"\xC0\xAF", "!!"},            // overlong "/"
             {"\xE0\x80\xBC", "!!!"},       // overlong "<"
             {"\xED\xA0\x80", "!!!"},       // surrogate
             {"\xF4\x90\x80\x80", "!!!!"},  // beyond U+10FFFF
             {"\xFF"
              "e \u20ac",
              "!e &#8364;"}}) {
        EXPECT_EQ(ToAsciiHtml(text), ReplaceAll(expected, "!", "&#65533;"));
    }
}

}  // namespace
}  // namespace morvane::testing
