// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/HistoryIndex.h"

#include <algorithm>
#include <vector>

#include "core/DatabaseError.h"
#include "db/embedded/Tokens.h"

namespace morvane::embedded {

namespace {

using Tokens = std::vector<Token>;

bool Is(const Tokens& tokens, std::size_t i, std::string_view text) {
    return i < tokens.size() && tokens[i].Is(text);
}

bool IsLiteral(const Tokens& tokens, std::size_t i, std::string_view text) {
    return i < tokens.size() && tokens[i].Text == text;
}

// Where "tsql_datediff('day', a, b) = 0" stands: its two operands, each without its comma.
struct DayComparison {
    std::size_t Begin = 0;
    std::size_t Comma = 0;
    std::size_t Close = 0;

    bool Read(const Tokens& tokens, std::size_t i) {
        if (!Is(tokens, i, "tsql_datediff") || !Is(tokens, i + 1, "(") ||
            !IsLiteral(tokens, i + 2, "'day'") || !Is(tokens, i + 3, ",")) {
            return false;
        }
        Begin = i;
        Close = ClosingParenthesis(tokens, i + 1);
        for (Comma = i + 4; Comma < Close && !Is(tokens, Comma, ",");) {
            Comma = Is(tokens, Comma, "(") ? ClosingParenthesis(tokens, Comma) + 1 : Comma + 1;
        }
        return Comma < Close && Is(tokens, Close + 1, "=") && IsLiteral(tokens, Close + 2, "0");
    }
};

// A day as a number, which an index can hold.
std::string DayNumber(const Tokens& tokens, std::size_t begin, std::size_t end) {
    return "tsql_datediff('day', '1900-01-01 00:00:00'," + JoinTokens(tokens, begin, end) + ")";
}

}  // namespace

std::unique_ptr<HistoryIndex> HistoryIndex::For(const SqliteDatabase& database,
                                                std::string_view sql) {
    const Tokens tokens = Tokenize(sql);
    if (!Is(tokens, 0, "update") || tokens.size() < 4 || !tokens[1].IsName() ||
        !Is(tokens, 2, "set")) {
        return nullptr;
    }
    std::size_t i = 3;
    while (i < tokens.size() && !tokens[i].Is("where")) {
        ++i;
    }
    std::string columns;
    for (++i; i + 3 < tokens.size() && tokens[i].IsName() && Is(tokens, i + 1, "=") &&
              IsLiteral(tokens, i + 2, "?") && Is(tokens, i + 3, "and");
         i += 4) {
        columns += tokens[i].Text + ", ";
    }
    DayComparison days;
    if (!Is(tokens, i, "(") || ClosingParenthesis(tokens, i) + 1 != tokens.size() ||
        !days.Read(tokens, i + 1) || days.Close + 4 != tokens.size()) {
        return nullptr;
    }
    const bool valueFirst = days.Comma == days.Begin + 5 && IsLiteral(tokens, days.Begin + 4, "?");
    const std::string first = DayNumber(tokens, days.Begin + 4, days.Comma);
    const std::string second = DayNumber(tokens, days.Comma + 1, days.Close);
    std::unique_ptr<HistoryIndex> index(new HistoryIndex(database));
    index->table_ = tokens[1].Text;
    index->columns_ = columns + (valueFirst ? second : first);
    index->name_ = QuotedName("morvane history " + index->columns_);
    index->statement_ = JoinTokens(tokens, 0, days.Begin) + " " + first + " = " + second + ")";
    return index->columns_.find('?') == std::string::npos ? std::move(index) : nullptr;
}

HistoryIndex::~HistoryIndex() {
    try {
        Drop();
    } catch (...) {
        // What kept it from going ends the transaction, and the index with it.
    }
}

std::shared_ptr<sqlite3> HistoryIndex::InTransaction() const {
    auto database = database_.lock();
    return database && sqlite3_get_autocommit(database.get()) == 0 ? database : nullptr;
}

std::int64_t HistoryIndex::CostInSteps() const {
    constexpr std::int64_t kStepsPerRow = 100;
    const auto database = database_.lock();
    SqliteStatement count(database.get(), "SELECT count(*) FROM " + table_, "");
    count.Step();
    return sqlite3_column_int64(count.Handle(), 0) * kStepsPerRow;
}

bool HistoryIndex::Create() {
    const auto database = InTransaction();
    if (!database) {
        return false;
    }
    try {
        const std::string sql = "CREATE INDEX " + name_ + " ON " + table_ + " (" + columns_ + ")";
        SqliteStatement(database.get(), sql, sql).Step();
        created_ = true;
    } catch (const DatabaseError&) {
        if (!InTransaction()) {
            throw;
        }
    }
    return created_;
}

void HistoryIndex::Drop() {
    const auto database = created_ ? InTransaction() : nullptr;
    created_ = false;
    if (database) {
        const std::string sql = "DROP INDEX " + name_;
        SqliteStatement(database.get(), sql, sql).Step();
    }
}

}  // namespace morvane::embedded
