// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/Lexer.h"

namespace morvane {

struct Token;
using Tokens = std::vector<Token>;
// Neighbours in a token tree: a statement, a clause, the contents of a pair of parentheses.
using TokenSpan = std::span<const Token>;

// A token of a statement, or a pair of parentheses with the tokens between them.
struct Token {
    TokenKind Kind = TokenKind::Symbol;
    // In standard form: a name in brackets has double quotes instead, a text has no N. Empty for a
    // group.
    std::string Text;
    bool SpaceBefore = false;
    std::size_t Begin = 0;  // position in the statement's text
    std::size_t End = 0;
    Tokens Inside{};  // of a group

    // True for this word or symbol, ignoring case.
    bool Is(std::string_view text) const;
    bool IsName() const { return Kind == TokenKind::Word || Kind == TokenKind::Name; }
    bool IsGroup() const { return Kind == TokenKind::Group; }
    // A name without its quotes.
    std::string NameText() const;
};

// A statement as a token tree, and what is wrong with it, in the order of the text.
struct ParsedSql {
    morvane::Tokens Tokens;
    std::vector<SqlProblem> Problems;
    std::string_view UnknownCharacter;  // the first one
};

// Reads any text; the tree of a text with problems is incomplete. A name in `linkedServers`
// followed by "." is one token, since it can hold any character.
ParsedSql ParseSql(std::string_view sql, const std::vector<std::string>& linkedServers = {});

// The same for a text that must be a statement. Throws DatabaseError for the first problem.
Tokens Tokenize(std::string_view sql, const std::vector<std::string>& linkedServers = {});

// The tokens as SQL text.
std::string JoinTokens(TokenSpan tokens);

// True if token `i` exists and is this word or symbol.
bool IsAt(TokenSpan tokens, std::size_t i, std::string_view text);
bool IsGroupAt(TokenSpan tokens, std::size_t i);

template <std::size_t N>
bool IsOneOf(const Token& token, const std::array<std::string_view, N>& words) {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view word) { return token.Is(word); });
}

// The position of a word at or after `from`, or the number of tokens.
std::size_t FindWord(TokenSpan tokens, std::string_view word, std::size_t from = 0);

// The tokens between commas. A list without tokens has one empty item.
std::vector<TokenSpan> SplitAtCommas(TokenSpan tokens);

}  // namespace morvane
