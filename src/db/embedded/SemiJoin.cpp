// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/SemiJoin.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/embedded/DateForms.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/Tokens.h"

namespace morvane::embedded {

namespace {

using Tokens = std::vector<Token>;

struct Range {
    std::size_t Begin;
    std::size_t End;
    bool Empty() const { return Begin >= End; }
};

// The clauses of "UPDATE t SET ... [FROM ...] [WHERE ...]".
struct UpdateClauses {
    std::string Target;
    Range Set{};
    Range From{};
    Range Where{};
};

// The position of a word outside parentheses, or the end.
std::size_t FindWord(const Tokens& tokens, std::size_t begin, std::size_t end,
                     std::string_view word) {
    for (std::size_t i = begin; i < end; ++i) {
        if (tokens[i].Is("(")) {
            i = ClosingParenthesis(tokens, i);
        } else if (tokens[i].Is(word)) {
            return i;
        }
    }
    return end;
}

std::optional<UpdateClauses> ParseUpdate(const Tokens& tokens) {
    if (tokens.size() < 6 || !tokens[0].Is("update") || !tokens[1].IsName() ||
        !tokens[2].Is("set")) {
        return std::nullopt;
    }
    const std::size_t end = tokens.size();
    const std::size_t where = FindWord(tokens, 3, end, "where");
    const std::size_t from = FindWord(tokens, 3, where, "from");
    return UpdateClauses{tokens[1].NameText(),
                         {3, from},
                         {std::min(from + 1, where), where},
                         {std::min(where + 1, end), end}};
}

// "column IS NOT value" for a SET clause of one literal, so that no row is written in vain.
std::string ChangesSomething(const Tokens& tokens, const UpdateClauses& update) {
    const auto [begin, end] = update.Set;
    const bool literal = end == begin + 3 && tokens[begin].IsName() && tokens[begin + 1].Is("=") &&
                         tokens[begin + 2].Kind == TokenKind::Number;
    if (!literal) {
        return {};
    }
    return QuotedName(update.Target) + "." + tokens[begin].Text + " IS NOT " +
           tokens[begin + 2].Text;
}

[[noreturn]] void FailFrom() {
    throw DatabaseError(
        {"The embedded warehouse knows UPDATE ... FROM only with a list of tables "
         "that names the changed table once."});
}

// The tables of the FROM list but the changed one.
std::vector<std::string> OtherTables(const Tokens& tokens, const UpdateClauses& update) {
    std::vector<std::string> others;
    bool targetSeen = false;
    for (std::size_t i = update.From.Begin; i < update.From.End; i += 2) {
        const bool last = i + 1 == update.From.End;
        if (!tokens[i].IsName() || (!last && !tokens[i + 1].Is(",")) || i + 2 == update.From.End) {
            FailFrom();
        }
        if (!EqualsIgnoreCase(tokens[i].NameText(), update.Target)) {
            others.push_back(tokens[i].NameText());
        } else if (targetSeen) {
            FailFrom();
        } else {
            targetSeen = true;
        }
    }
    if (!targetSeen) {
        FailFrom();
    }
    return others;
}

std::vector<Range> SplitConjunction(const Tokens& tokens, Range condition) {
    std::vector<Range> terms;
    while (!condition.Empty()) {
        const std::size_t end = FindWord(tokens, condition.Begin, condition.End, "and");
        terms.push_back({condition.Begin, end});
        condition.Begin = end + 1;
    }
    return terms;
}

bool IsColumnOf(const Tokens& tokens, std::size_t i, std::string_view table) {
    return tokens[i].IsName() && EqualsIgnoreCase(tokens[i].NameText(), table) &&
           tokens[i + 1].Is(".") && tokens[i + 2].IsName();
}

// A condition "t.a = f.x AND t.b = f.y AND <something about f alone>".
struct KeyCondition {
    std::vector<std::string> TargetColumns;
    std::vector<std::string> ForeignColumns;
    std::vector<std::string> ForeignTerms;
    std::string LastForeignName;  // the bare name of the last of ForeignColumns
};

// "f.x in (t.a, tsql_date_form(t.a, ...", as dates in any form are compared. Without an index both
// are brought to one form.
bool AddDateTerm(const Tokens& tokens, Range term, std::string_view target,
                 std::string_view foreign, KeyCondition& condition) {
    const std::size_t begin = term.Begin;
    const bool matches = term.End > begin + 9 && tokens[begin + 3].Is("in") &&
                         tokens[begin + 4].Is("(") && tokens[begin + 9].Is("tsql_date_form") &&
                         IsColumnOf(tokens, begin, foreign) &&
                         IsColumnOf(tokens, begin + 5, target) &&
                         ClosingParenthesis(tokens, begin + 4) + 1 == term.End;
    if (matches) {
        const auto full = [&](std::size_t column) {
            return "tsql_date_form(" + JoinTokens(tokens, column, column + 3) + ", " +
                   std::to_string(static_cast<int>(DateForm::Full)) + ")";
        };
        condition.TargetColumns.push_back(full(begin + 5));
        condition.ForeignColumns.push_back(full(begin));
        condition.LastForeignName = tokens[begin + 2].NameText();
    }
    return matches;
}

// False when the term has another form.
bool AddTerm(const Tokens& tokens, Range term, std::string_view target, std::string_view foreign,
             KeyCondition& condition) {
    const std::string text = JoinTokens(tokens, term.Begin, term.End);
    if (term.End == term.Begin + 7 && tokens[term.Begin + 3].Is("=") &&
        IsColumnOf(tokens, term.Begin, target) && IsColumnOf(tokens, term.Begin + 4, foreign)) {
        condition.TargetColumns.push_back(JoinTokens(tokens, term.Begin, term.Begin + 3));
        condition.ForeignColumns.push_back(JoinTokens(tokens, term.Begin + 4, term.End));
        condition.LastForeignName = tokens[term.Begin + 6].NameText();
        return true;
    }
    if (term.End == term.Begin + 5 && IsColumnOf(tokens, term.Begin, foreign) &&
        tokens[term.Begin + 4].Kind == TokenKind::Number) {
        condition.ForeignTerms.push_back(text);
        return true;
    }
    return AddDateTerm(tokens, term, target, foreign, condition);
}

std::optional<KeyCondition> ParseKeyCondition(const Tokens& tokens, Range where,
                                              std::string_view target, std::string_view foreign) {
    KeyCondition condition;
    for (const Range term : SplitConjunction(tokens, where)) {
        if (!AddTerm(tokens, term, target, foreign, condition)) {
            return std::nullopt;
        }
    }
    return condition.TargetColumns.empty() ? std::nullopt : std::optional(condition);
}

// True when SQLite would look each key up in an index of `foreign` that covers all `pairs`
// columns: it knows best what collations and affinities an index can serve.
bool AnswersByIndex(sqlite3* database, const std::string& sql, std::string_view foreign,
                    std::size_t pairs) {
    SqliteStatement plan(database, "EXPLAIN QUERY PLAN " + sql, sql);
    const std::string search = "search " + ToLower(foreign) + " using ";
    while (plan.Step()) {
        const std::string step =
            ToLower(reinterpret_cast<const char*>(sqlite3_column_text(plan.Handle(), 3)));
        if (step.compare(0, search.size(), search) != 0 ||
            step.find(" automatic ") != std::string::npos) {
            continue;
        }
        std::size_t columns = 0;
        for (std::size_t at = step.find("=?"); at != std::string::npos;
             at = step.find("=?", at + 2)) {
            ++columns;
        }
        return columns >= pairs;
    }
    return false;
}

std::string And(const std::string& first, const std::string& second) {
    return first.empty() ? second : first + " AND " + second;
}

bool IsInteger(sqlite3* database, const std::string& table, const std::string& column) {
    const char* type = nullptr;
    return sqlite3_table_column_metadata(database, nullptr, table.c_str(), column.c_str(), &type,
                                         nullptr, nullptr, nullptr, nullptr) == SQLITE_OK &&
           type != nullptr && ToLower(type).find("int") != std::string::npos;
}

// The b-tree of the distinct keys outgrows its cache where a dimension is large, and each row of
// the foreign table would look its key up in it. An integer key is let through once. With other
// terms it is not: a row that they refuse must not use its key up.
bool IsLetThroughOnce(sqlite3* database, const KeyCondition& condition,
                      const std::string& foreign) {
    return condition.ForeignTerms.empty() && condition.ForeignColumns.size() == 1 &&
           IsInteger(database, foreign, condition.LastForeignName);
}

// A key that was seen may be asked for only once, whatever plan SQLite makes of the whole: AS
// MATERIALIZED holds the rows. The name cannot be that of a table.
std::string EachKeyOnce(const std::string& column, const std::string& foreign) {
    return "WITH \"first seen\"(k) AS MATERIALIZED (SELECT " + column + " FROM " + foreign +
           " WHERE first_seen(" + column + ")) SELECT k FROM \"first seen\"";
}

std::string MembershipTest(sqlite3* database, const KeyCondition& condition,
                           const std::string& foreign) {
    const std::string quoted = QuotedName(foreign);
    const std::string filter =
        condition.ForeignTerms.empty() ? "" : " WHERE " + Join(condition.ForeignTerms, " AND ");
    const std::string keys =
        IsLetThroughOnce(database, condition, foreign)
            ? EachKeyOnce(condition.ForeignColumns[0], quoted)
            : "SELECT " + Join(condition.ForeignColumns, ", ") + " FROM " + quoted + filter;
    return "(" + Join(condition.TargetColumns, ", ") + ") IN (" + keys + ")";
}

std::string SemiJoin(sqlite3* database, const Tokens& tokens, const UpdateClauses& update,
                     const std::vector<std::string>& others) {
    std::vector<std::string> quoted;
    for (const std::string& table : others) {
        quoted.push_back(QuotedName(table));
    }
    const std::string head = JoinTokens(tokens, 0, update.Set.End) + " WHERE ";
    const std::string changes = ChangesSomething(tokens, update);
    const std::string where =
        update.Where.Empty() ? "1" : JoinTokens(tokens, update.Where.Begin, update.Where.End);
    const std::string byLookUp = head + And(changes, "EXISTS (SELECT 1 FROM " + Join(quoted, ", ") +
                                                         " WHERE " + where + ")");
    if (others.size() != 1) {
        return byLookUp;
    }
    const auto keys = ParseKeyCondition(tokens, update.Where, update.Target, others[0]);
    if (!keys || AnswersByIndex(database, byLookUp, others[0], keys->TargetColumns.size())) {
        return byLookUp;
    }
    return head + And(changes, MembershipTest(database, *keys, others[0]));
}

// True when every assignment is "column = literal or ?", which no other table's row can change.
bool SetsConstants(const Tokens& tokens, Range set) {
    for (std::size_t i = set.Begin; i < set.End; i += 4) {
        const bool literal = i + 2 < set.End && tokens[i].IsName() && tokens[i + 1].Is("=") &&
                             !tokens[i + 2].IsName() && tokens[i + 2].Kind != TokenKind::Symbol;
        const bool ends = i + 3 == set.End || (i + 4 < set.End && tokens[i + 3].Is(","));
        if (!literal || !ends) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string RewriteUpdate(sqlite3* database, std::string_view sql) {
    const Tokens tokens = Tokenize(sql);
    const auto update = ParseUpdate(tokens);
    if (!update) {
        return std::string(sql);
    }
    if (update->From.Empty()) {
        const std::string changes = ChangesSomething(tokens, *update);
        return update->Where.Empty() && !changes.empty() ? std::string(sql) + " WHERE " + changes
                                                         : std::string(sql);
    }
    const std::vector<std::string> others = OtherTables(tokens, *update);
    const std::string where =
        update->Where.Empty()
            ? ""
            : " WHERE " + JoinTokens(tokens, update->Where.Begin, update->Where.End);
    if (others.empty()) {
        return JoinTokens(tokens, 0, update->Set.End) + where;
    }
    if (!SetsConstants(tokens, update->Set)) {
        throw DatabaseError(
            {"The embedded warehouse knows UPDATE ... FROM only with constants in "
             "its SET clause."});
    }
    return SemiJoin(database, tokens, *update, others);
}

}  // namespace morvane::embedded
