#include "db/odbc/OdbcRecordset.h"

#include <fmt/format.h>

#include <array>

#include "core/DatabaseError.h"

namespace morvane::odbc {

namespace {

constexpr std::size_t kFirstBuffer = 8192;

SQLLEN NumberAttribute(const OdbcHandle& statement, SQLUSMALLINT column, SQLUSMALLINT attribute) {
    SQLLEN number = 0;
    SQLColAttribute(statement.Get(), column, attribute, nullptr, 0, nullptr, &number);
    return number;
}

std::string TypeName(const OdbcHandle& statement, SQLUSMALLINT column) {
    std::array<SQLCHAR, 128> name{};
    SQLColAttribute(statement.Get(), column, SQL_DESC_TYPE_NAME, name.data(), name.size(), nullptr,
                    nullptr);
    return reinterpret_cast<const char*>(name.data());
}

std::string HexText(const std::string& bytes) {
    std::string text = "0x";
    for (const char byte : bytes) {
        text += fmt::format("{:02X}", static_cast<unsigned char>(byte));
    }
    return text;
}

}  // namespace

OdbcRecordset::OdbcRecordset(OdbcHandle statement, std::string sql, bool blanksCount)
    : statement_(std::move(statement)), sql_(std::move(sql)), buffer_(kFirstBuffer, '\0') {
    DescribeColumns(blanksCount);
    Fetch();
}

void OdbcRecordset::DescribeColumns(bool blanksCount) {
    SQLSMALLINT count = 0;
    Check(SQLNumResultCols(statement_.Get(), &count), statement_, sql_);
    if (count == 0) {
        throw DatabaseError({"The statement returns no rows to open."}, sql_);
    }
    for (SQLSMALLINT i = 1; i <= count; ++i) {
        const auto position = static_cast<SQLUSMALLINT>(i);
        std::array<SQLCHAR, 512> name{};
        SQLSMALLINT type = 0;
        SQLULEN size = 0;
        SQLSMALLINT digits = 0;
        Check(SQLDescribeCol(statement_.Get(), position, name.data(), name.size(), nullptr, &type,
                             &size, &digits, nullptr),
              statement_, sql_);
        Field field;
        field.Name = reinterpret_cast<const char*>(name.data());
        field.Type = DataTypeOf(type, TypeName(statement_, position));
        const bool number = field.Type == DataType::Numeric || field.Type == DataType::Currency;
        field.DefinedSize = static_cast<int>(size);
        field.Precision = number ? static_cast<int>(size) : 0;
        field.NumericScale = number ? digits : 0;
        field.IgnoresCase =
            NumberAttribute(statement_, position, SQL_DESC_CASE_SENSITIVE) == SQL_FALSE;
        field.IgnoresTrailingBlanks = !blanksCount;
        fields_.push_back(std::move(field));
    }
}

void OdbcRecordset::MoveNext() {
    Fetch();
}

void OdbcRecordset::Fetch() {
    const SQLRETURN result = SQLFetch(statement_.Get());
    if (result == SQL_NO_DATA) {
        eof_ = true;
        SQLFreeStmt(statement_.Get(), SQL_CLOSE);
        return;
    }
    Check(result, statement_, sql_);
    // In ascending order, as drivers demand.
    for (std::size_t column = 0; column < fields_.size(); ++column) {
        FetchValue(column);
    }
}

void OdbcRecordset::FetchValue(std::size_t column) {
    const auto position = static_cast<SQLUSMALLINT>(column + 1);
    Value& value = fields_[column].Value;
    SQLLEN indicator = 0;
    switch (FetchKind(fields_[column].Type)) {
        case FetchAs::Integer: {
            SQLBIGINT number = 0;
            Check(SQLGetData(statement_.Get(), position, SQL_C_SBIGINT, &number, sizeof(number),
                             &indicator),
                  statement_, sql_);
            value.SetInteger(number);
            break;
        }
        case FetchAs::Real: {
            SQLDOUBLE number = 0;
            Check(SQLGetData(statement_.Get(), position, SQL_C_DOUBLE, &number, sizeof(number),
                             &indicator),
                  statement_, sql_);
            value.SetDouble(number);
            break;
        }
        case FetchAs::Single: {
            SQLREAL number = 0;
            Check(SQLGetData(statement_.Get(), position, SQL_C_FLOAT, &number, sizeof(number),
                             &indicator),
                  statement_, sql_);
            value.SetText(fmt::format("{}", number));  // the digits that a single has
            break;
        }
        case FetchAs::Binary:
            FetchText(position, SQL_C_BINARY, value);
            if (!value.IsNull()) {
                value.SetText(HexText(value.Text()));
            }
            return;
        case FetchAs::Text:
            FetchText(position, SQL_C_CHAR, value);
            return;
    }
    if (indicator == SQL_NULL_DATA) {
        value.SetNull();
    }
}

// Piece by piece: each call gives what fits, with a terminating zero for texts.
void OdbcRecordset::FetchText(SQLUSMALLINT position, SQLSMALLINT type, Value& value) {
    const std::size_t terminator = type == SQL_C_CHAR ? 1 : 0;
    std::size_t length = 0;
    while (true) {
        SQLLEN indicator = 0;
        const std::size_t room = buffer_.size() - length;
        const SQLRETURN result =
            SQLGetData(statement_.Get(), position, type, buffer_.data() + length,
                       static_cast<SQLLEN>(room), &indicator);
        if (result == SQL_NO_DATA) {
            break;
        }
        Check(result, statement_, sql_);
        if (indicator == SQL_NULL_DATA) {
            value.SetNull();
            return;
        }
        const bool known = indicator != SQL_NO_TOTAL;
        const bool fits = known && static_cast<std::size_t>(indicator) + terminator <= room;
        length += fits ? static_cast<std::size_t>(indicator) : room - terminator;
        if (fits) {
            break;
        }
        buffer_.resize(buffer_.size() * 2);
    }
    value.SetText(std::string_view(buffer_).substr(0, length));
}

}  // namespace morvane::odbc
