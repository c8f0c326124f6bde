// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/EmbeddedRecordset.h"

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/embedded/Catalogue.h"
#include "sql/MaskPasswords.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

std::string_view TextOrEmpty(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

// The collation of the column that a result column is; empty for an expression.
std::string_view CollationOf(sqlite3_stmt* statement, int column) {
    const char* table = sqlite3_column_table_name(statement, column);
    const char* origin = sqlite3_column_origin_name(statement, column);
    const char* collation = nullptr;
    const bool known =
        table != nullptr && origin != nullptr &&
        sqlite3_table_column_metadata(
            sqlite3_db_handle(statement), sqlite3_column_database_name(statement, column), table,
            origin, nullptr, &collation, nullptr, nullptr, nullptr) == SQLITE_OK;
    return known ? TextOrEmpty(collation) : "";
}

// An expression has only the type of its values. Count(*) is an integer on the server.
DataType TypeOfValue(int sqliteType) {
    switch (sqliteType) {
        case SQLITE_INTEGER:
            return DataType::Integer;
        case SQLITE_FLOAT:
            return DataType::Double;
        default:
            return DataType::VarChar;
    }
}

Field DescribeColumn(sqlite3_stmt* statement, int column) {
    Field field;
    field.Name = TextOrEmpty(sqlite3_column_name(statement, column));
    if (const char* declared = sqlite3_column_decltype(statement, column)) {
        const ColumnType type = ParseColumnType(declared);
        field.Type = type.Type;
        field.DefinedSize = type.DefinedSize;
        field.Precision = type.Precision;
        field.NumericScale = type.NumericScale;
    } else if (sqlite3_column_origin_name(statement, column) == nullptr) {
        field.Type = TypeOfValue(sqlite3_column_type(statement, column));
    }  // a column without a type can hold values of any type: VarChar
    field.Comparison = EqualsIgnoreCase(CollationOf(statement, column), "nocase")
                           ? TextComparison::IgnoringCase
                           : TextComparison::Exact;
    return field;
}

void LoadValue(sqlite3_stmt* statement, int column, Value& value) {
    switch (sqlite3_column_type(statement, column)) {
        case SQLITE_INTEGER:
            value.SetInteger(sqlite3_column_int64(statement, column));
            break;
        case SQLITE_FLOAT:
            value.SetDouble(sqlite3_column_double(statement, column));
            break;
        case SQLITE_TEXT: {
            const auto* text =
                reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
            value.SetText(
                {text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))});
            break;
        }
        case SQLITE_BLOB:
            value.SetBytes({static_cast<const char*>(sqlite3_column_blob(statement, column)),
                            static_cast<std::size_t>(sqlite3_column_bytes(statement, column))});
            break;
        default:
            value.SetNull();
    }
}

}  // namespace

std::string ResultColumnDefinition(sqlite3_stmt* statement, int column) {
    std::string definition = QuotedName(TextOrEmpty(sqlite3_column_name(statement, column)));
    if (const char* declared = sqlite3_column_decltype(statement, column)) {
        definition += " " + std::string(declared);
    }
    if (const std::string_view collation = CollationOf(statement, column); !collation.empty()) {
        definition += " COLLATE " + QuotedName(collation);
    }
    return definition;
}

EmbeddedRecordset::EmbeddedRecordset(std::weak_ptr<sqlite3> database, SqliteStatement statement)
    : database_(std::move(database)), statement_(std::move(statement)) {
    sqlite3_stmt* handle = statement_.Handle();
    const int columns = sqlite3_column_count(handle);
    if (columns == 0) {
        throw DatabaseError({"The statement returns no rows to open."},
                            MaskPasswords(sqlite3_sql(handle)));
    }
    eof_ = !statement_.Step();
    for (int column = 0; column < columns; ++column) {
        fields_.push_back(DescribeColumn(handle, column));
    }
    LoadRow();
}

void EmbeddedRecordset::MoveNext() {
    if (database_.expired()) {
        throw DatabaseError({"The rows can no longer be read: their connection is closed or has"
                             " another default database."},
                            MaskPasswords(statement_.ShownAs()));
    }
    eof_ = !statement_.Step();
    if (eof_) {
        statement_.Reset();  // releases the read lock
    }
    LoadRow();
}

void EmbeddedRecordset::LoadRow() {
    if (eof_) {
        return;
    }
    for (std::size_t column = 0; column < fields_.size(); ++column) {
        LoadValue(statement_.Handle(), static_cast<int>(column), fields_[column].Value);
    }
}

}  // namespace morvane::embedded
