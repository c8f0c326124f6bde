// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/StatementCache.h"

#include <charconv>

#include "sql/Lexer.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

bool TakeKeyword(Lexer& lexer, std::string_view keyword) {
    Lexeme lexeme;
    return lexer.Next(lexeme) && lexeme.Is(keyword);
}

// A bare name; empty if there is none.
std::string_view TakeWord(Lexer& lexer) {
    Lexeme lexeme;
    return lexer.Next(lexeme) && lexeme.Kind == TokenKind::Word ? lexeme.Text : std::string_view();
}

bool ParseInteger(std::string_view text, std::int64_t& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

Value& DeleteByLiterals::NextLiteral() {
    if (literalCount_ == literals_.size()) {
        literals_.emplace_back();
    }
    return literals_[literalCount_++];
}

// Reads a text or an integer.
bool DeleteByLiterals::ParseLiteral(Lexer& lexer) {
    Lexeme lexeme;
    if (!lexer.Next(lexeme) || lexeme.Problem) {
        return false;
    }
    if (lexeme.Kind == TokenKind::Text) {
        const std::string_view quoted = lexeme.Text.substr(lexeme.Text[0] == '\'' ? 0 : 1);
        if (quoted.find('\'', 1) == quoted.size() - 1) {
            NextLiteral().SetText(quoted.substr(1, quoted.size() - 2));
        } else {
            NextLiteral().SetText(Unquoted(quoted));
        }
        return true;
    }
    const char* const begin = lexeme.Text.data();
    const bool negative = lexeme.Is("-");
    if (negative && (!lexer.Next(lexeme) || lexeme.SpaceBefore)) {
        return false;
    }
    const auto end = static_cast<std::size_t>(lexeme.Text.data() - begin) + lexeme.Text.size();
    std::int64_t number = 0;
    if (lexeme.Kind != TokenKind::Number || !ParseInteger({begin, end}, number)) {
        return false;
    }
    NextLiteral().SetInteger(number);
    return true;
}

bool DeleteByLiterals::Parse(std::string_view sql) {
    Lexer lexer(sql);
    if (!TakeKeyword(lexer, "delete") || !TakeKeyword(lexer, "from")) {
        return false;
    }
    const std::string_view table = TakeWord(lexer);
    if (table.empty() || !TakeKeyword(lexer, "where")) {
        return false;
    }
    shape_ = "DELETE FROM ";
    shape_ += table;
    shape_ += " WHERE ";
    literalCount_ = 0;
    while (true) {
        const std::string_view column = TakeWord(lexer);
        if (column.empty() || !TakeKeyword(lexer, "=") || !ParseLiteral(lexer)) {
            return false;
        }
        shape_ += column;
        shape_ += " = ?";
        Lexeme lexeme;
        if (!lexer.Next(lexeme)) {
            literals_.resize(literalCount_);
            return !lexer.EndsInComment();
        }
        if (!lexeme.Is("and")) {
            return false;
        }
        shape_ += " AND ";
    }
}

}  // namespace morvane::embedded
