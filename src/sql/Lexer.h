// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace morvane {

enum class TokenKind {
    Word,       // a keyword or a bare name
    Name,       // a name in brackets or double quotes
    Text,       // a text literal, with or without the N prefix
    Number,     // a number literal
    Parameter,  // ? or ?1
    Symbol,     // an operator or punctuation, one or two characters
    Group,      // parentheses and their contents; only in a token tree
};

// Why a text cannot be a statement.
enum class SqlProblem {
    UnknownCharacter,
    OpenText,
    OpenName,
    OpenComment,
    OpenParenthesis,
    ExtraParenthesis,
    TooDeep,  // too many nested parentheses
};

// A token as written. It points into the statement's text.
struct Lexeme {
    TokenKind Kind = TokenKind::Symbol;
    std::string_view Text;
    bool SpaceBefore = false;  // white space or a comment
    std::optional<SqlProblem> Problem;

    // True for this word or symbol, ignoring case.
    bool Is(std::string_view word) const;
};

// Reads T-SQL token by token without allocating. Comments nest and count as white space. An open
// literal, name or comment extends to the end of the text.
class Lexer {
  public:
    explicit Lexer(std::string_view sql) : sql_(sql) { SkipBlanks(); }

    // False at the end of the text.
    bool Next(Lexeme& lexeme);

    // Where the next token begins, and whether white space or a comment precedes it.
    std::size_t Position() const { return position_; }
    bool SpaceBefore() const { return spaceBefore_; }
    // Moves past a token that the caller recognized itself, and the white space after it.
    void Skip(std::size_t length);
    bool EndsInComment() const { return endsInComment_; }

  private:
    char At(std::size_t offset) const {
        return position_ + offset < sql_.size() ? sql_[position_ + offset] : '\0';
    }
    void SkipBlanks();
    void SkipComment();
    void ReadQuoted(Lexeme& lexeme, std::size_t begin, char closing);
    void ReadNumber();
    void ReadSymbol(Lexeme& lexeme);

    std::string_view sql_;
    std::size_t position_ = 0;
    bool spaceBefore_ = false;
    bool endsInComment_ = false;
};

// True if the statement ends inside a text literal and has no quoted names, so that no server can
// accept it, whatever its settings.
bool EndsInsideText(std::string_view sql);

// The characters of bare names.
bool IsNameStart(char c);
bool IsNameCharacter(char c);

}  // namespace morvane
