#include "db/odbc/OdbcStatement.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "core/DatabaseError.h"
#include "db/odbc/OdbcTypes.h"

namespace morvane::odbc {

namespace {

// What a driver wants as the size of a text that may be empty.
SQLULEN ColumnSize(const std::string& text, int declared) {
    return std::max<SQLULEN>({1, text.size(), static_cast<SQLULEN>(std::max(declared, 0))});
}

}  // namespace

void BoundParameters::Bind(const OdbcHandle& statement, const std::vector<Parameter>& parameters,
                           std::string_view sql) {
    cells_.resize(parameters.size());
    SQLFreeStmt(statement.Get(), SQL_RESET_PARAMS);
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const Parameter& parameter = parameters[i];
        Cell& cell = cells_[i];
        SQLSMALLINT cType = SQL_C_CHAR;
        SQLSMALLINT sqlType = ParameterType(parameter.Type);
        SQLPOINTER data = nullptr;
        SQLULEN size = 0;
        const auto& value = parameter.Value.Data();
        if (const auto* integer = std::get_if<std::int64_t>(&value)) {
            cell.Integer = *integer;
            cell.Indicator = 0;
            cType = SQL_C_SBIGINT;
            sqlType = SQL_BIGINT;
            data = &cell.Integer;
        } else if (const auto* real = std::get_if<double>(&value)) {
            cell.Real = *real;
            cell.Indicator = 0;
            cType = SQL_C_DOUBLE;
            sqlType = SQL_DOUBLE;
            data = &cell.Real;
        } else {
            cell.Text = parameter.Value.Text();
            cell.Indicator =
                parameter.Value.IsNull() ? SQL_NULL_DATA : static_cast<SQLLEN>(cell.Text.size());
            // A number that came as text is converted by the server, without loss.
            sqlType = sqlType == SQL_WVARCHAR ? SQL_WVARCHAR : SQL_VARCHAR;
            data = cell.Text.data();
            size = ColumnSize(cell.Text, parameter.Size);
        }
        Check(SQLBindParameter(statement.Get(), static_cast<SQLUSMALLINT>(i + 1), SQL_PARAM_INPUT,
                               cType, sqlType, size, 0, data, static_cast<SQLLEN>(cell.Text.size()),
                               &cell.Indicator),
              statement, sql);
    }
}

std::int64_t FinishStatement(const OdbcHandle& statement, SQLRETURN executed,
                             std::string_view sql) {
    Check(executed, statement, sql);
    std::int64_t affected = -1;
    SQLRETURN result = executed;
    do {
        SQLLEN count = -1;
        if (SQL_SUCCEEDED(SQLRowCount(statement.Get(), &count)) && affected < 0) {
            affected = count;
        }
        result = SQLMoreResults(statement.Get());
        Check(result, statement, sql);
    } while (result != SQL_NO_DATA);
    SQLFreeStmt(statement.Get(), SQL_CLOSE);
    return affected;
}

int DefaultQueryTimeout() {
    const char* text = std::getenv("MORVANE_QUERY_TIMEOUT");
    if (text == nullptr || *text == '\0') {
        return 0;
    }
    int seconds = 0;
    const char* end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, seconds);
    if (error != std::errc() || stop != end || seconds < 0) {
        throw DatabaseError({"MORVANE_QUERY_TIMEOUT is \"" + std::string(text) +
                             "\", which is no number of seconds."});
    }
    return seconds;
}

void SetQueryTimeout(const OdbcHandle& statement, std::optional<int> own) {
    const int byDefault = DefaultQueryTimeout();
    const int seconds = own.value_or(byDefault);
    // Not every driver knows the attribute, and without it none has a time-out.
    if (seconds > 0 || byDefault > 0) {
        SQLSetStmtAttr(statement.Get(), SQL_ATTR_QUERY_TIMEOUT,
                       reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(seconds)), 0);
    }
}

std::string CallText(std::string_view procedure, std::size_t parameters) {
    std::string text = "{call " + std::string(procedure) + "(";
    for (std::size_t i = 0; i < parameters; ++i) {
        text += i == 0 ? "?" : ", ?";
    }
    return text + ")}";
}

}  // namespace morvane::odbc
