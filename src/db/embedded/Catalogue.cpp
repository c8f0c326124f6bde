// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Catalogue.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <map>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/embedded/ColumnTypes.h"
#include "db/embedded/CreateStatement.h"
#include "db/embedded/DateDefault.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

// What "varchar(max)" became when the table was made.
constexpr int kMaxLength = 2147483647;

std::string ColumnText(const SqliteStatement& row, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row.Handle(), column));
    return text == nullptr ? "" : text;
}

std::string SchemaText(const SqliteDatabase& database, std::string_view table) {
    SqliteStatement find(database.Handle(),
                         "SELECT sql FROM sqlite_schema WHERE type = 'table' AND name = ?"
                         " COLLATE NOCASE",
                         "");
    find.Bind(1, Value(std::string(table)));
    if (!find.Step()) {
        throw DatabaseError({"There is no table \"" + std::string(table) + "\"."});
    }
    return ColumnText(find, 0);
}

// "decimal(18, 4)" as name, length, precision and scale.
void ReadType(std::string_view declared, ColumnDefinition& column) {
    const std::size_t open = declared.find('(');
    column.TypeName = ToLower(Trim(declared.substr(0, open)));
    const ColumnType type = ParseColumnType(declared);
    const bool numbered = open != std::string_view::npos;
    switch (type.Type) {
        case DataType::Numeric:
            column.Precision = numbered ? type.Precision : 0;
            column.Scale = type.NumericScale;
            break;
        case DataType::Char:
        case DataType::VarChar:
        case DataType::WChar:
        case DataType::VarWChar:
        case DataType::Binary:
        case DataType::VarBinary:
            column.Length = numbered ? type.DefinedSize : 0;
            column.Length = column.Length == kMaxLength ? -1 : column.Length;
            break;
        case DataType::DBTimeStamp:
            column.Precision = column.TypeName == "datetime2" ? 7 : 0;
            if (numbered) {
                std::from_chars(declared.data() + open + 1, declared.data() + declared.size(),
                                column.Precision);
            }
            break;
        default:
            break;
    }
}

std::string CollationOf(const SqliteDatabase& database, std::string_view table,
                        const std::string& column) {
    const char* collation = nullptr;
    const std::string name(table);
    sqlite3_table_column_metadata(database.Handle(), "main", name.c_str(), column.c_str(), nullptr,
                                  &collation, nullptr, nullptr, nullptr);
    const std::string text = collation == nullptr ? "" : collation;
    return EqualsIgnoreCase(text, "binary") ? "" : text;
}

// A table's columns, computed ones among them. Hidden columns of virtual tables are left out.
constexpr std::string_view kColumns = "pragma_table_xinfo(?1) WHERE hidden <> 1";

// What the catalogue says of each column, in the table's order.
std::vector<std::string> ColumnTexts(const SqliteDatabase& database, std::string_view what,
                                     std::string_view condition, std::string_view table) {
    SqliteStatement columns(
        database.Handle(),
        fmt::format("SELECT {} FROM {}{} ORDER BY cid", what, kColumns, condition), "");
    columns.Bind(1, Value(std::string(table)));
    std::vector<std::string> texts;
    while (columns.Step()) {
        texts.push_back(ColumnText(columns, 0));
    }
    return texts;
}

bool HasRow(const SqliteDatabase& database, std::string_view sql, std::string_view table) {
    SqliteStatement statement(database.Handle(), sql, sql);
    statement.Bind(1, Value(std::string(table)));
    return statement.Step();
}

// Asks the schema in memory, which is as new as the last statement: a look at each of the many rows
// of the one in the file is spared. It knows more names than the warehouse has tables, and no
// views.
bool IsTable(const SqliteDatabase& database, std::string_view table) {
    const std::string name = ToLower(table);
    return !name.starts_with("sqlite_") &&
           sqlite3_table_column_metadata(database.Handle(), "main", name.c_str(), nullptr, nullptr,
                                         nullptr, nullptr, nullptr, nullptr) == SQLITE_OK;
}

}  // namespace

bool TableExists(const SqliteDatabase& database, std::string_view table) {
    return HasRow(database,
                  "SELECT 1 FROM sqlite_schema WHERE type IN ('table', 'view')"
                  " AND name = ? COLLATE NOCASE",
                  table);
}

std::optional<NamedTable> FindTable(const SqliteDatabase& database, std::string_view table) {
    NamedTable found;
    found.Columns = ColumnTexts(database, "name", "", table);
    if (!IsTable(database, table) && !TableExists(database, table)) {
        return std::nullopt;
    }
    // SQLite keeps an INTEGER PRIMARY KEY in the table itself, without a line in the index list.
    found.Indexed = HasRow(database,
                           "SELECT 1 FROM pragma_index_list(?1) UNION ALL"
                           " SELECT 1 FROM pragma_table_info(?1) WHERE pk > 0",
                           table);
    return found;
}

TableDefinition DescribeTable(const SqliteDatabase& database, std::string_view table) {
    TableDefinition definition;
    definition.Name = table;
    const CreateStatement create(SchemaText(database, table));
    SqliteStatement columns(database.Handle(),
                            "SELECT name, type, \"notnull\", dflt_value, pk FROM " +
                                std::string(kColumns) + " ORDER BY cid",
                            "");
    columns.Bind(1, Value(std::string(table)));
    std::map<int, std::string> keyColumns;
    while (columns.Step()) {
        ColumnDefinition column;
        column.Name = ColumnText(columns, 0);
        ReadType(ColumnText(columns, 1), column);
        const int keyPosition = sqlite3_column_int(columns.Handle(), 4);
        column.Nullable = sqlite3_column_int(columns.Handle(), 2) == 0 && keyPosition == 0;
        column.Default = ServerDefault(ColumnText(columns, 3));
        column.Collation = CollationOf(database, table, column.Name);
        if (keyPosition > 0) {
            keyColumns[keyPosition] = column.Name;
        }
        definition.Columns.push_back(std::move(column));
    }
    if (!keyColumns.empty()) {
        KeyDefinition key;
        key.Name = create.PrimaryKeyName(table).value_or("PK_" + std::string(table));
        for (const auto& [position, name] : keyColumns) {
            key.Columns.push_back(name);
        }
        definition.PrimaryKey = std::move(key);
    }
    return definition;
}

DateKind DateKindOfType(std::string_view declared) {
    const std::string_view name = Trim(declared.substr(0, declared.find('(')));
    return !IsDateType(declared)                 ? DateKind::None
           : EqualsIgnoreCase(name, "date")      ? DateKind::Date
           : EqualsIgnoreCase(name, "datetime2") ? DateKind::DateTime2
                                                 : DateKind::SessionDateTime;
}

std::optional<DateKind> DateKindOf(const SqliteDatabase& database, std::string_view table,
                                   std::string_view column) {
    SqliteStatement find(
        database.Handle(),
        "SELECT type FROM " + std::string(kColumns) + " AND name = ?2 COLLATE NOCASE", "");
    find.Bind(1, Value(std::string(table)));
    find.Bind(2, Value(std::string(column)));
    if (!find.Step()) {
        return std::nullopt;
    }
    return DateKindOfType(ColumnText(find, 0));
}

bool MayHoldNumbers(const SqliteDatabase& database, std::string_view table,
                    std::string_view column) {
    SqliteStatement index(database.Handle(),
                          "SELECT 1 FROM pragma_index_list(?1) AS l, pragma_index_info(l.name) AS i"
                          " WHERE l.partial = 0 AND i.seqno = 0 AND i.name = ?2 COLLATE NOCASE",
                          "");
    index.Bind(1, Value(std::string(table)));
    index.Bind(2, Value(std::string(column)));
    return !index.Step() || SqliteStatement(database.Handle(),
                                            fmt::format("SELECT 1 FROM {} WHERE {} < '' LIMIT 1",
                                                        QuotedName(table), QuotedName(column)),
                                            "")
                                .Step();
}

std::string UntypedExpression(const SqliteDatabase& database, std::string_view table,
                              std::string_view column) {
    SqliteStatement find(
        database.Handle(),
        "SELECT 1 FROM pragma_table_xinfo(?1) WHERE hidden IN (2, 3) AND type = '' AND name = ?2"
        " COLLATE NOCASE",
        "");
    find.Bind(1, Value(std::string(table)));
    find.Bind(2, Value(std::string(column)));
    return find.Step() ? CreateStatement(SchemaText(database, table)).ComputedBy(column) : "";
}

std::vector<DateKind> DateKindsOfInserted(const SqliteDatabase& database, std::string_view table) {
    std::vector<DateKind> kinds;
    for (const std::string& type : ColumnTexts(database, "type", " AND hidden = 0", table)) {
        kinds.push_back(DateKindOfType(type));
    }
    return kinds;
}

}  // namespace morvane::embedded
