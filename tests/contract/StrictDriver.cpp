// SPDX-License-Identifier: Apache-2.0
// An ODBC driver without a server that answers statements from the test's script. It is as strict
// as Microsoft's "ODBC Driver 18 for SQL Server" where that one is stricter than FreeTDS. The
// driver manager reports missing functions, such as SQLTables, as not supported.
//
// The driver must not call SQL* functions: the names resolve to the driver manager's.
#include "contract/StrictDriver.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <string_view>

namespace morvane::testing {
namespace {

StrictDriver strictDriver;

struct Handle {
    virtual ~Handle() = default;

    std::string State;  // of the diagnostic
    SQLINTEGER Native = 0;
    std::string Message;  // empty without a diagnostic
};

struct DriverConnection : Handle {
    std::string Database;
    bool InTransaction = false;
};

struct BoundParameter {
    SQLSMALLINT CType;
    SQLSMALLINT SqlType;
    SQLULEN Size;
    const char* Data;
    const SQLLEN* Indicator;
};

struct DriverStatement : Handle {
    explicit DriverStatement(DriverConnection& connection) : Connection(connection) {}

    DriverConnection& Connection;
    std::string Sql;
    std::map<SQLUSMALLINT, BoundParameter> Parameters;
    std::deque<StrictResult> Results;  // the first is the current one
    std::size_t RowsFetched = 0;
    SQLUSMALLINT Column = 0;  // of the value that is being read
    std::size_t Given = 0;    // bytes of that value
    bool AllGiven = false;

    StrictResult& Result() { return Results.empty() ? Results.emplace_back() : Results.front(); }
};

// Every ODBC function starts by clearing the diagnostics.
template <typename Kind>
Kind& Begin(SQLHANDLE handle) {
    Kind& object = static_cast<Kind&>(*static_cast<Handle*>(handle));
    object.Message.clear();
    return object;
}

// The native code is the server's; errors of the driver itself have none.
SQLRETURN Report(Handle& handle, const char* state, const std::string& message,
                 SQLINTEGER native = 0) {
    handle.State = state;
    handle.Native = native;
    handle.Message = "[Microsoft][ODBC Driver 18 for SQL Server]" + message;
    return SQL_ERROR;
}

std::string TextOf(const void* text, SQLLEN length) {
    const auto* bytes = static_cast<const char*>(text);
    return length == SQL_NTS ? std::string(bytes)
                             : std::string(bytes, static_cast<std::size_t>(length));
}

// Copies a text with its NUL; the length is that of the complete text.
template <typename Length>
SQLRETURN CopyText(std::string_view text, SQLPOINTER buffer, Length room, Length* length) {
    if (length != nullptr) {
        *length = static_cast<Length>(text.size());
    }
    if (buffer != nullptr && room > 0) {
        const std::size_t copied = std::min(text.size(), static_cast<std::size_t>(room) - 1);
        std::memcpy(buffer, text.data(), copied);
        static_cast<char*>(buffer)[copied] = '\0';
    }
    return SQL_SUCCESS;
}

bool ContinuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

std::size_t Utf16Units(std::string_view utf8) {
    std::size_t units = 0;
    for (const char byte : utf8) {
        const bool surrogates = static_cast<unsigned char>(byte) >= 0xF0;
        units += ContinuesCharacter(byte) ? 0U : surrogates ? 2U : 1U;
    }
    return units;
}

// The largest column size of a parameter's type; 0, which is "max", is always allowed.
SQLULEN LargestSize(SQLSMALLINT type) {
    return type == SQL_WVARCHAR ? 4000 : type == SQL_VARCHAR ? 8000 : 0x7FFFFFFF;
}

template <typename Number>
std::string NumberText(const char* data) {
    Number number;
    std::memcpy(&number, data, sizeof(number));
    return std::to_string(number);
}

// Bound buffers are read at execution.
std::optional<std::string> ValueOf(const BoundParameter& parameter) {
    if (*parameter.Indicator == SQL_NULL_DATA) {
        return std::nullopt;
    }
    switch (parameter.CType) {
        case SQL_C_DOUBLE:
            return NumberText<SQLDOUBLE>(parameter.Data);
        case SQL_C_SBIGINT:
            return NumberText<SQLBIGINT>(parameter.Data);
        default:
            return TextOf(parameter.Data, *parameter.Indicator);
    }
}

bool IsTooLong(const BoundParameter& parameter, const std::optional<std::string>& value) {
    return value && parameter.CType == SQL_C_CHAR && parameter.Size > 0 &&
           (parameter.SqlType == SQL_WVARCHAR ? Utf16Units(*value) : value->size()) >
               parameter.Size;
}

SQLRETURN StartResult(DriverStatement& statement) {
    statement.RowsFetched = 0;
    const StrictResult& result = statement.Result();
    if (result.ErrorCode == 0) {
        return SQL_SUCCESS;
    }
    statement.Connection.InTransaction &= !result.EndsTransaction;
    return Report(statement, "42000", "[SQL Server]scripted", result.ErrorCode);
}

SQLRETURN Run(DriverStatement& statement) {
    bool& inTransaction = statement.Connection.InTransaction;
    strictDriver.Events.push_back(statement.Sql + (inTransaction ? " (in transaction)" : ""));
    inTransaction |= statement.Sql == "IF @@TRANCOUNT = 0 BEGIN TRANSACTION";
    if (!statement.Parameters.empty()) {
        auto& values = strictDriver.Executions.emplace_back();
        for (const auto& [position, parameter] : statement.Parameters) {
            values.push_back({parameter.SqlType, ValueOf(parameter)});
            if (IsTooLong(parameter, values.back().Text)) {
                return Report(statement, "22001", "String data, right truncation");
            }
        }
    }
    const auto answer = std::find_if(
        strictDriver.Answers.begin(), strictDriver.Answers.end(),
        [&](const auto& entry) { return statement.Sql.find(entry.first) != std::string::npos; });
    statement.Results.clear();
    if (answer != strictDriver.Answers.end()) {
        statement.Results.assign(answer->second.begin(), answer->second.end());
    }
    return StartResult(statement);
}

SQLRETURN RunCatalogueFunction(SQLHSTMT handle, const char* name) {
    auto& statement = Begin<DriverStatement>(handle);
    statement.Sql = name;
    return Run(statement);
}

// The next piece of a text: complete characters and a NUL. Leaves the rest of the buffer untouched.
SQLRETURN GivePiece(DriverStatement& statement, const std::string& text, SQLPOINTER buffer,
                    SQLLEN room, SQLLEN* indicator) {
    if (statement.AllGiven) {
        return SQL_NO_DATA;
    }
    const std::size_t left = text.size() - statement.Given;
    std::size_t taken = std::min(left, static_cast<std::size_t>(std::max<SQLLEN>(room, 1)) - 1);
    while (taken > 0 && taken < left && ContinuesCharacter(text[statement.Given + taken])) {
        --taken;
    }
    CopyText(std::string_view(text).substr(statement.Given, taken), buffer, room, indicator);
    statement.Given += taken;
    statement.AllGiven = taken == left;
    *indicator = statement.AllGiven || strictDriver.TellsRemaining ? static_cast<SQLLEN>(left)
                                                                   : SQL_NO_TOTAL;
    if (statement.AllGiven) {
        return SQL_SUCCESS;
    }
    Report(statement, "01004", "String data, right truncation");
    return SQL_SUCCESS_WITH_INFO;
}

}  // namespace
}  // namespace morvane::testing

using namespace morvane::testing;

extern "C" {

StrictDriver* MorvaneStrictDriver() {
    return &strictDriver;
}

SQLRETURN SQL_API SQLAllocHandle(SQLSMALLINT type, SQLHANDLE parent, SQLHANDLE* handle) {
    if (type == SQL_HANDLE_STMT) {
        auto& connection = static_cast<DriverConnection&>(*static_cast<Handle*>(parent));
        *handle = static_cast<Handle*>(new DriverStatement(connection));
    } else {
        *handle = type == SQL_HANDLE_DBC ? static_cast<Handle*>(new DriverConnection) : new Handle;
    }
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLFreeHandle(SQLSMALLINT /*type*/, SQLHANDLE handle) {
    delete static_cast<Handle*>(handle);
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT /*type*/, SQLHANDLE handle, SQLSMALLINT record,
                                SQLCHAR* state, SQLINTEGER* native, SQLCHAR* message,
                                SQLSMALLINT room, SQLSMALLINT* length) {
    const Handle& object = *static_cast<Handle*>(handle);
    if (record != 1 || object.Message.empty()) {
        return SQL_NO_DATA;
    }
    CopyText<int>(object.State, state, 6, nullptr);
    *native = object.Native;
    return CopyText(object.Message, message, room, length);
}

// Required by the driver manager.
SQLRETURN SQL_API SQLGetDiagField(SQLSMALLINT, SQLHANDLE, SQLSMALLINT, SQLSMALLINT, SQLPOINTER,
                                  SQLSMALLINT, SQLSMALLINT*) {
    return SQL_NO_DATA;
}

SQLRETURN SQL_API SQLSetEnvAttr(SQLHENV, SQLINTEGER, SQLPOINTER, SQLINTEGER) {
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLDriverConnect(SQLHDBC handle, SQLHWND, SQLCHAR* text, SQLSMALLINT length,
                                   SQLCHAR*, SQLSMALLINT, SQLSMALLINT*, SQLUSMALLINT) {
    constexpr std::string_view kKeyword = "Database={";
    auto& connection = Begin<DriverConnection>(handle);
    const std::string login = TextOf(text, length);
    const std::size_t at = login.find(kKeyword);
    connection.Database = "master";
    if (at != std::string::npos) {
        const std::size_t begin = at + kKeyword.size();
        connection.Database = login.substr(begin, login.find('}', begin) - begin);
    }
    strictDriver.Events.push_back("connect " + connection.Database);
    return connection.Database == kClosedDatabase
               ? Report(connection, "42000", "[SQL Server]Cannot open the database", 4060)
               : SQL_SUCCESS;
}

SQLRETURN SQL_API SQLDisconnect(SQLHDBC handle) {
    strictDriver.Events.push_back("disconnect " + Begin<DriverConnection>(handle).Database);
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLSetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                    SQLINTEGER length) {
    auto& connection = Begin<DriverConnection>(handle);
    if (attribute == SQL_ATTR_AUTOCOMMIT) {
        connection.InTransaction = reinterpret_cast<SQLULEN>(value) == SQL_AUTOCOMMIT_OFF;
    } else if (attribute == SQL_ATTR_CURRENT_CATALOG) {
        const std::string name = TextOf(value, length);
        strictDriver.Events.push_back("use " + name);
        if (strictDriver.UseError != 0) {
            return Report(connection, "42000", "[SQL Server]USE " + name, strictDriver.UseError);
        }
        connection.Database = name;
    }
    return SQL_SUCCESS;
}

// For the current database alone.
SQLRETURN SQL_API SQLGetConnectAttr(SQLHDBC handle, SQLINTEGER, SQLPOINTER value, SQLINTEGER room,
                                    SQLINTEGER* length) {
    return CopyText(Begin<DriverConnection>(handle).Database, value, room, length);
}

// The server refuses to end a transaction that it has already ended.
SQLRETURN SQL_API SQLEndTran(SQLSMALLINT, SQLHANDLE handle, SQLSMALLINT how) {
    auto& connection = Begin<DriverConnection>(handle);
    strictDriver.Events.emplace_back(how == SQL_COMMIT ? "commit" : "rollback");
    return connection.InTransaction
               ? SQL_SUCCESS
               : Report(connection, "42000", "[SQL Server]no corresponding BEGIN", 3903);
}

SQLRETURN SQL_API SQLSetStmtAttr(SQLHSTMT, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
    if (attribute == SQL_ATTR_QUERY_TIMEOUT) {
        strictDriver.Timeout = reinterpret_cast<SQLULEN>(value);
    }
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT what) {
    auto& statement = Begin<DriverStatement>(handle);
    if (what == SQL_CLOSE) {
        statement.Results.clear();
    }
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLBindParameter(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT,
                                   SQLSMALLINT cType, SQLSMALLINT sqlType, SQLULEN size,
                                   SQLSMALLINT, SQLPOINTER data, SQLLEN, SQLLEN* indicator) {
    auto& statement = Begin<DriverStatement>(handle);
    if (size > LargestSize(sqlType)) {
        return Report(statement, "HY104", "Invalid precision value");
    }
    ++strictDriver.Binds;
    statement.Parameters[number] = {cType, sqlType, size, static_cast<const char*>(data),
                                    indicator};
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLPrepare(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
    ++strictDriver.Prepares;
    Begin<DriverStatement>(handle).Sql = TextOf(sql, length);
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLExecute(SQLHSTMT handle) {
    return Run(Begin<DriverStatement>(handle));
}

SQLRETURN SQL_API SQLExecDirect(SQLHSTMT handle, SQLCHAR* sql, SQLINTEGER length) {
    auto& statement = Begin<DriverStatement>(handle);
    statement.Sql = TextOf(sql, length);
    return Run(statement);
}

SQLRETURN SQL_API SQLColumns(SQLHSTMT handle, SQLCHAR*, SQLSMALLINT, SQLCHAR*, SQLSMALLINT,
                             SQLCHAR*, SQLSMALLINT, SQLCHAR*, SQLSMALLINT) {
    return RunCatalogueFunction(handle, "SQLColumns");
}

SQLRETURN SQL_API SQLPrimaryKeys(SQLHSTMT handle, SQLCHAR*, SQLSMALLINT, SQLCHAR*, SQLSMALLINT,
                                 SQLCHAR*, SQLSMALLINT) {
    return RunCatalogueFunction(handle, "SQLPrimaryKeys");
}

SQLRETURN SQL_API SQLMoreResults(SQLHSTMT handle) {
    auto& statement = Begin<DriverStatement>(handle);
    if (statement.Results.size() < 2) {
        statement.Results.clear();
        return SQL_NO_DATA;
    }
    statement.Results.pop_front();
    return StartResult(statement);
}

SQLRETURN SQL_API SQLRowCount(SQLHSTMT handle, SQLLEN* count) {
    *count = Begin<DriverStatement>(handle).Result().Count;
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLNumResultCols(SQLHSTMT handle, SQLSMALLINT* count) {
    *count = static_cast<SQLSMALLINT>(Begin<DriverStatement>(handle).Result().Columns.size());
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLDescribeCol(SQLHSTMT handle, SQLUSMALLINT column, SQLCHAR* name,
                                 SQLSMALLINT room, SQLSMALLINT* length, SQLSMALLINT* type,
                                 SQLULEN* size, SQLSMALLINT* digits, SQLSMALLINT* nullable) {
    const auto& described = Begin<DriverStatement>(handle).Result().Columns.at(column - 1U);
    *type = described.second;
    *size = 0;  // as for varchar(max)
    *digits = 0;
    if (nullable != nullptr) {
        *nullable = SQL_NULLABLE;
    }
    return CopyText(described.first, name, room, length);
}

SQLRETURN SQL_API SQLColAttribute(SQLHSTMT handle, SQLUSMALLINT column, SQLUSMALLINT attribute,
                                  SQLPOINTER text, SQLSMALLINT room, SQLSMALLINT* length,
                                  SQLLEN* number) {
    const auto& described = Begin<DriverStatement>(handle).Result().Columns.at(column - 1U);
    if (number != nullptr) {
        *number = SQL_FALSE;
    }
    return CopyText(attribute == SQL_DESC_NAME ? described.first : "", text, room, length);
}

SQLRETURN SQL_API SQLFetch(SQLHSTMT handle) {
    auto& statement = Begin<DriverStatement>(handle);
    if (statement.RowsFetched == statement.Result().Rows.size()) {
        return SQL_NO_DATA;
    }
    ++statement.RowsFetched;
    statement.Column = 0;
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLGetData(SQLHSTMT handle, SQLUSMALLINT column, SQLSMALLINT type,
                             SQLPOINTER buffer, SQLLEN room, SQLLEN* indicator) {
    auto& statement = Begin<DriverStatement>(handle);
    const auto& value = statement.Result().Rows[statement.RowsFetched - 1].at(column - 1U);
    if (!value) {
        *indicator = SQL_NULL_DATA;
        return SQL_SUCCESS;
    }
    if (type == SQL_C_SBIGINT) {
        *static_cast<SQLBIGINT*>(buffer) = std::stoll(*value);
        return SQL_SUCCESS;
    }
    if (type == SQL_C_DOUBLE) {
        *static_cast<SQLDOUBLE*>(buffer) = std::stod(*value);
        return SQL_SUCCESS;
    }
    if (type == SQL_C_FLOAT) {
        *static_cast<SQLREAL*>(buffer) = std::stof(*value);
        return SQL_SUCCESS;
    }
    if (std::exchange(statement.Column, column) != column) {
        statement.Given = 0;
        statement.AllGiven = false;
    }
    return GivePiece(statement, *value, buffer, room, indicator);
}

}  // extern "C"
