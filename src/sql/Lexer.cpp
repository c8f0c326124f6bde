// SPDX-License-Identifier: Apache-2.0
#include "sql/Lexer.h"

#include <algorithm>
#include <array>

#include "base/Text.h"

namespace morvane {

namespace {

bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

bool IsNameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '@' || c == '#' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool IsNameCharacter(char c) {
    return IsNameStart(c) || IsDigit(c) || c == '$';
}

bool EndsInsideText(std::string_view sql) {
    Lexer lexer(sql);
    Lexeme lexeme;
    while (lexer.Next(lexeme)) {
        if (lexeme.Kind == TokenKind::Name) {
            return false;
        }
    }
    return lexeme.Problem == SqlProblem::OpenText;
}

bool Lexeme::Is(std::string_view word) const {
    return (Kind == TokenKind::Word || Kind == TokenKind::Symbol) && EqualsIgnoreCase(Text, word);
}

void Lexer::SkipBlanks() {
    const std::size_t start = position_;
    while (position_ < sql_.size()) {
        if (IsBlank(At(0))) {
            ++position_;
        } else if (At(0) == '-' && At(1) == '-') {
            position_ = std::min(sql_.find('\n', position_), sql_.size());
        } else if (At(0) == '/' && At(1) == '*') {
            SkipComment();
        } else {
            break;
        }
    }
    spaceBefore_ = position_ != start;
}

void Lexer::SkipComment() {
    int depth = 0;
    do {
        if (At(0) == '/' && At(1) == '*') {
            ++depth;
            position_ += 2;
        } else if (At(0) == '*' && At(1) == '/') {
            --depth;
            position_ += 2;
        } else {
            ++position_;
        }
    } while (depth > 0 && position_ < sql_.size());
    endsInComment_ = depth > 0;
}

void Lexer::Skip(std::size_t length) {
    position_ += length;
    SkipBlanks();
}

bool Lexer::Next(Lexeme& lexeme) {
    if (position_ >= sql_.size()) {
        return false;
    }
    lexeme = {};
    lexeme.SpaceBefore = spaceBefore_;
    const std::size_t begin = position_;
    const char c = At(0);
    const bool national = (c == 'N' || c == 'n') && At(1) == '\'';
    if (c == '\'' || national) {
        lexeme.Kind = TokenKind::Text;
        ReadQuoted(lexeme, begin + (national ? 1 : 0), '\'');
    } else if (c == '"' || c == '[') {
        lexeme.Kind = TokenKind::Name;
        ReadQuoted(lexeme, begin, c == '[' ? ']' : c);
    } else if (IsNameStart(c)) {
        lexeme.Kind = TokenKind::Word;
        while (IsNameCharacter(At(0))) {
            ++position_;
        }
    } else if (IsDigit(c) || (c == '.' && IsDigit(At(1)))) {
        lexeme.Kind = TokenKind::Number;
        ReadNumber();
    } else if (c == '?') {
        lexeme.Kind = TokenKind::Parameter;
        do {
            ++position_;
        } while (IsDigit(At(0)));
    } else {
        ReadSymbol(lexeme);
    }
    lexeme.Text = sql_.substr(begin, position_ - begin);
    SkipBlanks();
    return true;
}

// A doubled closing character stands for one.
void Lexer::ReadQuoted(Lexeme& lexeme, std::size_t begin, char closing) {
    for (position_ = begin + 1; position_ < sql_.size(); ++position_) {
        if (At(0) == closing) {
            if (At(1) != closing) {
                ++position_;
                return;
            }
            ++position_;
        }
    }
    position_ = sql_.size();
    lexeme.Problem = lexeme.Kind == TokenKind::Text ? SqlProblem::OpenText : SqlProblem::OpenName;
}

void Lexer::ReadNumber() {
    if (At(0) == '0' && (At(1) == 'x' || At(1) == 'X')) {
        position_ += 2;
        while (IsNameCharacter(At(0))) {
            ++position_;
        }
        return;
    }
    while (IsDigit(At(0)) || At(0) == '.') {
        ++position_;
    }
    const std::size_t sign = At(1) == '+' || At(1) == '-' ? 1 : 0;
    if ((At(0) == 'e' || At(0) == 'E') && IsDigit(At(1 + sign))) {
        position_ += 1 + sign;
        while (IsDigit(At(0))) {
            ++position_;
        }
    }
}

void Lexer::ReadSymbol(Lexeme& lexeme) {
    constexpr std::array<std::string_view, 8> kPairs = {
        "<=", ">=", "<>", "!=", "!<", "!>", "||", "=="};
    constexpr std::string_view kSingles = "+-*/%=<>(),.;&|^~{}:";
    const std::string_view two = sql_.substr(position_, 2);
    if (std::find(kPairs.begin(), kPairs.end(), two) != kPairs.end()) {
        position_ += 2;
        return;
    }
    if (kSingles.find(two[0]) == std::string_view::npos) {
        lexeme.Problem = SqlProblem::UnknownCharacter;
    }
    ++position_;
}

}  // namespace morvane
