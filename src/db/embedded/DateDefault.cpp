// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/DateDefault.h"

#include "base/Text.h"
#include "db/embedded/Tokens.h"

namespace morvane::embedded {

std::string ServerDefault(std::string_view sqliteDefault) {
    std::vector<Token> tokens = Tokenize(sqliteDefault);
    while (tokens.size() > 2 && tokens.front().Is("(") &&
           ClosingParenthesis(tokens, 0) + 1 == tokens.size()) {
        tokens.erase(tokens.begin());
        tokens.pop_back();
    }
    if (tokens.empty()) {
        return {};
    }
    const std::string text = JoinTokens(tokens, 0, tokens.size());
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
