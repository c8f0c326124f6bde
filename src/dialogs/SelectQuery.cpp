// SPDX-License-Identifier: Apache-2.0
#include "dialogs/SelectQuery.h"

#include <algorithm>
#include <array>

#include "base/Text.h"
#include "sql/Keywords.h"
#include "sql/Quoting.h"

namespace morvane {

namespace {

void DropEnd(Tokens& tokens) {
    while (!tokens.empty() && tokens.back().Is(";")) {
        tokens.pop_back();
    }
}

// The text of neighbouring tokens as written.
std::string AsWritten(std::string_view sql, TokenSpan tokens) {
    return tokens.empty() ? ""
                          : std::string(sql.substr(tokens.front().Begin,
                                                   tokens.back().End - tokens.front().Begin));
}

bool HasProblem(const ParsedSql& parsed, std::initializer_list<SqlProblem> problems) {
    return std::any_of(parsed.Problems.begin(), parsed.Problems.end(), [&](SqlProblem problem) {
        return std::find(problems.begin(), problems.end(), problem) != problems.end();
    });
}

bool HasSemicolon(TokenSpan tokens) {
    return std::any_of(tokens.begin(), tokens.end(), [](const Token& token) {
        return token.Is(";") || HasSemicolon(token.Inside);
    });
}

// T-SQL needs no ";" between statements: a writing keyword outside parentheses begins one. MERGE
// can also be a join hint.
const Token* FindWriting(TokenSpan tokens) {
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        const bool joins = tokens[i].Is("merge") && IsAt(tokens, i + 1, "join");
        if (HasRole(tokens[i], KeywordRole::Writing) && !joins) {
            return &tokens[i];
        }
    }
    return nullptr;
}

std::string WhyRefused(const ParsedSql& parsed) {
    const Tokens& tokens = parsed.Tokens;
    if (tokens.empty() || !tokens[0].Is("select")) {
        return "Only a query that begins with the word SELECT can be executed.";
    }
    // In the rebuilt query an open quote would turn its contents into statements.
    if (HasProblem(parsed, {SqlProblem::OpenText, SqlProblem::OpenName})) {
        return "A quotation mark or bracket of the query is not closed.";
    }
    if (HasProblem(parsed, {SqlProblem::OpenParenthesis, SqlProblem::ExtraParenthesis,
                            SqlProblem::TooDeep})) {
        return "The parentheses of the query do not match.";
    }
    if (HasSemicolon(tokens)) {
        return "Only one query can be executed: nothing may follow the \";\".";
    }
    if (const Token* writing = FindWriting(tokens)) {
        return "Only a query that reads records can be executed: the word " +
               ToUpper(writing->Text) + " is not allowed.";
    }
    return "";
}

class Parser {
  public:
    Parser(std::string_view sql, TokenSpan tokens) : sql_(sql), tokens_(tokens) {}

    SelectQuery Run() {
        const std::size_t items = ReadHead();
        query_.Rest = AsWritten(sql_, tokens_.subspan(std::min(items, tokens_.size())));
        const std::size_t from = ReadItems(items);
        ReadTable(from + 1);
        ReadClauses(tokens_.subspan(std::min(from, tokens_.size())));
        if (query_.Table.empty()) {
            query_.TableName.clear();
        }
        return std::move(query_);
    }

  private:
    void AddToHead(std::string_view text) {
        query_.Head += query_.Head.back() == ' ' ? "" : " ";
        query_.Head += text;
    }

    // Returns the position of the first select item.
    std::size_t ReadHead() {
        query_.Head = "Select ";
        std::size_t at = 1;
        if (IsAt(tokens_, at, "distinct") || IsAt(tokens_, at, "all")) {
            query_.RowByRow = tokens_[at].Is("all");
            AddToHead(tokens_[at++].Text);
        }
        const bool hasCount =
            at + 1 < tokens_.size() &&
            (tokens_[at + 1].IsGroup() || tokens_[at + 1].Kind == TokenKind::Number);
        if (!IsAt(tokens_, at, "top") || !hasCount) {
            return at;
        }
        AddToHead("TOP " + AsWritten(sql_, tokens_.subspan(at + 1, 1)));
        at += 2;
        if (IsAt(tokens_, at, "percent")) {
            AddToHead("PERCENT ");
            ++at;
        }
        if (IsAt(tokens_, at, "with") && IsAt(tokens_, at + 1, "ties")) {
            AddToHead("WITH TIES ");
            at += 2;
        }
        return at;
    }

    static bool Aggregates(TokenSpan tokens) {
        for (std::size_t i = 0; i < tokens.size(); ++i) {
            const bool aggregate =
                HasRole(tokens[i], KeywordRole::Aggregate) && IsGroupAt(tokens, i + 1);
            if (aggregate || Aggregates(tokens[i].Inside)) {
                return true;
            }
        }
        return false;
    }

    // Returns the position of FROM, or the end.
    std::size_t ReadItems(std::size_t begin) {
        const std::size_t from = FindWord(tokens_, "from", begin);
        const TokenSpan list = tokens_.subspan(std::min(begin, from), from - std::min(begin, from));
        if (Aggregates(list)) {
            query_.RowByRow = false;
        }
        std::vector<TokenSpan> items = SplitAtCommas(list);
        if (items.back().empty()) {
            items.pop_back();
        }
        for (const TokenSpan item : items) {
            query_.Items.push_back(ReadItem(item));
        }
        return from;
    }

    // a, t.a, *, t.*, dbo.t.a; anything else is an expression.
    static SelectItem ReadItem(TokenSpan tokens) {
        for (std::size_t i = 0; i < tokens.size(); ++i) {
            const bool isDot = i % 2 == 1;
            const bool last = i + 1 == tokens.size();
            if (isDot ? !tokens[i].Is(".") || last
                      : !tokens[i].IsName() && !(last && tokens[i].Is("*"))) {
                return {};
            }
        }
        if (tokens.empty()) {
            return {};
        }
        SelectItem item;
        if (tokens.size() >= 3) {
            item.Qualifier = tokens[tokens.size() - 3].NameText();
        }
        const bool everything = tokens.back().Is("*");
        item.Kind = everything ? SelectItem::Kind::Everything : SelectItem::Kind::Column;
        item.Column = tokens.back().NameText();
        return item;
    }

    // A name, optionally with schema and database, and an alias.
    void ReadTable(std::size_t at) {
        if (at >= tokens_.size() || !tokens_[at].IsName()) {
            return;
        }
        const std::size_t first = at;
        while (IsAt(tokens_, at + 1, ".")) {
            const std::size_t dots = IsAt(tokens_, at + 2, ".") ? 2 : 1;  // database..table
            if (at + dots + 1 >= tokens_.size() || !tokens_[at + dots + 1].IsName()) {
                return;
            }
            at += dots + 1;
        }
        query_.Table = AsWritten(sql_, tokens_.subspan(first, at + 1 - first));
        query_.TableName = tokens_[at].NameText();
        query_.Qualifier = AsWritten(sql_, tokens_.subspan(at, 1));
        at += IsAt(tokens_, at + 1, "as") ? 2U : 1U;
        if (at < tokens_.size() && tokens_[at].IsName() &&
            !HasRole(tokens_[at], KeywordRole::FollowsTable)) {
            query_.Qualifier = AsWritten(sql_, tokens_.subspan(at, 1));
        }
    }

    // Reads the clauses from FROM on, which decide what a row is.
    void ReadClauses(TokenSpan tokens) {
        constexpr std::array<std::string_view, 6> kManyTables = {"union", "except",  "intersect",
                                                                 "pivot", "unpivot", "for"};
        constexpr std::array<std::string_view, 2> kGrouping = {"group", "having"};
        constexpr std::array<std::string_view, 5> kAfterTables = {"where", "group", "having",
                                                                  "order", "option"};
        constexpr std::array<std::string_view, 3> kJoins = {"join", "apply", ","};
        bool inTables = true;
        for (const Token& token : tokens) {
            if (IsOneOf(token, kManyTables)) {
                query_.Table.clear();
            }
            if (IsOneOf(token, kGrouping)) {
                query_.RowByRow = false;
            }
            inTables = inTables && !IsOneOf(token, kAfterTables);
            if (inTables && IsOneOf(token, kJoins)) {
                query_.Joined = true;
            }
        }
    }

    std::string_view sql_;
    TokenSpan tokens_;
    SelectQuery query_;
};

}  // namespace

std::optional<SelectQuery> ParseSelect(std::string_view sql, std::string& errorText) {
    ParsedSql parsed = ParseSql(sql);
    DropEnd(parsed.Tokens);
    errorText = WhyRefused(parsed);
    if (!errorText.empty()) {
        return std::nullopt;
    }
    SelectQuery query = Parser(sql, parsed.Tokens).Run();
    if (query.Items.empty()) {
        errorText = "The query names nothing to select.";
        return std::nullopt;
    }
    return query;
}

std::string OrderedBy(std::string_view sql, std::string_view column) {
    Tokens tokens = ParseSql(sql).Tokens;
    DropEnd(tokens);
    std::size_t end = tokens.empty() ? 0 : tokens.back().End;
    for (std::size_t i = 2; i < tokens.size(); ++i) {
        if (tokens[i].Is("by") && tokens[i - 1].Is("order")) {
            end = tokens[i - 2].End;
        }
    }
    return std::string(sql.substr(0, end)) + " ORDER BY " + SqlName(column);
}

}  // namespace morvane
