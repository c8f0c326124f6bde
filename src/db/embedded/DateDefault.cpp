// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/DateDefault.h"

#include "base/Text.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

std::string ServerDefault(std::string_view sqliteDefault) {
    Tokens tokens = Tokenize(sqliteDefault);
    while (tokens.size() == 1 && tokens[0].IsGroup()) {
        tokens = Tokens(std::move(tokens[0].Inside));
    }
    if (tokens.empty()) {
        return {};
    }
    const std::string text = JoinTokens(tokens);
    if (text == kLocalTimeDefault || EqualsIgnoreCase(text, "current_timestamp")) {
        return "getdate()";
    }
    const Token& last = tokens.back();
    const bool literal =
        (last.Kind == TokenKind::Text || last.Kind == TokenKind::Number || last.Is("null")) &&
        (tokens.size() == 1 || (tokens.size() == 2 && tokens[0].Is("-")));
    return literal ? text : "(" + text + ")";
}

}  // namespace morvane::embedded
