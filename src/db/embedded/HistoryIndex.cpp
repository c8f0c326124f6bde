// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/HistoryIndex.h"

#include <algorithm>
#include <vector>

#include "core/DatabaseError.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

namespace {

// A day as a number, which an index can hold.
std::string DayNumber(TokenSpan date) {
    return "tsql_datediff('day', '1900-01-01 00:00:00'," + JoinTokens(date) + ")";
}

bool IsParameter(TokenSpan operand) {
    return operand.size() == 1 && operand[0].Kind == TokenKind::Parameter;
}

// The two dates of "(tsql_datediff('day', a, b) = 0)". Empty for any other condition.
std::vector<TokenSpan> ComparedDays(TokenSpan condition) {
    if (condition.size() != 1 || !condition[0].IsGroup()) {
        return {};
    }
    const TokenSpan comparison = condition[0].Inside;
    const bool matches = comparison.size() == 4 && comparison[0].Is("tsql_datediff") &&
                         comparison[1].IsGroup() && comparison[2].Is("=") &&
                         comparison[3].Text == "0";
    if (!matches) {
        return {};
    }
    std::vector<TokenSpan> arguments = SplitAtCommas(comparison[1].Inside);
    if (arguments.size() != 3 || JoinTokens(arguments[0]) != "'day'") {
        return {};
    }
    arguments.erase(arguments.begin());
    return arguments;
}

}  // namespace

std::unique_ptr<HistoryIndex> HistoryIndex::For(const SqliteDatabase& database,
                                                std::string_view sql) {
    const Tokens tokens = Tokenize(sql);
    if (tokens.size() < 4 || !tokens[0].Is("update") || !tokens[1].IsName() ||
        !tokens[2].Is("set")) {
        return nullptr;
    }
    std::string columns;
    std::size_t i = FindWord(tokens, "where", 3) + 1;
    for (; i + 3 < tokens.size() && tokens[i].IsName() && tokens[i + 1].Is("=") &&
           tokens[i + 2].Kind == TokenKind::Parameter && tokens[i + 3].Is("and");
         i += 4) {
        columns += tokens[i].Text + ", ";
    }
    const auto days = ComparedDays(TokenSpan(tokens).subspan(std::min(i, tokens.size())));
    if (days.empty()) {
        return nullptr;
    }
    const std::string first = DayNumber(days[0]);
    const std::string second = DayNumber(days[1]);
    std::unique_ptr<HistoryIndex> index(new HistoryIndex(database));
    index->table_ = tokens[1].Text;
    index->columns_ = columns + (IsParameter(days[0]) ? second : first);
    index->name_ = QuotedName("morvane history " + index->columns_);
    index->statement_ =
        JoinTokens(TokenSpan(tokens).first(i)) + " (" + first + " = " + second + ")";
    return index->columns_.find('?') == std::string::npos ? std::move(index) : nullptr;
}

HistoryIndex::~HistoryIndex() {
    try {
        Drop();
    } catch (...) {
        // The failure ends the transaction, which removes the index.
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
