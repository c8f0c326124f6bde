#include "db/odbc/OdbcCatalogue.h"

#include <algorithm>
#include <map>
#include <string>

#include "core/DatabaseError.h"
#include "core/Recordset.h"
#include "core/Text.h"
#include "db/odbc/OdbcRecordset.h"
#include "db/odbc/OdbcStatement.h"

namespace morvane::odbc {

namespace {

SQLSMALLINT Length(std::string_view text) {
    return static_cast<SQLSMALLINT>(text.size());
}

// The rows of a catalogue function, whose columns have numbers (from 1) of the ODBC standard.
template <typename Call>
std::unique_ptr<Recordset> Rows(const OdbcHandle& connection, const char* function, Call&& call) {
    OdbcHandle statement(SQL_HANDLE_STMT, connection);
    SetQueryTimeout(statement);
    Check(call(statement.Get()), statement, function);
    OdbcRecordset rows(std::move(statement), function, true);
    return BufferRecordset(rows);
}

std::unique_ptr<Recordset> Columns(const OdbcHandle& connection, std::string_view table) {
    return Rows(connection, "SQLColumns", [&](SQLHANDLE statement) {
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

constexpr std::size_t kTableName = 3;
constexpr std::size_t kColumnName = 4;

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
    // "int identity", "numeric() identity": the copy of a key takes what it is given.
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
    } else if (type == "datetime2" || type == "time" || type == "datetimeoffset") {
        column.Precision = static_cast<int>(digits);
    }
    column.Nullable = row[kNullable - 1].IsNull() || row[kNullable - 1].Integer() != SQL_NO_NULLS;
    column.Default = TextAt(row, kDefault);
    return column;
}

std::optional<KeyDefinition> PrimaryKeyOf(const OdbcHandle& connection, std::string_view table) {
    constexpr std::size_t kSequence = 5;
    constexpr std::size_t kKeyName = 6;
    const auto rows = Rows(connection, "SQLPrimaryKeys", [&](SQLHANDLE statement) {
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

}  // namespace

bool TableExists(const OdbcHandle& connection, std::string_view table) {
    const auto rows = Rows(connection, "SQLTables", [&](SQLHANDLE statement) {
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

bool ColumnExists(const OdbcHandle& connection, std::string_view table, std::string_view column) {
    const auto rows = Columns(connection, table);
    for (; !rows->Eof(); rows->MoveNext()) {
        if (Names(*rows, kTableName, table) && Names(*rows, kColumnName, column)) {
            return true;
        }
    }
    return false;
}

bool IsIndexed(const OdbcHandle& connection, std::string_view table) {
    constexpr std::size_t kIndexName = 6;
    const auto rows = Rows(connection, "SQLStatistics", [&](SQLHANDLE statement) {
        return SQLStatistics(statement, nullptr, 0, nullptr, 0, OdbcText(table), Length(table),
                             SQL_INDEX_ALL, SQL_QUICK);
    });
    for (; !rows->Eof(); rows->MoveNext()) {
        // A row without an index name tells about the table itself.
        if (Names(*rows, kTableName, table) && !(*rows)[kIndexName - 1].IsNull()) {
            return true;
        }
    }
    return false;
}

TableDefinition DescribeTable(const OdbcHandle& connection, std::string_view table) {
    TableDefinition definition;
    definition.Name = table;
    const auto rows = Columns(connection, table);
    for (; !rows->Eof(); rows->MoveNext()) {
        if (Names(*rows, kTableName, table)) {
            definition.Columns.push_back(DescribeColumn(*rows));
        }
    }
    if (definition.Columns.empty()) {
        throw DatabaseError({"There is no table \"" + std::string(table) + "\"."});
    }
    definition.PrimaryKey = PrimaryKeyOf(connection, table);
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

}  // namespace morvane::odbc
