// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcTypes.h"

#include "base/Text.h"

namespace morvane::odbc {

namespace {

// Of the SQL Server drivers (sqlncli.h documents them); sqlext.h does not have them.
constexpr SQLSMALLINT kSqlServerTime = -154;
constexpr SQLSMALLINT kSqlServerDateTimeOffset = -155;
constexpr SQLSMALLINT kSqlServerXml = -152;

}  // namespace

DataType DataTypeOf(SQLSMALLINT odbcType, std::string_view typeName) {
    switch (odbcType) {
        case SQL_BIT:
            return DataType::Boolean;
        case SQL_TINYINT:
            return DataType::TinyInt;
        case SQL_SMALLINT:
            return DataType::SmallInt;
        case SQL_INTEGER:
            return DataType::Integer;
        case SQL_BIGINT:
            return DataType::BigInt;
        case SQL_REAL:
            return DataType::Single;
        case SQL_FLOAT:
        case SQL_DOUBLE:
            return DataType::Double;
        case SQL_DECIMAL:
        case SQL_NUMERIC:
            return ToLower(typeName).find("money") != std::string::npos ? DataType::Currency
                                                                        : DataType::Numeric;
        case SQL_CHAR:
            return DataType::Char;
        case SQL_LONGVARCHAR:
            return DataType::LongVarChar;
        case SQL_WCHAR:
            return DataType::WChar;
        case SQL_WVARCHAR:
        case SQL_TYPE_TIME:
        case kSqlServerTime:
        case kSqlServerDateTimeOffset:
            return DataType::VarWChar;
        case SQL_WLONGVARCHAR:
        case kSqlServerXml:
            return DataType::LongVarWChar;
        case SQL_TYPE_DATE:
        case SQL_DATETIME:  // the ODBC 2 code of a date
        case SQL_TIMESTAMP:
        case SQL_TYPE_TIMESTAMP:
            return DataType::DBTimeStamp;
        case SQL_GUID:
            return DataType::Guid;
        case SQL_BINARY:
            return DataType::Binary;
        case SQL_VARBINARY:
        case SQL_LONGVARBINARY:
            return DataType::VarBinary;
        default:
            return DataType::VarChar;
    }
}

FetchAs FetchKind(DataType type) {
    switch (type) {
        case DataType::Boolean:
        case DataType::TinyInt:
        case DataType::SmallInt:
        case DataType::Integer:
        case DataType::BigInt:
            return FetchAs::Integer;
        case DataType::Double:
            return FetchAs::Real;
        case DataType::Single:
            return FetchAs::Single;
        case DataType::Binary:
        case DataType::VarBinary:
            return FetchAs::Binary;
        default:
            return FetchAs::Text;
    }
}

std::string WideLiteral(std::string_view text) {
    std::string literal = "N'";
    for (const char c : text) {
        literal += c;
        if (c == '\'') {
            literal += c;
        }
    }
    return literal + "'";
}

SQLSMALLINT ParameterType(DataType type) {
    switch (type) {
        case DataType::Boolean:
        case DataType::TinyInt:
        case DataType::SmallInt:
        case DataType::Integer:
            return SQL_INTEGER;
        case DataType::BigInt:
            return SQL_BIGINT;
        case DataType::Single:
        case DataType::Double:
            return SQL_DOUBLE;
        case DataType::WChar:
        case DataType::VarWChar:
        case DataType::LongVarWChar:
            return SQL_WVARCHAR;
        default:
            return SQL_VARCHAR;
    }
}

}  // namespace morvane::odbc
