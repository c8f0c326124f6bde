// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Tokens.h"

#include <array>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsWordStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '@' || c == '#' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool IsWordPart(char c) {
    return IsWordStart(c) || IsDigit(c) || c == '$';
}

class Scanner {
  public:
    Scanner(std::string_view sql, const std::vector<std::string>& linkedServers)
        : sql_(sql), linkedServers_(linkedServers) {}

    std::vector<Token> Run() {
        std::vector<Token> tokens;
        bool space = SkipBlanks();
        while (position_ < sql_.size()) {
            Token token = Next();
            token.SpaceBefore = space || (!tokens.empty() && WouldMerge(tokens.back(), token));
            tokens.push_back(std::move(token));
            space = SkipBlanks();
        }
        return tokens;
    }

  private:
    // 'a'N'b' and [a][b]: two that SQLite would read as one with a doubled quote in it.
    static bool WouldMerge(const Token& first, const Token& second) {
        return first.Kind == second.Kind &&
               (first.Kind == TokenKind::Text || first.Kind == TokenKind::Name);
    }

    char At(std::size_t offset) const {
        return position_ + offset < sql_.size() ? sql_[position_ + offset] : '\0';
    }

    bool SkipBlanks() {
        const std::size_t start = position_;
        while (position_ < sql_.size()) {
            if (IsBlank(At(0))) {
                ++position_;
            } else if (At(0) == '-' && At(1) == '-') {
                const std::size_t end = sql_.find('\n', position_);
                position_ = end == std::string_view::npos ? sql_.size() : end;
            } else if (At(0) == '/' && At(1) == '*') {
                SkipComment();
            } else {
                break;
            }
        }
        return position_ != start;
    }

    // The server's comments nest.
    void SkipComment() {
        int depth = 0;
        do {
            if (position_ >= sql_.size()) {
                Fail("Missing end comment mark '*/'.");
            }
            if (At(0) == '/' && At(1) == '*') {
                ++depth;
                position_ += 2;
            } else if (At(0) == '*' && At(1) == '/') {
                --depth;
                position_ += 2;
            } else {
                ++position_;
            }
        } while (depth > 0);
    }

    // The linked server whose name stands here with a "." after it; empty when none does.
    std::string_view ServerHere() const {
        for (const std::string& server : linkedServers_) {
            if (At(server.size()) == '.' &&
                EqualsIgnoreCase(sql_.substr(position_, server.size()), server)) {
                return server;
            }
        }
        return {};
    }

    Token Next() {
        if (const std::string_view server = ServerHere(); !server.empty()) {
            position_ += server.size();
            return {TokenKind::Name, QuotedName(server), false};
        }
        const char c = At(0);
        if ((c == 'N' || c == 'n') && At(1) == '\'') {
            ++position_;
            return Quoted(TokenKind::Text, '\'');
        }
        if (c == '\'') {
            return Quoted(TokenKind::Text, '\'');
        }
        if (c == '"') {
            return Quoted(TokenKind::Name, '"');
        }
        if (c == '[') {
            return Bracketed();
        }
        if (IsWordStart(c)) {
            return Run(TokenKind::Word, IsWordPart);
        }
        if (IsDigit(c) || (c == '.' && IsDigit(At(1)))) {
            return Number();
        }
        return Symbol();
    }

    Token Run(TokenKind kind, bool (*belongs)(char)) {
        const std::size_t start = position_;
        while (position_ < sql_.size() && belongs(At(0))) {
            ++position_;
        }
        return {kind, std::string(sql_.substr(start, position_ - start)), false};
    }

    Token Quoted(TokenKind kind, char quote) {
        const std::size_t start = position_;
        ++position_;
        while (true) {
            if (position_ >= sql_.size()) {
                Fail("Unclosed quotation mark.");  // not its text: that may be a password's
            }
            if (At(0) == quote) {
                if (At(1) != quote) {
                    break;
                }
                ++position_;
            }
            ++position_;
        }
        ++position_;
        return {kind, std::string(sql_.substr(start, position_ - start)), false};
    }

    // A name in brackets becomes one in double quotes: SQLite knows no "]]" inside brackets.
    Token Bracketed() {
        std::string name = "\"";
        for (++position_;; ++position_) {
            if (position_ >= sql_.size()) {
                Fail("Unclosed bracket in a name.");
            }
            const char c = At(0);
            if (c == ']') {
                if (At(1) != ']') {
                    break;
                }
                ++position_;
            }
            name += c;
            if (c == '"') {
                name += c;
            }
        }
        ++position_;
        return {TokenKind::Name, name + '"', false};
    }

    Token Number() {
        const std::size_t start = position_;
        if (At(0) == '0' && (At(1) == 'x' || At(1) == 'X')) {
            position_ += 2;
            while (IsWordPart(At(0))) {
                ++position_;
            }
        } else {
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
        return {TokenKind::Number, std::string(sql_.substr(start, position_ - start)), false};
    }

    Token Symbol() {
        constexpr std::array<std::string_view, 8> kPairs = {
            "<=", ">=", "<>", "!=", "!<", "!>", "||", "=="};
        constexpr std::string_view kSingles = "+-*/%=<>(),.;&|^~{}?:";
        const std::string_view rest = sql_.substr(position_);
        for (const std::string_view pair : kPairs) {
            if (rest.substr(0, 2) == pair) {
                position_ += 2;
                return {TokenKind::Symbol, std::string(pair), false};
            }
        }
        if (kSingles.find(rest[0]) == std::string_view::npos) {
            Fail("Incorrect syntax near '" + std::string(rest.substr(0, 1)) + "'.");
        }
        ++position_;
        const TokenKind kind = rest[0] == '?' ? TokenKind::Parameter : TokenKind::Symbol;
        return {kind, std::string(rest.substr(0, 1)), false};
    }

    [[noreturn]] void Fail(const std::string& text) const {
        throw DatabaseError({text}, std::string(sql_));
    }

    std::string_view sql_;
    const std::vector<std::string>& linkedServers_;
    std::size_t position_ = 0;
};

}  // namespace

bool Token::Is(std::string_view text) const {
    return (Kind == TokenKind::Word || Kind == TokenKind::Symbol) && EqualsIgnoreCase(Text, text);
}

std::string Token::NameText() const {
    if (Kind != TokenKind::Name) {
        return Text;
    }
    std::string name;
    for (std::size_t i = 1; i + 1 < Text.size(); ++i) {
        name += Text[i];
        if (Text[i] == '"') {
            ++i;
        }
    }
    return name;
}

std::vector<Token> Tokenize(std::string_view sql, const std::vector<std::string>& linkedServers) {
    return Scanner(sql, linkedServers).Run();
}

std::string LiteralText(std::string_view quoted) {
    std::string text;
    for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
        text += quoted[i];
        if (quoted[i] == '\'') {
            ++i;
        }
    }
    return text;
}

std::string JoinTokens(const std::vector<Token>& tokens, std::size_t begin, std::size_t end) {
    std::string sql;
    for (std::size_t i = begin; i < end; ++i) {
        if (i > begin && tokens[i].SpaceBefore) {
            sql += ' ';
        }
        sql += tokens[i].Text;
    }
    return sql;
}

std::size_t ClosingParenthesis(const std::vector<Token>& tokens, std::size_t open) {
    int depth = 0;
    for (std::size_t i = open; i < tokens.size(); ++i) {
        if (tokens[i].Is("(")) {
            ++depth;
        } else if (tokens[i].Is(")") && --depth == 0) {
            return i;
        }
    }
    throw DatabaseError({"A parenthesis is not closed."});
}

}  // namespace morvane::embedded
