// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcCatalogue.h"

#include <algorithm>
#include <map>
#include <set>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "core/Recordset.h"
#include "db/odbc/OdbcRecordset.h"
#include "sql/Quoting.h"

namespace morvane::odbc {

namespace {

// "Invalid object name": the server does not have the catalogue views.
constexpr int kNoSuchObject = 208;

// An error contains a description of the query instead of its long text.
std::unique_ptr<Recordset> Query(const std::shared_ptr<OdbcSession>& session,
                                 const std::string& sql, std::string_view table) {
    try {
        OdbcStatement statement(session, sql);
        statement.ExecuteDirectly();
        OdbcRecordset rows(std::move(statement));
        return BufferRecordset(rows);
    } catch (const DatabaseError& error) {
        throw DatabaseError(error.Descriptions(),
                            MaskedSql{"the catalogue's description of " + std::string(table)},
                            error.Code());
    }
}

// The columns of all tables and views with a name. The table that a statement would mean comes
// first: OBJECT_ID resolves the name like a statement. An alias type is reported as its base type,
// a CLR type as itself. Hidden columns, which "select *" omits, are excluded.
std::string ColumnsQuery(std::string_view table) {
    const std::string name = WideLiteral(table);
    return "SELECT o.object_id AS table_id, c.name AS column_name,"
           " COALESCE(b.name, t.name) AS type_name, c.max_length, c.precision, c.scale,"
           " c.is_nullable, c.collation_name, d.definition AS default_text, k.name AS key_name,"
           " i.key_ordinal, CASE WHEN EXISTS (SELECT 1 FROM sys.indexes x WHERE"
           " x.object_id = o.object_id AND x.type > 0) THEN 1 ELSE 0 END AS is_indexed"
           " FROM sys.objects o"
           " JOIN sys.columns c ON c.object_id = o.object_id"
           " LEFT JOIN sys.types t ON t.user_type_id = c.user_type_id"
           " LEFT JOIN sys.types b ON b.user_type_id = c.system_type_id"
           " LEFT JOIN sys.default_constraints d ON d.object_id = c.default_object_id"
           " LEFT JOIN sys.indexes k ON k.object_id = o.object_id AND k.is_primary_key = 1"
           " LEFT JOIN sys.index_columns i ON i.object_id = o.object_id AND"
           " i.index_id = k.index_id AND i.column_id = c.column_id"
           " WHERE o.name = " +
           name +
           " AND o.type IN ('U', 'V')"
           " AND COALESCE(COLUMNPROPERTY(o.object_id, c.name, 'IsHidden'), 0) = 0"
           " ORDER BY CASE WHEN o.object_id = OBJECT_ID(QUOTENAME(RTRIM(" +
           name + "))) THEN 0 ELSE 1 END, o.object_id, c.column_id";
}

// The key columns of all indexes of the table that a statement would mean.
std::string IndexesQuery(std::string_view table) {
    return "SELECT k.index_id, c.name AS column_name FROM sys.indexes k"
           " JOIN sys.index_columns i ON i.object_id = k.object_id AND i.index_id = k.index_id"
           " JOIN sys.columns c ON c.object_id = i.object_id AND c.column_id = i.column_id"
           " WHERE k.object_id = OBJECT_ID(QUOTENAME(RTRIM(" +
           WideLiteral(table) +
           "))) AND k.type > 0 AND i.key_ordinal > 0 ORDER BY k.index_id, i.key_ordinal";
}

std::int64_t IntegerOf(const Recordset& row, std::string_view column) {
    const Value& value = row.ValueOf(column);
    return value.IsNull() ? 0 : value.Integer();
}

bool EndsWithAny(std::string_view text, std::initializer_list<std::string_view> ends) {
    return std::any_of(ends.begin(), ends.end(),
                       [text](std::string_view end) { return text.ends_with(end); });
}

bool HasFraction(std::string_view type) {
    return type == "datetime2" || type == "time" || type == "datetimeoffset";
}

ColumnDefinition ViewColumn(const Recordset& row) {
    ColumnDefinition column;
    column.Name = row.ValueOf("column_name").Text();
    column.TypeName = ToLower(row.ValueOf("type_name").Text());
    const std::string& type = column.TypeName;
    const auto length = static_cast<int>(IntegerOf(row, "max_length"));  // in bytes
    if (EndsWithAny(type, {"char", "binary"})) {
        const bool wide = type == "nchar" || type == "nvarchar";
        column.Length = length > 0 && wide ? length / 2 : length;
    } else if (type == "decimal" || type == "numeric") {
        column.Precision = static_cast<int>(IntegerOf(row, "precision"));
        column.Scale = static_cast<int>(IntegerOf(row, "scale"));
    } else if (HasFraction(type)) {
        column.Precision = static_cast<int>(IntegerOf(row, "scale"));
    }
    column.Nullable = row.ValueOf("is_nullable").Flag();
    column.Collation = row.ValueOf("collation_name").Text();
    column.Default = row.ValueOf("default_text").Text();
    return column;
}

NamedTable NamedFromView(Recordset& rows) {
    NamedTable table;
    for (; !rows.Eof(); rows.MoveNext()) {
        table.Columns.push_back(rows.ValueOf("column_name").Text());
        table.Indexed = table.Indexed || rows.ValueOf("is_indexed").Flag();
    }
    return table;
}

TableDefinition DefinitionFromView(Recordset& rows, std::string_view table) {
    TableDefinition definition;
    definition.Name = table;
    const Value first = rows.ValueOf("table_id");
    std::map<std::int64_t, std::string> keyColumns;
    for (; !rows.Eof() && rows.ValueOf("table_id") == first; rows.MoveNext()) {
        definition.Columns.push_back(ViewColumn(rows));
        if (const std::int64_t position = IntegerOf(rows, "key_ordinal"); position > 0) {
            keyColumns[position] = definition.Columns.back().Name;
            definition.PrimaryKey = KeyDefinition{rows.ValueOf("key_name").Text(), {}};
        }
    }
    for (const auto& [position, name] : keyColumns) {
        definition.PrimaryKey->Columns.push_back(name);
    }
    return definition;
}

SQLSMALLINT Length(std::string_view text) {
    return static_cast<SQLSMALLINT>(text.size());
}

using SessionPtr = std::shared_ptr<OdbcSession>;

// The rows of a catalogue function, whose column numbers (from 1) the ODBC standard defines.
template <typename Function>
std::unique_ptr<Recordset> Rows(const SessionPtr& session, const char* name, Function&& function) {
    OdbcStatement statement(session, name);
    statement.Call([&] { return function(statement.Get()); });
    OdbcRecordset rows(std::move(statement));
    return BufferRecordset(rows);
}

std::unique_ptr<Recordset> Columns(const SessionPtr& session, std::string_view table) {
    return Rows(session, "SQLColumns", [&](SQLHANDLE statement) {
        return SQLColumns(statement, nullptr, 0, nullptr, 0, OdbcText(table), Length(table),
                          nullptr, 0);
    });
}

std::string TextAt(const Recordset& row, std::size_t standardNumber) {
    return row[standardNumber - 1].Text();
}

bool Names(const Recordset& row, std::size_t standardNumber, std::string_view name) {
    return EqualsIgnoreCase(TextAt(row, standardNumber), name);
}

constexpr std::size_t kSchemaName = 2;
constexpr std::size_t kTableName = 3;
constexpr std::size_t kColumnName = 4;

// The number of fractional second digits, computed from the display size because some servers
// report nothing else. When in doubt the maximum, which loses nothing.
int FractionDigits(std::string_view type, std::int64_t length) {
    constexpr std::int64_t kMostDigits = 7;
    const std::int64_t whole = type == "time" ? 8 : type == "datetime2" ? 19 : 26;
    if (length == whole) {
        return 0;
    }
    const std::int64_t digits = length - whole - 1;  // the point
    return static_cast<int>(digits < 1 || digits > kMostDigits ? kMostDigits : digits);
}

ColumnDefinition DescribeColumn(const Recordset& row) {
    constexpr std::size_t kTypeName = 6;
    constexpr std::size_t kColumnSize = 7;
    constexpr std::size_t kDecimalDigits = 9;
    constexpr std::size_t kNullable = 11;
    constexpr std::size_t kDefault = 13;
    constexpr std::int64_t kLongest = 8000;

    ColumnDefinition column;
    column.Name = TextAt(row, kColumnName);
    column.TypeName = ToLower(TextAt(row, kTypeName));
    // "int identity", "numeric() identity": identity is not copied.
    column.TypeName = column.TypeName.substr(0, column.TypeName.find_first_of(" ("));
    const std::int64_t size = row[kColumnSize - 1].IsNull() ? 0 : row[kColumnSize - 1].Integer();
    const std::int64_t digits =
        row[kDecimalDigits - 1].IsNull() ? 0 : row[kDecimalDigits - 1].Integer();
    const std::string& type = column.TypeName;
    if (type.ends_with("char") || type.ends_with("binary")) {
        column.Length = size <= 0 || size > kLongest ? -1 : static_cast<int>(size);
    } else if (type == "decimal" || type == "numeric") {
        column.Precision = static_cast<int>(size);
        column.Scale = static_cast<int>(digits);
    } else if (HasFraction(type)) {
        column.Precision = row[kDecimalDigits - 1].IsNull() ? FractionDigits(type, size)
                                                            : static_cast<int>(digits);
    }
    column.Nullable = row[kNullable - 1].IsNull() || row[kNullable - 1].Integer() != SQL_NO_NULLS;
    column.Default = TextAt(row, kDefault);
    return column;
}

std::optional<KeyDefinition> PrimaryKeyOf(const SessionPtr& session, std::string_view table) {
    constexpr std::size_t kSequence = 5;
    constexpr std::size_t kKeyName = 6;
    const auto rows = Rows(session, "SQLPrimaryKeys", [&](SQLHANDLE statement) {
        return SQLPrimaryKeys(statement, nullptr, 0, nullptr, 0, OdbcText(table), Length(table));
    });
    std::map<std::int64_t, std::string> columns;
    KeyDefinition key;
    for (; !rows->Eof(); rows->MoveNext()) {
        if (Names(*rows, kTableName, table)) {
            columns[(*rows)[kSequence - 1].Integer()] = TextAt(*rows, kColumnName);
            key.Name = TextAt(*rows, kKeyName);
        }
    }
    if (columns.empty()) {
        return std::nullopt;
    }
    for (const auto& [position, name] : columns) {
        key.Columns.push_back(name);
    }
    key.Name = key.Name.empty() ? "PK_" + std::string(table) : key.Name;
    return key;
}

// The table's schema: dbo, unless the table exists in other schemas only.
std::string ChooseSchema(const std::set<std::string>& schemas) {
    return schemas.contains("dbo") || schemas.empty() ? "dbo" : *schemas.begin();
}

bool FunctionsKnowTable(const SessionPtr& session, std::string_view table) {
    const auto rows = Rows(session, "SQLTables", [&](SQLHANDLE statement) {
        return SQLTables(statement, nullptr, 0, nullptr, 0, OdbcText(table), Length(table), nullptr,
                         0);
    });
    for (; !rows->Eof(); rows->MoveNext()) {
        if (Names(*rows, kTableName, table)) {
            return true;
        }
    }
    return false;
}

std::vector<std::vector<std::string>> IndexesFromFunctions(const SessionPtr& session,
                                                           std::string_view table) {
    constexpr std::size_t kIndexName = 6;
    constexpr std::size_t kIndexColumn = 9;
    const auto rows = Rows(session, "SQLStatistics", [&](SQLHANDLE statement) {
        return SQLStatistics(statement, nullptr, 0, nullptr, 0, OdbcText(table), Length(table),
                             SQL_INDEX_ALL, SQL_QUICK);
    });
    std::vector<std::vector<std::string>> indexes;
    std::string current;
    for (; !rows->Eof(); rows->MoveNext()) {
        // A row without an index name describes the table itself.
        if (!Names(*rows, kTableName, table) || (*rows)[kIndexName - 1].IsNull()) {
            continue;
        }
        const std::string index = TextAt(*rows, kIndexName);
        if (indexes.empty() || index != current) {
            indexes.emplace_back();
            current = index;
        }
        indexes.back().push_back(TextAt(*rows, kIndexColumn));
    }
    return indexes;
}

std::optional<NamedTable> NamedFromFunctions(const SessionPtr& session, std::string_view table) {
    if (!FunctionsKnowTable(session, table)) {
        return std::nullopt;
    }
    NamedTable found;
    const auto rows = Columns(session, table);
    for (; !rows->Eof(); rows->MoveNext()) {
        if (Names(*rows, kTableName, table)) {
            found.Columns.push_back(TextAt(*rows, kColumnName));
        }
    }
    found.Indexed = !IndexesFromFunctions(session, table).empty();
    return found;
}

TableDefinition DefinitionFromFunctions(const SessionPtr& session, std::string_view table) {
    TableDefinition definition;
    definition.Name = table;
    std::set<std::string> schemas;
    for (const auto rows = Columns(session, table); !rows->Eof(); rows->MoveNext()) {
        if (Names(*rows, kTableName, table)) {
            schemas.insert(TextAt(*rows, kSchemaName));
        }
    }
    const std::string schema = ChooseSchema(schemas);
    for (const auto rows = Columns(session, table); !rows->Eof(); rows->MoveNext()) {
        if (Names(*rows, kTableName, table) &&
            (schemas.size() < 2 || TextAt(*rows, kSchemaName) == schema)) {
            definition.Columns.push_back(DescribeColumn(*rows));
        }
    }
    definition.PrimaryKey = PrimaryKeyOf(session, table);
    if (definition.PrimaryKey) {
        for (ColumnDefinition& column : definition.Columns) {
            const auto& key = definition.PrimaryKey->Columns;
            const bool inKey = std::any_of(key.begin(), key.end(), [&](const std::string& name) {
                return EqualsIgnoreCase(name, column.Name);
            });
            column.Nullable = column.Nullable && !inKey;
        }
    }
    return definition;
}

}  // namespace

OdbcCatalogue::OdbcCatalogue(std::shared_ptr<OdbcSession> session)
    : session_(std::move(session)), hasViews_(session_->SpeaksTSql()) {}

template <typename Ask>
auto OdbcCatalogue::FromViews(Ask&& ask) -> std::optional<decltype(ask())> {
    if (!hasViews_) {
        return std::nullopt;
    }
    try {
        return ask();
    } catch (const DatabaseError& error) {
        if (error.Code() != kNoSuchObject) {
            throw;
        }
    }
    hasViews_ = false;
    return std::nullopt;
}

// Tries OBJECT_ID first, which is faster than the views and finds most tables.
bool OdbcCatalogue::TableExists(std::string_view table) {
    const auto known = FromViews([&] {
        const std::string name = "QUOTENAME(RTRIM(" + WideLiteral(table) + "))";
        const std::string objects =
            "SELECT OBJECT_ID(" + name + ", N'U'), OBJECT_ID(" + name + ", N'V')";
        const auto ids = Query(session_, objects, table);
        if (!(*ids)[0].IsNull() || !(*ids)[1].IsNull()) {
            return true;
        }
        const std::string anySchema =
            "SELECT 1 FROM sys.objects WHERE type IN ('U', 'V') AND name = " + WideLiteral(table);
        return !Query(session_, anySchema, table)->Eof();
    });
    return known ? *known : FunctionsKnowTable(session_, table);
}

std::optional<NamedTable> OdbcCatalogue::FindTable(std::string_view table) {
    const auto rows = FromViews([&] { return Query(session_, ColumnsQuery(table), table); });
    if (!rows) {
        return NamedFromFunctions(session_, table);
    }
    return (*rows)->Eof() ? std::nullopt : std::optional(NamedFromView(**rows));
}

std::vector<std::vector<std::string>> OdbcCatalogue::IndexColumns(std::string_view table) {
    const auto rows = FromViews([&] { return Query(session_, IndexesQuery(table), table); });
    if (!rows) {
        return IndexesFromFunctions(session_, table);
    }
    std::vector<std::vector<std::string>> indexes;
    Value current;
    for (Recordset& row = **rows; !row.Eof(); row.MoveNext()) {
        if (indexes.empty() || row[0] != current) {
            indexes.emplace_back();
            current = row[0];
        }
        indexes.back().push_back(row[1].Text());
    }
    return indexes;
}

TableDefinition OdbcCatalogue::DescribeTable(std::string_view table) {
    const auto rows = FromViews([&] { return Query(session_, ColumnsQuery(table), table); });
    TableDefinition definition;
    if (!rows) {
        definition = DefinitionFromFunctions(session_, table);
    } else if (!(*rows)->Eof()) {
        definition = DefinitionFromView(**rows, table);
    }
    if (definition.Columns.empty()) {
        throw DatabaseError({"There is no table \"" + std::string(table) + "\"."});
    }
    return definition;
}

}  // namespace morvane::odbc
