// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/MetaTableCopies.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/Text.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

namespace {

constexpr int kOften = 20;
constexpr std::int64_t kLarge = 200;  // rows; fewer are read as soon as looked up

struct MetaTable {
    const char* Name;
    std::array<const char*, 2> AskedBy;
};
constexpr std::array kMetaTables = {
    MetaTable{"dwm_tables", {"table_name", nullptr}},
    MetaTable{"dwm_star_relations", {"primary_table", "foreign_table"}},
};

// Whether the text names one of them, or holds such a name in whatever sense.
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

// Whether a change of some other table may change the meta tables.
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

// Both are empty for a view and where there is no such table.
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

// True when there are copies and they hold what the meta tables hold.
bool MetaTableCopies::Serve(const SqliteDatabase& database) {
    if (sqlite3_get_autocommit(database.Handle()) == 0) {
        return false;  // a rollback would take copies away, and with them what this object knows
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
    // Somebody may have changed them meanwhile.
    made_ = Number(database, "PRAGMA data_version") == version_;
}

}  // namespace morvane::embedded
