// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/LiteralList.h"

#include <algorithm>
#include <array>

#include "base/Text.h"
#include "db/embedded/Catalogue.h"
#include "sql/Lexer.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

constexpr std::size_t kLong = 1000;  // bytes; compiling a shorter list is faster than this

// Reads a query up to the first list of texts, as in "t.c IN ('a'". Returns the position of that
// text; npos if there is none or if t.c may hold dates.
std::size_t FindList(const SqliteDatabase& database, std::string_view sql) {
    Lexer lexer(sql);
    std::array<Lexeme, 6> last;  // t . c [not] in (
    Lexeme lexeme;
    for (std::size_t begin = lexer.Position(); lexer.Next(lexeme) && !lexeme.Problem;
         begin = lexer.Position()) {
        if (lexeme.Kind == TokenKind::Text && last[5].Is("(") && last[4].Is("in")) {
            const std::size_t name = last[3].Is("not") ? 0 : 1;
            return last[name + 1].Is(".") && DateKindOf(database, last[name].Text,
                                                        last[name + 2].Text) == DateKind::None
                       ? begin
                       : std::string_view::npos;
        }
        std::rotate(last.begin(), last.begin() + 1, last.end());
        last.back() = lexeme;
    }
    return std::string_view::npos;
}

// The position after the text literal at `begin`; npos if there is none.
std::size_t SkipText(std::string_view list, std::size_t begin) {
    Lexeme lexeme;
    Lexer lexer(list.substr(std::min(begin, list.size())));
    const bool text =
        lexer.Position() == 0 && lexer.Next(lexeme) && !lexeme.Problem && lexeme.Text[0] == '\'';
    return text ? begin + lexeme.Text.size() : std::string_view::npos;
}

}  // namespace

std::string LiteralList::Replace(const SqliteDatabase& database, std::string_view sql) {
    // A rollback would restore an earlier list.
    if (sql.size() < kLong || sqlite3_get_autocommit(database.Handle()) == 0) {
        return std::string(sql);
    }
    const std::size_t begin = FindList(database, sql);
    if (begin == std::string_view::npos) {
        return std::string(sql);
    }
    const std::string_view list = sql.substr(begin);
    const std::size_t length = Hold(database, list);
    if (length == 0) {
        return std::string(sql);
    }
    std::string shorter(sql.substr(0, begin));
    shorter += "SELECT item FROM temp.\"literal list\"";
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
        items.push_back(Unquoted(list.substr(begin, end - begin)));
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
