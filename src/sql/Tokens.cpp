// SPDX-License-Identifier: Apache-2.0
#include "sql/Tokens.h"

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "sql/MaskPasswords.h"
#include "sql/Quoting.h"

namespace morvane {

namespace {

// The parser of SQLite accepts no deeper nesting.
constexpr std::size_t kDeepest = 1000;

class TreeBuilder {
  public:
    TreeBuilder(std::string_view sql, const std::vector<std::string>& linkedServers)
        : sql_(sql), linkedServers_(linkedServers), lexer_(sql) {}

    ParsedSql Run() {
        open_.push_back(&parsed_.Tokens);
        while (ReadNext()) {
        }
        if (lexer_.EndsInComment()) {
            parsed_.Problems.push_back(SqlProblem::OpenComment);
        }
        if (open_.size() > 1) {
            parsed_.Problems.push_back(SqlProblem::OpenParenthesis);
        }
        return std::move(parsed_);
    }

  private:
    // The linked server whose name and a "." follow; empty if there is none.
    std::string_view LinkedServer() const {
        for (const std::string& server : linkedServers_) {
            const std::string_view rest = sql_.substr(lexer_.Position());
            if (rest.size() > server.size() && rest[server.size()] == '.' &&
                EqualsIgnoreCase(rest.substr(0, server.size()), server)) {
                return server;
            }
        }
        return {};
    }

    bool ReadNext() {
        const std::size_t begin = lexer_.Position();
        if (const std::string_view server = LinkedServer(); !server.empty()) {
            const bool space = lexer_.SpaceBefore();
            lexer_.Skip(server.size());
            Add({TokenKind::Name, QuotedName(server), space, begin, begin + server.size()});
            return true;
        }
        Lexeme lexeme;
        if (!lexer_.Next(lexeme)) {
            return false;
        }
        if (lexeme.Problem) {
            if (lexeme.Problem == SqlProblem::UnknownCharacter &&
                parsed_.UnknownCharacter.empty()) {
                parsed_.UnknownCharacter = lexeme.Text;
            }
            parsed_.Problems.push_back(*lexeme.Problem);
        }
        const std::size_t end = begin + lexeme.Text.size();
        if (lexeme.Is("(")) {
            return OpenGroup(lexeme, begin);
        }
        if (lexeme.Is(")")) {
            CloseGroup(end);
            return true;
        }
        Add({lexeme.Kind, StandardForm(lexeme), lexeme.SpaceBefore, begin, end});
        return true;
    }

    static std::string StandardForm(const Lexeme& lexeme) {
        if (lexeme.Kind == TokenKind::Name && lexeme.Text[0] == '[') {
            return QuotedName(Unquoted(lexeme.Text));
        }
        const bool national = lexeme.Kind == TokenKind::Text && lexeme.Text[0] != '\'';
        return std::string(lexeme.Text.substr(national ? 1 : 0));
    }

    bool OpenGroup(const Lexeme& lexeme, std::size_t begin) {
        if (open_.size() > kDeepest) {
            parsed_.Problems.push_back(SqlProblem::TooDeep);
            return false;
        }
        Add({TokenKind::Group, "", lexeme.SpaceBefore, begin, sql_.size()});
        open_.push_back(&open_.back()->back().Inside);
        return true;
    }

    void CloseGroup(std::size_t end) {
        if (open_.size() == 1) {
            parsed_.Problems.push_back(SqlProblem::ExtraParenthesis);
            return;
        }
        open_.pop_back();
        open_.back()->back().End = end;
    }

    // 'a'N'b' and [a][b] must not become one literal with a doubled quote.
    void Add(Token token) {
        Tokens& tokens = *open_.back();
        const bool quoted = token.Kind == TokenKind::Text || token.Kind == TokenKind::Name;
        token.SpaceBefore =
            token.SpaceBefore || (quoted && !tokens.empty() && tokens.back().Kind == token.Kind);
        tokens.push_back(std::move(token));
    }

    std::string_view sql_;
    const std::vector<std::string>& linkedServers_;
    Lexer lexer_;
    ParsedSql parsed_;
    std::vector<Tokens*> open_;  // from the statement to the innermost open group
};

std::string Describe(SqlProblem problem, std::string_view unknownCharacter) {
    switch (problem) {
        case SqlProblem::UnknownCharacter:
            return "Incorrect syntax near '" + std::string(unknownCharacter) + "'.";
        case SqlProblem::OpenText:
            return "Unclosed quotation mark.";  // not the text: it may be a password
        case SqlProblem::OpenName:
            return "Unclosed bracket or quotation mark in a name.";
        case SqlProblem::OpenComment:
            return "Missing end comment mark '*/'.";
        case SqlProblem::OpenParenthesis:
            return "A parenthesis is not closed.";
        case SqlProblem::ExtraParenthesis:
            return "Incorrect syntax near ')'.";
        case SqlProblem::TooDeep:
            break;
    }
    return "The statement has too many nested parentheses.";
}

}  // namespace

bool Token::Is(std::string_view text) const {
    return (Kind == TokenKind::Word || Kind == TokenKind::Symbol) && EqualsIgnoreCase(Text, text);
}

std::string Token::NameText() const {
    return Kind == TokenKind::Name ? Unquoted(Text) : Text;
}

ParsedSql ParseSql(std::string_view sql, const std::vector<std::string>& linkedServers) {
    return TreeBuilder(sql, linkedServers).Run();
}

Tokens Tokenize(std::string_view sql, const std::vector<std::string>& linkedServers) {
    ParsedSql parsed = ParseSql(sql, linkedServers);
    if (!parsed.Problems.empty()) {
        throw DatabaseError({Describe(parsed.Problems.front(), parsed.UnknownCharacter)},
                            MaskPasswords(sql));
    }
    return std::move(parsed.Tokens);
}

std::string JoinTokens(TokenSpan tokens) {
    std::string sql;
    for (const Token& token : tokens) {
        if (token.SpaceBefore && &token != tokens.data()) {
            sql += ' ';
        }
        sql += token.IsGroup() ? "(" + JoinTokens(token.Inside) + ")" : token.Text;
    }
    return sql;
}

bool IsAt(TokenSpan tokens, std::size_t i, std::string_view text) {
    return i < tokens.size() && tokens[i].Is(text);
}

bool IsGroupAt(TokenSpan tokens, std::size_t i) {
    return i < tokens.size() && tokens[i].IsGroup();
}

std::size_t FindWord(TokenSpan tokens, std::string_view word, std::size_t from) {
    while (from < tokens.size() && !tokens[from].Is(word)) {
        ++from;
    }
    return std::min(from, tokens.size());
}

std::vector<TokenSpan> SplitAtCommas(TokenSpan tokens) {
    std::vector<TokenSpan> items;
    std::size_t begin = 0;
    for (std::size_t i = 0; i <= tokens.size(); ++i) {
        if (i == tokens.size() || tokens[i].Is(",")) {
            items.push_back(tokens.subspan(begin, i - begin));
            begin = i + 1;
        }
    }
    return items;
}

}  // namespace morvane
