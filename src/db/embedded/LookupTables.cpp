// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/LookupTables.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/Text.h"
#include "db/embedded/Catalogue.h"
#include "sql/Lexer.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

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

constexpr int kOften = 20;
constexpr std::int64_t kLarge = 200;  // rows; scanning fewer is as fast as a lookup

struct MetaTable {
    const char* Name;
    std::array<const char*, 2> AskedBy;
};
constexpr std::array kMetaTables = {
    MetaTable{"dwm_tables", {"table_name", nullptr}},
    MetaTable{"dwm_star_relations", {"primary_table", "foreign_table"}},
};

// True if the text contains the name of one, in whatever context.
bool NamesMetaTable(std::string_view sql) {
    const std::string lower = ToLower(sql);
    return std::ranges::any_of(kMetaTables, [&lower](const MetaTable& table) {
        return lower.find(table.Name) != std::string::npos;
    });
}

std::string CopyOf(const MetaTable& table) {
    return "\"copy of " + std::string(table.Name) + "\"";
}

// Replaces the names of the meta tables by those of their copies. False if there are none.
bool ReadCopies(Tokens& tokens) {
    bool found = false;
    for (Token& token : tokens) {
        found = ReadCopies(token.Inside) || found;
        for (const MetaTable& table : kMetaTables) {
            if (EqualsIgnoreCase(token.NameText(), table.Name)) {
                token.Kind = TokenKind::Name;
                token.Text = CopyOf(table);
                found = true;
            }
        }
    }
    return found;
}

std::int64_t Number(const SqliteDatabase& database, const std::string& sql) {
    SqliteStatement statement(database.Handle(), sql, sql);
    return statement.Step() ? sqlite3_column_int64(statement.Handle(), 0) : 0;
}

bool IsBusy(const SqliteDatabase& database) {
    sqlite3_stmt* statement = nullptr;
    while ((statement = sqlite3_next_stmt(database.Handle(), statement)) != nullptr) {
        if (sqlite3_stmt_busy(statement) != 0) {
            return true;
        }
    }
    return false;
}

// True if changing another table may change the meta tables.
bool HasTriggers(const SqliteDatabase& database) {
    SqliteStatement triggers(database.Handle(),
                             "SELECT sql FROM main.sqlite_schema WHERE type = 'trigger'", "");
    while (triggers.Step()) {
        const auto* sql = sqlite3_column_text(triggers.Handle(), 0);
        if (NamesMetaTable(reinterpret_cast<const char*>(sql))) {
            return true;
        }
    }
    return false;
}

struct Columns {
    std::string Names;        // in quotes, comma-separated
    std::string Definitions;  // as CREATE TABLE has them
};

// Empty for a view and for a missing table.
Columns ColumnsOf(const SqliteDatabase& database, const char* table) {
    SqliteStatement rows(database.Handle(),
                         "SELECT name, type FROM pragma_table_xinfo(?, 'main') WHERE hidden <> 1"
                         " ORDER BY cid",
                         "");
    rows.Bind(1, Value(std::string(table)));
    Columns columns;
    while (rows.Step()) {
        const auto* name = reinterpret_cast<const char*>(sqlite3_column_text(rows.Handle(), 0));
        const auto* type = reinterpret_cast<const char*>(sqlite3_column_text(rows.Handle(), 1));
        const char* collation = nullptr;
        if (sqlite3_table_column_metadata(database.Handle(), "main", table, name, nullptr,
                                          &collation, nullptr, nullptr, nullptr) != SQLITE_OK) {
            return {};
        }
        const std::string comma = columns.Names.empty() ? "" : ", ";
        columns.Names += comma + QuotedName(name);
        columns.Definitions += comma + QuotedName(name) + " " + type + " COLLATE " + collation;
    }
    return columns;
}

void CopyTable(const SqliteDatabase& database, const MetaTable& table, const Columns& columns) {
    const std::string copy = CopyOf(table);
    database.Run("DROP TABLE IF EXISTS temp." + copy);
    database.Run("CREATE TEMP TABLE " + copy + "(" + columns.Definitions + ")");
    database.Run("INSERT INTO temp." + copy + " SELECT " + columns.Names + " FROM main." +
                 table.Name);
    for (const char* column : table.AskedBy) {
        if (column != nullptr) {
            database.Run("CREATE INDEX temp.\"" + std::string(column) + " of " + copy.substr(1) +
                         " ON " + copy + "(" + column + ")");
        }
    }
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

// Stores the texts at the beginning of `list`, up to a ")". Returns their length in the statement,
// 0 for a short list or one with anything but texts.
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
        // One per collation of columns.
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
    text_.clear();  // and remains empty if an insert fails
    for (const std::string& item : items) {
        insert.Bind(1, Value(item));
        insert.Step();
        insert.Reset();
    }
}

bool MetaTableCopies::MayChange(std::string_view sql) {
    const bool names = NamesMetaTable(sql);
    if (names) {
        made_ = false;
        asked_ = 0;
    }
    return names;
}

std::string MetaTableCopies::Replace(const SqliteDatabase& database, const std::string& sql) {
    if (!NamesMetaTable(sql)) {
        return sql;
    }
    Tokens tokens = Tokenize(sql);
    const bool found = ReadCopies(tokens);
    return found && tokens[0].Is("select") && Serve(database) ? JoinTokens(tokens) : sql;
}

// True if the copies exist and are up to date.
bool MetaTableCopies::Serve(const SqliteDatabase& database) {
    if (sqlite3_get_autocommit(database.Handle()) == 0) {
        return false;  // a rollback would remove the copies
    }
    const std::int64_t version = Number(database, "PRAGMA data_version");
    if (version != version_) {
        made_ = false;
        asked_ = 0;
        version_ = version;
    }
    if (!made_ && ++asked_ >= kOften && !IsBusy(database)) {
        asked_ = 0;
        Make(database);
    }
    return made_;
}

void MetaTableCopies::Make(const SqliteDatabase& database) {
    std::array<Columns, kMetaTables.size()> columns;
    std::int64_t rows = 0;
    for (std::size_t i = 0; i < kMetaTables.size(); ++i) {
        const char* name = kMetaTables[i].Name;
        columns[i] = ColumnsOf(database, name);
        if (columns[i].Names.empty()) {
            return;
        }
        rows = std::max(rows, Number(database, "SELECT count(*) FROM main." + std::string(name)));
    }
    if (rows < kLarge || HasTriggers(database)) {
        return;
    }
    for (std::size_t i = 0; i < kMetaTables.size(); ++i) {
        CopyTable(database, kMetaTables[i], columns[i]);
    }
    // Another connection may have changed them meanwhile.
    made_ = Number(database, "PRAGMA data_version") == version_;
}

}  // namespace morvane::embedded
