// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/LiteralList.h"

#include <algorithm>

#include "base/Text.h"
#include "db/embedded/Catalogue.h"
#include "db/embedded/Tokens.h"

namespace morvane::embedded {

namespace {

constexpr std::size_t kLong = 1000;  // bytes; shorter lists are compiled sooner than looked up here
constexpr std::string_view kOpening = " IN ('";
constexpr std::string_view kNot = " NOT";

// Whether the text ends with "t.c" or "t.c NOT", a column that holds no dates.
bool EndsWithPlainColumn(const SqliteDatabase& database, std::string_view sql) {
    if (sql.size() > kNot.size() && EqualsIgnoreCase(sql.substr(sql.size() - kNot.size()), kNot)) {
        sql.remove_suffix(kNot.size());
    }
    const std::string_view name = sql.substr(sql.find_last_of(" (,=\r\n") + 1);
    const std::size_t dot = name.find('.');
    return dot != std::string_view::npos &&
           DateKindOf(database, name.substr(0, dot), name.substr(dot + 1)) == DateKind::None;
}

// The position behind the text literal at `begin`; npos when there is none.
std::size_t SkipText(std::string_view list, std::size_t begin) {
    if (begin >= list.size() || list[begin] != '\'') {
        return std::string_view::npos;
    }
    std::size_t end = list.find('\'', begin + 1);
    while (end != std::string_view::npos && end + 1 < list.size() && list[end + 1] == '\'') {
        end = list.find('\'', end + 2);
    }
    return end == std::string_view::npos ? end : end + 1;
}

}  // namespace

std::string LiteralList::Replace(const SqliteDatabase& database, std::string_view sql) {
    const std::size_t opening = sql.size() < kLong ? std::string_view::npos : sql.find(kOpening);
    // A rollback would take the table back to an earlier list.
    if (opening == std::string_view::npos || sqlite3_get_autocommit(database.Handle()) == 0) {
        return std::string(sql);
    }
    const std::string_view before = sql.substr(0, opening);
    const std::string_view list = sql.substr(opening + kOpening.size() - 1);
    const bool inText = std::count(before.begin(), before.end(), '\'') % 2 != 0;
    if (inText || !EndsWithPlainColumn(database, before)) {
        return std::string(sql);
    }
    const std::size_t length = Hold(database, list);
    if (length == 0) {
        return std::string(sql);
    }
    std::string shorter(before);
    shorter += " IN (SELECT item FROM temp.\"literal list\"";
    shorter += list.substr(length);
    return shorter;
}

// Makes the table hold the texts at the beginning of `list`, up to a ")". Returns the length of
// that, 0 when it is not long or nothing for the table.
std::size_t LiteralList::Hold(const SqliteDatabase& database, std::string_view list) {
    const bool goesOn = !text_.empty() && list.starts_with(text_);
    std::vector<std::string> items;
    std::size_t end = goesOn ? text_.size() : 0;
    while (end == 0 || (end < list.size() && list[end] == ',')) {
        const std::size_t begin = end == 0 ? 0 : end + 1;
        end = SkipText(list, begin);
        if (end == std::string_view::npos) {
            return 0;
        }
        items.push_back(LiteralText(list.substr(begin, end - begin)));
    }
    if (end < kLong || end == list.size() || list[end] != ')') {
        return 0;
    }
    if (!goesOn) {
        text_.clear();
        database.Run("CREATE TEMP TABLE IF NOT EXISTS \"literal list\"(item NOT NULL)");
        // One for each way in which columns compare their texts.
        database.Run(
            "CREATE INDEX IF NOT EXISTS temp.\"literal list exact\" ON"
            " \"literal list\"(item COLLATE BINARY)");
        database.Run(
            "CREATE INDEX IF NOT EXISTS temp.\"literal list ignoring case\" ON"
            " \"literal list\"(item COLLATE NOCASE)");
        database.Run("DELETE FROM temp.\"literal list\"");
    }
    Store(database, items);
    text_ = list.substr(0, end);
    return end;
}

void LiteralList::Store(const SqliteDatabase& database, const std::vector<std::string>& items) {
    constexpr const char* kInsert = "INSERT INTO temp.\"literal list\" VALUES(?)";
    SqliteStatement insert(database.Handle(), kInsert, kInsert);
    text_.clear();  // and stays so when an insert fails
    for (const std::string& item : items) {
        insert.Bind(1, Value(item));
        insert.Step();
        insert.Reset();
    }
}

}  // namespace morvane::embedded
