// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Translation.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/embedded/DateTime.h"
#include "db/embedded/Sqlite.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

namespace {

// The clauses of "UPDATE t SET ... [FROM ...] [WHERE ...]", without their first words.
struct UpdateClauses {
    std::string Target;
    TokenSpan Head;  // UPDATE t SET ...
    TokenSpan Set;
    TokenSpan From;
    TokenSpan Where;
};

std::optional<UpdateClauses> ParseUpdate(TokenSpan tokens) {
    if (tokens.size() < 6 || !tokens[0].Is("update") || !tokens[1].IsName() ||
        !tokens[2].Is("set")) {
        return std::nullopt;
    }
    const std::size_t where = FindWord(tokens, "where", 3);
    const std::size_t from = std::min(FindWord(tokens, "from", 3), where);
    const auto clause = [&](std::size_t word, std::size_t end) {
        const std::size_t begin = std::min(word + 1, end);
        return tokens.subspan(begin, end - begin);
    };
    return UpdateClauses{tokens[1].NameText(), tokens.first(from), clause(2, from),
                         clause(from, where), clause(where, tokens.size())};
}

// "column IS NOT value" for a SET clause with one number, so that unchanged rows are not written.
std::string ChangesSomething(const UpdateClauses& update) {
    const TokenSpan set = update.Set;
    const bool literal =
        set.size() == 3 && set[0].IsName() && set[1].Is("=") && set[2].Kind == TokenKind::Number;
    if (!literal) {
        return {};
    }
    return QuotedName(update.Target) + "." + set[0].Text + " IS NOT " + set[2].Text;
}

[[noreturn]] void FailFrom() {
    throw DatabaseError(
        {"The embedded warehouse knows UPDATE ... FROM only with a list of tables "
         "that names the changed table once."});
}

// The tables of the FROM list except the updated one.
std::vector<std::string> OtherTables(const UpdateClauses& update) {
    std::vector<std::string> others;
    bool targetSeen = false;
    for (const TokenSpan table : SplitAtCommas(update.From)) {
        if (table.size() != 1 || !table[0].IsName()) {
            FailFrom();
        }
        if (!EqualsIgnoreCase(table[0].NameText(), update.Target)) {
            others.push_back(table[0].NameText());
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

std::vector<TokenSpan> SplitConjunction(TokenSpan condition) {
    std::vector<TokenSpan> terms;
    while (!condition.empty()) {
        const std::size_t end = FindWord(condition, "and");
        terms.push_back(condition.first(end));
        condition = condition.subspan(std::min(end + 1, condition.size()));
    }
    return terms;
}

// True for "table.column" at the beginning of the tokens.
bool IsColumnOf(TokenSpan tokens, std::string_view table) {
    return tokens.size() >= 3 && tokens[0].IsName() &&
           EqualsIgnoreCase(tokens[0].NameText(), table) && tokens[1].Is(".") && tokens[2].IsName();
}

// A condition "t.a = f.x AND t.b = f.y AND <terms about f alone>".
struct KeyCondition {
    std::vector<std::string> TargetColumns;
    std::vector<std::string> ForeignColumns;
    std::vector<std::string> ForeignTerms;
    std::string LastForeignName;  // the bare name of the last of ForeignColumns
};

// "f.x in (t.a, tsql_date_form(t.a, ...": the comparison of dates in any form. Without an index,
// both sides are converted to one form.
bool AddDateTerm(TokenSpan term, std::string_view target, std::string_view foreign,
                 KeyCondition& condition) {
    if (term.size() != 5 || !IsColumnOf(term, foreign) || !term[3].Is("in") || !term[4].IsGroup()) {
        return false;
    }
    const TokenSpan list = term[4].Inside;
    const bool matches = IsColumnOf(list, target) && IsAt(list, 4, "tsql_date_form");
    if (matches) {
        const auto full = [](TokenSpan column) {
            return "tsql_date_form(" + JoinTokens(column) + ", " +
                   std::to_string(static_cast<int>(DateForm::Full)) + ")";
        };
        condition.TargetColumns.push_back(full(list.first(3)));
        condition.ForeignColumns.push_back(full(term.first(3)));
        condition.LastForeignName = term[2].NameText();
    }
    return matches;
}

// False if the term has another form.
bool AddTerm(TokenSpan term, std::string_view target, std::string_view foreign,
             KeyCondition& condition) {
    if (term.size() == 7 && term[3].Is("=") && IsColumnOf(term, target) &&
        IsColumnOf(term.subspan(4), foreign)) {
        condition.TargetColumns.push_back(JoinTokens(term.first(3)));
        condition.ForeignColumns.push_back(JoinTokens(term.subspan(4)));
        condition.LastForeignName = term[6].NameText();
        return true;
    }
    if (term.size() == 5 && IsColumnOf(term, foreign) && term[4].Kind == TokenKind::Number) {
        condition.ForeignTerms.push_back(JoinTokens(term));
        return true;
    }
    return AddDateTerm(term, target, foreign, condition);
}

std::optional<KeyCondition> ParseKeyCondition(TokenSpan where, std::string_view target,
                                              std::string_view foreign) {
    KeyCondition condition;
    for (const TokenSpan term : SplitConjunction(where)) {
        if (!AddTerm(term, target, foreign, condition)) {
            return std::nullopt;
        }
    }
    return condition.TargetColumns.empty() ? std::nullopt : std::optional(condition);
}

// True if SQLite would look up each key in an index of `foreign` that covers all `pairs` columns.
// Its query plan takes collations and affinities into account.
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

// True if first_seen() can remove duplicate keys before SQLite collects the distinct ones. That
// b-tree outgrows its cache for a large dimension, and every row of the foreign table would search
// it. Only for integer keys, and only without further terms: a row that a term rejects must not
// hide a later row with the same key.
bool CanSkipSeenKeys(sqlite3* database, const KeyCondition& condition, const std::string& foreign) {
    return condition.ForeignTerms.empty() && condition.ForeignColumns.size() == 1 &&
           IsInteger(database, foreign, condition.LastForeignName);
}

// AS MATERIALIZED: first_seen() must be called once per row, whatever SQLite's plan. No table can
// have this name.
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
        CanSkipSeenKeys(database, condition, foreign)
            ? EachKeyOnce(condition.ForeignColumns[0], quoted)
            : "SELECT " + Join(condition.ForeignColumns, ", ") + " FROM " + quoted + filter;
    return "(" + Join(condition.TargetColumns, ", ") + ") IN (" + keys + ")";
}

std::string SemiJoin(sqlite3* database, const UpdateClauses& update,
                     const std::vector<std::string>& others) {
    std::vector<std::string> quoted;
    for (const std::string& table : others) {
        quoted.push_back(QuotedName(table));
    }
    const std::string head = JoinTokens(update.Head) + " WHERE ";
    const std::string changes = ChangesSomething(update);
    const std::string where = update.Where.empty() ? "1" : JoinTokens(update.Where);
    const std::string byLookUp = head + And(changes, "EXISTS (SELECT 1 FROM " + Join(quoted, ", ") +
                                                         " WHERE " + where + ")");
    if (others.size() != 1) {
        return byLookUp;
    }
    const auto keys = ParseKeyCondition(update.Where, update.Target, others[0]);
    if (!keys || AnswersByIndex(database, byLookUp, others[0], keys->TargetColumns.size())) {
        return byLookUp;
    }
    return head + And(changes, MembershipTest(database, *keys, others[0]));
}

// True if every assignment is "column = literal or ?", which no row of another table can affect.
bool SetsConstants(TokenSpan set) {
    const std::vector<TokenSpan> assignments = SplitAtCommas(set);
    return std::all_of(assignments.begin(), assignments.end(), [](TokenSpan assignment) {
        return assignment.size() == 3 && assignment[0].IsName() && assignment[1].Is("=") &&
               !assignment[2].IsName() && !assignment[2].IsGroup() &&
               assignment[2].Kind != TokenKind::Symbol;
    });
}

}  // namespace

std::string RewriteUpdate(sqlite3* database, std::string_view sql) {
    const Tokens tokens = Tokenize(sql);
    const auto update = ParseUpdate(tokens);
    if (!update) {
        return std::string(sql);
    }
    if (update->From.empty()) {
        const std::string changes = ChangesSomething(*update);
        return update->Where.empty() && !changes.empty() ? std::string(sql) + " WHERE " + changes
                                                         : std::string(sql);
    }
    const std::vector<std::string> others = OtherTables(*update);
    if (others.empty()) {
        const std::string where =
            update->Where.empty() ? "" : " WHERE " + JoinTokens(update->Where);
        return JoinTokens(update->Head) + where;
    }
    if (!SetsConstants(update->Set)) {
        throw DatabaseError(
            {"The embedded warehouse knows UPDATE ... FROM only with constants in "
             "its SET clause."});
    }
    return SemiJoin(database, *update, others);
}

}  // namespace morvane::embedded
