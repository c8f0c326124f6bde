// SPDX-License-Identifier: Apache-2.0
#include "sql/Quoting.h"

#include <algorithm>

#include "sql/Keywords.h"
#include "sql/Lexer.h"

namespace morvane {

std::string Quoted(std::string_view text, char opening, char closing) {
    std::string quoted(1, opening);
    for (const char c : text) {
        quoted += c;
        if (c == closing) {
            quoted += c;
        }
    }
    return quoted += closing;
}

std::string QuotedName(std::string_view name) {
    return Quoted(name, '"', '"');
}

std::string QuotedText(std::string_view text) {
    return Quoted(text, '\'', '\'');
}

std::string WideLiteral(std::string_view text) {
    return "N" + QuotedText(text);
}

std::string Unquoted(std::string_view quoted) {
    std::string text;
    for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
        text += quoted[i];
        i += quoted[i] == quoted.back() ? 1U : 0U;
    }
    return text;
}

std::string SqlName(std::string_view name) {
    const bool plain = !name.empty() && IsNameStart(name[0]) &&
                       std::all_of(name.begin(), name.end(), IsNameCharacter);
    return plain && !HasRole(name, KeywordRole::Reserved) ? std::string(name)
                                                          : Quoted(name, '[', ']');
}

}  // namespace morvane
