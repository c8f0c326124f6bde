// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcRecordset.h"

#include <fmt/format.h>

#include <array>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "sql/MaskPasswords.h"

namespace morvane::odbc {

namespace {

// Types of the SQL Server drivers, documented in sqlncli.h; sqlext.h does not define them.
constexpr SQLSMALLINT kSqlServerTime = -154;
constexpr SQLSMALLINT kSqlServerDateTimeOffset = -155;
constexpr SQLSMALLINT kSqlServerXml = -152;

// The OLE DB type code of an ODBC type; the type's name distinguishes money from other decimals.
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

// How a column is fetched without loss.
enum class FetchAs { Text, Integer, Real, Single, Binary };

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

constexpr std::size_t kFirstBuffer = 8192;

// An upper bound of the bytes that a driver leaves unused at the end of a piece cut between
// characters, and a byte that does not occur in UTF-8.
constexpr std::size_t kMostLeftFree = 16;
constexpr char kUntouched = '\xFF';

std::string TypeName(const OdbcStatement& statement, SQLUSMALLINT column) {
    std::array<SQLCHAR, 128> name{};
    SQLColAttribute(statement.Get(), column, SQL_DESC_TYPE_NAME, name.data(), name.size(), nullptr,
                    nullptr);
    return reinterpret_cast<const char*>(name.data());
}

bool IsDecimal(DataType type) {
    return type == DataType::Numeric || type == DataType::Currency;
}

// Microsoft's driver returns ".5", like the server's own tools.
void AddLeadingZero(std::string& number) {
    const std::size_t point = number.starts_with('-') ? 1 : 0;
    if (number.substr(point, 1) == ".") {
        number.insert(point, 1, '0');
    }
}

}  // namespace

OdbcRecordset::OdbcRecordset(OdbcStatement statement)
    : statement_(std::move(statement)), buffer_(kFirstBuffer, '\0') {
    DescribeColumns();
    Fetch();
}

void OdbcRecordset::DescribeColumns() {
    SQLSMALLINT count = 0;
    statement_.Call([&] { return SQLNumResultCols(statement_.Get(), &count); });
    if (count == 0) {
        throw DatabaseError({"The statement returns no rows to open."},
                            MaskPasswords(statement_.Sql()));
    }
    for (SQLSMALLINT i = 1; i <= count; ++i) {
        const auto position = static_cast<SQLUSMALLINT>(i);
        std::array<SQLCHAR, 512> name{};
        SQLSMALLINT type = 0;
        SQLULEN size = 0;
        SQLSMALLINT digits = 0;
        statement_.Call([&] {
            return SQLDescribeCol(statement_.Get(), position, name.data(), name.size(), nullptr,
                                  &type, &size, &digits, nullptr);
        });
        Field field;
        field.Name = reinterpret_cast<const char*>(name.data());
        field.Type = DataTypeOf(type, TypeName(statement_, position));
        const bool number = IsDecimal(field.Type);
        field.DefinedSize = static_cast<int>(size);
        field.Precision = number ? static_cast<int>(size) : 0;
        field.NumericScale = number ? digits : 0;
        // A server compares by the column's collation, which drivers do not report reliably.
        field.Comparison =
            statement_.Session().SpeaksTSql() ? TextComparison::ByCollation : TextComparison::Exact;
        fields_.push_back(std::move(field));
    }
}

void OdbcRecordset::MoveNext() {
    Fetch();
}

void OdbcRecordset::Fetch() {
    if (statement_.Call([&] { return SQLFetch(statement_.Get()); }) == SQL_NO_DATA) {
        eof_ = true;
        SQLFreeStmt(statement_.Get(), SQL_CLOSE);
        return;
    }
    // Drivers require ascending order.
    for (std::size_t column = 0; column < fields_.size(); ++column) {
        FetchValue(column);
    }
}

// Returns false for NULL.
template <typename Number>
bool OdbcRecordset::FetchNumber(SQLUSMALLINT position, SQLSMALLINT type, Number& number) {
    SQLLEN indicator = 0;
    statement_.Call([&] {
        return SQLGetData(statement_.Get(), position, type, &number, sizeof(number), &indicator);
    });
    return indicator != SQL_NULL_DATA;
}

void OdbcRecordset::FetchValue(std::size_t column) {
    const auto position = static_cast<SQLUSMALLINT>(column + 1);
    const Field& field = fields_[column];
    Value& value = fields_[column].Value;
    switch (FetchKind(field.Type)) {
        case FetchAs::Integer:
            if (SQLBIGINT number = 0; FetchNumber(position, SQL_C_SBIGINT, number)) {
                value.SetInteger(number);
            } else {
                value.SetNull();
            }
            break;
        case FetchAs::Real:
            if (SQLDOUBLE number = 0; FetchNumber(position, SQL_C_DOUBLE, number)) {
                value.SetDouble(number);
            } else {
                value.SetNull();
            }
            break;
        case FetchAs::Single:
            if (SQLREAL number = 0; FetchNumber(position, SQL_C_FLOAT, number)) {
                value.SetText(fmt::format("{}", number));  // with the digits of a single
            } else {
                value.SetNull();
            }
            break;
        case FetchAs::Binary:
            FetchText(position, SQL_C_BINARY, value);
            if (Value bytes; !value.IsNull()) {
                bytes.SetBytes(value.Text());
                value.SetText(bytes.Text());
            }
            break;
        case FetchAs::Text:
            FetchText(position, SQL_C_CHAR, value);
            if (IsDecimal(field.Type) && !value.IsNull()) {
                std::string number = value.Text();
                AddLeadingZero(number);
                value.SetText(number);
            }
            break;
    }
}

// Fetches the value piece by piece. Each call returns what fits, text with a terminating zero.
void OdbcRecordset::FetchText(SQLUSMALLINT position, SQLSMALLINT type, Value& value) {
    const std::size_t terminator = type == SQL_C_CHAR ? 1 : 0;
    std::size_t length = 0;
    while (true) {
        std::fill(buffer_.end() - static_cast<std::ptrdiff_t>(kMostLeftFree), buffer_.end(),
                  kUntouched);
        SQLLEN indicator = 0;
        const std::size_t room = buffer_.size() - length;
        const SQLRETURN result = statement_.Call([&] {
            return SQLGetData(statement_.Get(), position, type, buffer_.data() + length,
                              static_cast<SQLLEN>(room), &indicator);
        });
        if (result == SQL_NO_DATA) {
            break;
        }
        if (indicator == SQL_NULL_DATA) {
            value.SetNull();
            return;
        }
        const bool known = indicator != SQL_NO_TOTAL;
        const bool fits = known && static_cast<std::size_t>(indicator) + terminator <= room;
        length += fits ? static_cast<std::size_t>(indicator) : PieceLength(length, terminator);
        if (fits) {
            break;
        }
        buffer_.resize(buffer_.size() * 2);
    }
    value.SetText(std::string_view(buffer_).substr(0, length));
}

// The length of a truncated piece at `start` in the buffer. Drivers that cut between characters
// leave up to three bytes after the zero untouched.
std::size_t OdbcRecordset::PieceLength(std::size_t start, std::size_t terminator) const {
    if (terminator == 0) {
        return buffer_.size() - start;
    }
    const std::size_t zero = buffer_.find_last_not_of(kUntouched);
    return zero - start;
}

}  // namespace morvane::odbc
