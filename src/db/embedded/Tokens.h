// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace morvane::embedded {

enum class TokenKind {
    Word,       // a keyword or a bare name
    Name,       // a name in brackets or double quotes
    Text,       // a text literal, with or without the N before it
    Number,     // a number literal
    Parameter,  // ?
    Symbol,     // an operator or punctuation, one or two characters
};

struct Token {
    TokenKind Kind = TokenKind::Symbol;
    // The token as SQLite may read it: names in brackets stay so, a text has lost its N.
    std::string Text;
    bool SpaceBefore = false;

    // A word or symbol, letter case ignored.
    bool Is(std::string_view text) const;
    bool IsName() const { return Kind == TokenKind::Word || Kind == TokenKind::Name; }
    // What a name names, without its quotes.
    std::string NameText() const;
};

template <std::size_t N>
bool IsOneOf(const Token& token, const std::array<std::string_view, N>& words) {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view word) { return token.Is(word); });
}

// Splits a statement into tokens; comments count as blanks. The name of a linked server, which may
// hold any character, is one token where a "." follows it. Throws DatabaseError for a text, name or
// comment without its end and for a character that no statement holds.
std::vector<Token> Tokenize(std::string_view sql,
                            const std::vector<std::string>& linkedServers = {});

// What a text literal says: without its quotes, a doubled quote as one.
std::string LiteralText(std::string_view quoted);

// The tokens as a statement again.
std::string JoinTokens(const std::vector<Token>& tokens, std::size_t begin, std::size_t end);

// The position of the parenthesis that closes the one at `open`. Throws DatabaseError.
std::size_t ClosingParenthesis(const std::vector<Token>& tokens, std::size_t open);

}  // namespace morvane::embedded
