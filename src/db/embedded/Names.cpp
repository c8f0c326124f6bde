// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Names.h"

#include <string>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

namespace {

// What the text is to a statement that goes on behind it; empty when it is not whole in itself.
Tokens TokensOf(std::string_view text) {
    using namespace std::string_view_literals;
    if (text.find_first_of("'\0"sv) != std::string_view::npos) {
        return {};
    }
    try {
        // A comment without its end would swallow the word.
        Tokens tokens = Tokenize(std::string(text) + " _");
        const bool whole = !tokens.empty() && tokens.back().Is("_");
        tokens.resize(whole ? tokens.size() - 1 : 0);
        return tokens;
    } catch (const DatabaseError&) {
        return {};
    }
}

bool IsIdentifier(const Token& token) {
    return token.IsName() && token.Text[0] != '@' && !token.NameText().empty();
}

}  // namespace

bool IsColumnName(std::string_view text) {
    const Tokens tokens = TokensOf(text);
    return tokens.size() == 1 && IsIdentifier(tokens[0]);
}

bool IsTableName(std::string_view text) {
    const Tokens tokens = TokensOf(text);
    const bool owned = tokens.size() == 3 && tokens[0].IsName() &&
                       EqualsIgnoreCase(tokens[0].NameText(), "dbo") && tokens[1].Is(".");
    return (tokens.size() == 1 || owned) && IsIdentifier(tokens.back());
}

}  // namespace morvane::embedded
