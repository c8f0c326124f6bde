// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Catalogue.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <string>
#include <vector>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/embedded/CreateStatement.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

// The length that CREATE TABLE stores for "varchar(max)".
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

// The columns of a table, including computed ones, without hidden columns of virtual tables.
constexpr std::string_view kColumns = "pragma_table_xinfo(?1) WHERE hidden <> 1";

// An expression on the catalogue for each column, in order.
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

// Checks the schema in memory, which is current and faster than reading the schema table. It has
// names besides those of the warehouse's tables, but no views.
bool IsTable(const SqliteDatabase& database, std::string_view table) {
    const std::string name = ToLower(table);
    return !name.starts_with("sqlite_") &&
           sqlite3_table_column_metadata(database.Handle(), "main", name.c_str(), nullptr, nullptr,
                                         nullptr, nullptr, nullptr, nullptr) == SQLITE_OK;
}

struct KnownType {
    std::string_view Name;
    DataType Type;
    int Size;       // bytes, or characters when no length is declared
    int Precision;  // when none is declared
};

constexpr std::array kKnownTypes = {
    KnownType{"bit", DataType::Boolean, 2, 0},
    KnownType{"tinyint", DataType::TinyInt, 1, 3},
    KnownType{"smallint", DataType::SmallInt, 2, 5},
    KnownType{"int", DataType::Integer, 4, 10},
    KnownType{"integer", DataType::Integer, 4, 10},
    KnownType{"bigint", DataType::BigInt, 8, 19},
    KnownType{"real", DataType::Single, 4, 7},
    KnownType{"float", DataType::Double, 8, 15},
    KnownType{"money", DataType::Currency, 8, 19},
    KnownType{"smallmoney", DataType::Currency, 8, 10},
    KnownType{"decimal", DataType::Numeric, 19, 18},
    KnownType{"numeric", DataType::Numeric, 19, 18},
    KnownType{"char", DataType::Char, 1, 0},
    KnownType{"varchar", DataType::VarChar, 1, 0},
    // The server's old long text cannot be compared; SQLite's "text" is what a varchar is.
    KnownType{"text", DataType::VarChar, 2147483647, 0},
    KnownType{"nchar", DataType::WChar, 1, 0},
    KnownType{"nvarchar", DataType::VarWChar, 1, 0},
    KnownType{"ntext", DataType::LongVarWChar, 1073741823, 0},
    KnownType{"datetime", DataType::DBTimeStamp, 16, 23},
    KnownType{"datetime2", DataType::DBTimeStamp, 16, 27},
    KnownType{"smalldatetime", DataType::DBTimeStamp, 16, 16},
    KnownType{"date", DataType::DBTimeStamp, 16, 10},
    KnownType{"uniqueidentifier", DataType::Guid, 16, 0},
    KnownType{"binary", DataType::Binary, 1, 0},
    KnownType{"varbinary", DataType::VarBinary, 1, 0},
};

bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// SQLite's rules of column affinity, in their order.
DataType TypeByAffinity(std::string_view name) {
    const std::string upper = ToUpper(name);
    if (Contains(upper, "INT")) {
        return DataType::BigInt;
    }
    if (Contains(upper, "CHAR") || Contains(upper, "CLOB") || Contains(upper, "TEXT")) {
        return DataType::VarChar;
    }
    if (Contains(upper, "REAL") || Contains(upper, "FLOA") || Contains(upper, "DOUB")) {
        return DataType::Double;
    }
    return upper.empty() || Contains(upper, "BLOB") ? DataType::VarChar : DataType::Numeric;
}

std::vector<int> DeclaredNumbers(std::string_view declared, std::size_t open) {
    std::vector<int> numbers;
    const std::size_t close = declared.find(')', open);
    for (const std::string& piece : SplitColumnList(declared.substr(open + 1, close - open - 1))) {
        int number = 2147483647;  // "max"
        std::from_chars(piece.data(), piece.data() + piece.size(), number);
        numbers.push_back(number);
    }
    return numbers;
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
    // An INTEGER PRIMARY KEY is part of the table and not in the index list.
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

std::vector<std::vector<std::string>> IndexColumns(const SqliteDatabase& database,
                                                   std::string_view table) {
    // A key that is the row number itself, or that orders the table, is not in the index list.
    SqliteStatement columns(
        database.Handle(),
        "SELECT 0, i.name, 'pk', i.pk FROM pragma_table_info(?1) AS i WHERE i.pk > 0"
        " UNION ALL SELECT 1, i.name, l.name, i.seqno FROM pragma_index_list(?1) AS l,"
        " pragma_index_info(l.name) AS i WHERE l.partial = 0 ORDER BY 1, 3, 4",
        "");
    columns.Bind(1, Value(std::string(table)));
    std::vector<std::vector<std::string>> indexes;
    std::string current;
    while (columns.Step()) {
        const std::string index = ColumnText(columns, 0) + ColumnText(columns, 2);
        if (indexes.empty() || index != current) {
            indexes.emplace_back();
            current = index;
        }
        indexes.back().push_back(ColumnText(columns, 1));
    }
    return indexes;
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

ColumnType ParseColumnType(std::string_view declared) {
    const std::size_t open = declared.find('(');
    const std::string_view name = Trim(declared.substr(0, open));
    const auto* const known =
        std::find_if(kKnownTypes.begin(), kKnownTypes.end(),
                     [&](const KnownType& type) { return EqualsIgnoreCase(type.Name, name); });
    ColumnType type;
    if (known == kKnownTypes.end()) {
        type.Type = TypeByAffinity(name);
        return type;
    }
    type = {known->Type, known->Size, known->Precision, 0};
    if (open == std::string_view::npos) {
        return type;
    }
    const std::vector<int> numbers = DeclaredNumbers(declared, open);
    if (known->Type == DataType::Numeric) {
        type.Precision = numbers[0];
        type.NumericScale = numbers.size() > 1 ? numbers[1] : 0;
    } else if (known->Precision == 0) {
        type.DefinedSize = numbers[0];
    }
    return type;
}

bool IsDateType(std::string_view declared) {
    return ParseColumnType(declared).Type == DataType::DBTimeStamp;
}

}  // namespace morvane::embedded
