// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/IndexRebuild.h"

#include <algorithm>
#include <utility>

#include "core/DatabaseError.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

namespace {

// The indexes of a smaller table fit in the cache.
constexpr std::int64_t kFewRows = 50000;
// Sorting a remaining row into an index costs about an eighth of looking up a deleted one (measured
// with ten million rows; less in larger tables).
constexpr std::int64_t kLeastShare = 8;

bool HasQuery(TokenSpan tokens) {
    return std::any_of(tokens.begin(), tokens.end(), [](const Token& token) {
        return token.Is("select") || HasQuery(token.Inside);
    });
}

// The table of "DELETE FROM t WHERE ...". Empty if the condition contains a query, which may need
// the indexes.
std::string TableToDeleteFrom(std::string_view sql) {
    const Tokens tokens = Tokenize(sql);
    const bool simple = tokens.size() > 3 && tokens[0].Is("delete") && tokens[1].Is("from") &&
                        tokens[2].IsName() && tokens[3].Is("where");
    return simple && !HasQuery(tokens) ? tokens[2].NameText() : "";
}

// An open recordset would block the change of the schema.
bool HasOpenStatement(sqlite3* database) {
    for (sqlite3_stmt* statement = sqlite3_next_stmt(database, nullptr); statement != nullptr;
         statement = sqlite3_next_stmt(database, statement)) {
        if (sqlite3_stmt_busy(statement) != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

IndexRebuild::IndexRebuild(const SqliteDatabase& database, std::string_view deleteSql,
                           std::int64_t rows)
    : database_(database) {
    if (rows < kFewRows || sqlite3_get_autocommit(database.Handle()) != 0 ||
        HasOpenStatement(database.Handle())) {
        return;
    }
    table_ = TableToDeleteFrom(deleteSql);
    if (table_.empty() || !IsWorthwhile(rows)) {
        return;
    }
    try {
        DropIndexes();
    } catch (...) {
        RollBack();
        throw;
    }
}

IndexRebuild::~IndexRebuild() {
    if (!definitions_.empty()) {
        RollBack();
    }
}

// A trigger may use the indexes.
bool IndexRebuild::IsWorthwhile(std::int64_t rows) const {
    return Number("SELECT count(*) FROM sqlite_schema WHERE type = 'trigger' AND tbl_name = " +
                  QuotedText(table_) + " COLLATE NOCASE") == 0 &&
           Number("SELECT count(*) FROM " + QuotedName(table_)) / kLeastShare <= rows;
}

void IndexRebuild::DropIndexes() {
    std::vector<std::string> names;
    {
        const std::string sql =
            "SELECT name, sql FROM sqlite_schema WHERE type = 'index' AND sql IS NOT NULL AND "
            "tbl_name = " +
            QuotedText(table_) + " COLLATE NOCASE ORDER BY rowid";
        SqliteStatement indexes(database_.Handle(), sql, sql);
        const auto text = [&](int column) {
            return reinterpret_cast<const char*>(sqlite3_column_text(indexes.Handle(), column));
        };
        while (indexes.Step()) {
            names.emplace_back(text(0));
            definitions_.emplace_back(text(1));
        }
    }
    for (const std::string& name : names) {
        database_.Run("DROP INDEX " + QuotedName(name));
    }
}

void IndexRebuild::Finish() {
    for (const std::string& definition : definitions_) {
        database_.Run(definition);
    }
    // Dropping an index removed its statistics.
    if (!definitions_.empty() &&
        Number("SELECT count(*) FROM sqlite_schema WHERE name = 'sqlite_stat1'") != 0) {
        database_.Run("ANALYZE " + QuotedName(table_));
    }
    definitions_.clear();
}

std::int64_t IndexRebuild::Number(const std::string& sql) const {
    SqliteStatement statement(database_.Handle(), sql, sql);
    statement.Step();
    return sqlite3_column_int64(statement.Handle(), 0);
}

void IndexRebuild::RollBack() const {
    sqlite3_exec(database_.Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

}  // namespace morvane::embedded
