// SPDX-License-Identifier: Apache-2.0
// An ODBC driver without a server that answers statements from the test's script. It is as strict
// as Microsoft's "ODBC Driver 18 for SQL Server" where that one is stricter than FreeTDS. The
// driver manager reports missing functions, such as SQLTables, as not supported.
//
// The driver must not call SQL* functions: the names resolve to the driver manager's.
#include "contract/StrictDriver.h"

#include <iconv.h>
#include <langinfo.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace morvane::testing {
namespace {

StrictDriver strictDriver;

struct Handle {
    virtual ~Handle() = default;

    struct Diagnostic {
        std::string State;
        SQLINTEGER Native;
        std::string Message;
    };
    std::vector<Diagnostic> Diagnostics;
};

struct DriverConnection : Handle {
    std::string Database;
};

struct BoundParameter {
    SQLSMALLINT CType;
    SQLSMALLINT SqlType;
    SQLULEN Size;
    const char* Data;
    const SQLLEN* Indicator;
};

struct DriverStatement : Handle {
    std::string Sql;
    std::map<SQLUSMALLINT, BoundParameter> Parameters;

    StrictResult Result;
    std::size_t RowsFetched = 0;
    std::size_t Given = 0;  // bytes or UTF-16 units of the current value
    bool AllGiven = false;
};

// Every ODBC function starts by clearing the diagnostics.
template <typename Kind>
Kind& Begin(SQLHANDLE handle) {
    Kind& object = static_cast<Kind&>(*static_cast<Handle*>(handle));
    object.Diagnostics.clear();
    return object;
}

// The native code is the server's; errors of the driver itself have none.
SQLRETURN Report(Handle& handle, const char* state, const std::string& message,
                 SQLINTEGER native = 0) {
    const char* speaker = native == 0 ? "" : "[SQL Server]";
    handle.Diagnostics.push_back(
        {state, native,
         std::string("[Microsoft][ODBC Driver 18 for SQL Server]") + speaker + message});
    return SQL_ERROR;
}

std::string TextOf(const void* text, SQLLEN length) {
    const auto* bytes = static_cast<const char*>(text);
    return length == SQL_NTS ? std::string(bytes)
                             : std::string(bytes, static_cast<std::size_t>(length));
}

// Copies a text with its NUL; the length is that of the complete text.
template <typename Length>
SQLRETURN CopyText(std::string_view text, SQLPOINTER buffer, std::size_t room, Length* length) {
    if (length != nullptr) {
        *length = static_cast<Length>(text.size());
    }
    if (buffer == nullptr || room == 0) {
        return SQL_SUCCESS;
    }
    const std::size_t copied = std::min(text.size(), room - 1);
    std::memcpy(buffer, text.data(), copied);
    static_cast<char*>(buffer)[copied] = '\0';
    return copied == text.size() ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
}

std::string Recode(std::string text, const char* to, const char* from) {
    std::string recoded(text.size() * 2 + 2, '\0');
    char* source = text.data();
    char* target = recoded.data();
    std::size_t left = text.size();
    std::size_t room = recoded.size();
    const iconv_t codec = iconv_open(to, from);
    iconv(codec, &source, &left, &target, &room);
    iconv_close(codec);
    recoded.resize(recoded.size() - room);
    return recoded;
}

std::u16string Utf16(const std::string& text) {
    const std::string bytes = Recode(text, "UTF-16LE", "UTF-8");
    std::u16string units(bytes.size() / 2, u'\0');
    std::memcpy(units.data(), bytes.data(), bytes.size());
    return units;
}

// Of duplicate keywords the first is used. A braced value ends at a "}" that is not doubled.
LoginKeywords ParseLogin(std::string_view text) {
    LoginKeywords login;
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of("; "), text.size()));
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos) {
            return login;
        }
        const std::string keyword(text.substr(0, equals));
        text.remove_prefix(equals + 1);
        std::string value;
        if (text.starts_with('{')) {
            for (text.remove_prefix(1); !text.empty(); text.remove_prefix(1)) {
                if (text.starts_with("}}")) {
                    text.remove_prefix(1);
                } else if (text.starts_with('}')) {
                    break;
                }
                value += text[0];
            }
        } else {
            value = text.substr(0, text.find(';'));
        }
        text.remove_prefix(std::min(text.find(';'), text.size()));
        login.emplace(keyword, value);
    }
}

bool IsWide(SQLSMALLINT type) {
    return type == SQL_WCHAR || type == SQL_WVARCHAR;
}

// The largest column size of a parameter's type; 0, which is "max", is always allowed.
SQLULEN LargestSize(SQLSMALLINT type) {
    const bool bytes = type == SQL_CHAR || type == SQL_VARCHAR || type == SQL_VARBINARY;
    return IsWide(type) ? 4000 : bytes ? 8000 : 0x7FFFFFFF;
}

template <typename Number>
std::string NumberText(const char* data) {
    Number number;
    std::memcpy(&number, data, sizeof(number));
    return std::to_string(number);
}

// Bound buffers are read at execution.
std::optional<std::string> ValueOf(const BoundParameter& parameter) {
    const char* data = parameter.Data;
    const SQLLEN length = parameter.Indicator == nullptr ? SQL_NTS : *parameter.Indicator;
    if (length == SQL_NULL_DATA) {
        return std::nullopt;
    }
    switch (parameter.CType) {
        case SQL_C_DOUBLE:
            return NumberText<SQLDOUBLE>(data);
        case SQL_C_SBIGINT:
            return NumberText<SQLBIGINT>(data);
        case SQL_C_WCHAR:
            return Recode(std::string(data, static_cast<std::size_t>(length)), "UTF-8", "UTF-16LE");
        default:
            return TextOf(data, length);
    }
}

bool IsTooLong(const BoundParameter& parameter, const std::optional<std::string>& value) {
    const bool text = parameter.CType == SQL_C_CHAR || parameter.CType == SQL_C_WCHAR;
    return value && text && parameter.Size > 0 &&
           (IsWide(parameter.SqlType) ? Utf16(*value).size() : value->size()) > parameter.Size;
}

SQLRETURN Run(DriverStatement& statement) {
    if (!statement.Parameters.empty()) {
        auto& values = strictDriver.Executions.emplace_back();
        for (const auto& [position, parameter] : statement.Parameters) {
            values.push_back(ValueOf(parameter));
            if (IsTooLong(parameter, values.back())) {
                return Report(statement, "22001", "String data, right truncation");
            }
        }
    }
    const auto answer = strictDriver.Answers.find(statement.Sql);
    statement.Result = answer == strictDriver.Answers.end() ? StrictResult() : answer->second;
    statement.RowsFetched = 0;
    return SQL_SUCCESS;
}

bool ContinuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}
bool ContinuesCharacter(char16_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}

// The next piece of a value: complete characters and a NUL. Leaves the rest of the buffer
// untouched.
template <typename Text>
SQLRETURN GivePiece(DriverStatement& statement, const Text& text, SQLPOINTER buffer, SQLLEN room,
                    SQLLEN* indicator) {
    using Unit = typename Text::value_type;
    if (statement.AllGiven) {
        return SQL_NO_DATA;
    }
    const std::size_t left = text.size() - statement.Given;
    const std::size_t units = static_cast<std::size_t>(room) / sizeof(Unit);
    std::size_t taken = std::min(left, units - std::min<std::size_t>(units, 1));
    while (taken > 0 && taken < left && ContinuesCharacter(text[statement.Given + taken])) {
        --taken;
    }
    if (units > 0) {
        auto* target = static_cast<Unit*>(buffer);
        std::copy_n(text.data() + statement.Given, taken, target);
        target[taken] = 0;
    }
    statement.Given += taken;
    statement.AllGiven = taken == left;
    *indicator = statement.AllGiven || strictDriver.TellsRemaining
                     ? static_cast<SQLLEN>(left * sizeof(Unit))
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

SQLRETURN SQL_API SQLAllocHandle(SQLSMALLINT type, SQLHANDLE /*parent*/, SQLHANDLE* handle) {
    Handle* made = type == SQL_HANDLE_ENV   ? new Handle
                   : type == SQL_HANDLE_DBC ? new DriverConnection
                                            : static_cast<Handle*>(new DriverStatement);
    if (type == SQL_HANDLE_ENV) {
        strictDriver.CodeSet = nl_langinfo(CODESET);
    }
    *handle = made;
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLFreeHandle(SQLSMALLINT /*type*/, SQLHANDLE handle) {
    delete static_cast<Handle*>(handle);
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT /*type*/, SQLHANDLE handle, SQLSMALLINT record,
                                SQLCHAR* state, SQLINTEGER* native, SQLCHAR* message,
                                SQLSMALLINT room, SQLSMALLINT* length) {
    const auto& diagnostics = static_cast<Handle*>(handle)->Diagnostics;
    if (record < 1 || static_cast<std::size_t>(record) > diagnostics.size()) {
        return SQL_NO_DATA;
    }
    const Handle::Diagnostic& diagnostic = diagnostics[static_cast<std::size_t>(record) - 1];
    CopyText<int>(diagnostic.State, state, 6, nullptr);
    *native = diagnostic.Native;
    return CopyText(diagnostic.Message, message, static_cast<std::size_t>(room), length);
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
    auto& connection = Begin<DriverConnection>(handle);
    LoginKeywords& login = strictDriver.Login;
    login = ParseLogin(TextOf(text, length));
    connection.Database = login.contains("Database") ? login["Database"] : "master";
    strictDriver.Events.push_back("connect " + connection.Database);
    if (login.contains("Authentication") && login.contains("Trusted_Connection")) {
        return Report(connection, "FA001",
                      "Authentication does not go together with Trusted_Connection");
    }
    if (connection.Database == strictDriver.ClosedDatabase) {
        return Report(connection, "42000", "Cannot open database " + connection.Database, 4060);
    }
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLDisconnect(SQLHDBC handle) {
    strictDriver.Events.push_back("disconnect " + Begin<DriverConnection>(handle).Database);
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLSetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                    SQLINTEGER length) {
    auto& connection = Begin<DriverConnection>(handle);
    if (attribute != SQL_ATTR_CURRENT_CATALOG) {
        return SQL_SUCCESS;
    }
    const std::string name = TextOf(value, length);
    strictDriver.Events.push_back("use " + name);
    if (strictDriver.UseError != 0) {
        return Report(connection, "42000", "USE " + name + " is refused", strictDriver.UseError);
    }
    connection.Database = name;
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLGetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                                    SQLINTEGER room, SQLINTEGER* length) {
    auto& connection = Begin<DriverConnection>(handle);
    return attribute == SQL_ATTR_CURRENT_CATALOG
               ? CopyText(connection.Database, value, static_cast<std::size_t>(room), length)
               : Report(connection, "HY092", "Invalid attribute/option identifier");
}

SQLRETURN SQL_API SQLGetInfo(SQLHDBC handle, SQLUSMALLINT what, SQLPOINTER value, SQLSMALLINT room,
                             SQLSMALLINT* length) {
    auto& connection = Begin<DriverConnection>(handle);
    switch (what) {
        case SQL_DRIVER_ODBC_VER:
            return CopyText("03.80", value, static_cast<std::size_t>(room), length);
        case SQL_SERVER_NAME:
            return CopyText("STRICT", value, static_cast<std::size_t>(room), length);
        case SQL_CURSOR_COMMIT_BEHAVIOR:
        case SQL_CURSOR_ROLLBACK_BEHAVIOR:
            *static_cast<SQLUSMALLINT*>(value) = SQL_CB_CLOSE;
            return SQL_SUCCESS;
        default:
            return Report(connection, "HY096", "Information type out of range");
    }
}

SQLRETURN SQL_API SQLEndTran(SQLSMALLINT, SQLHANDLE, SQLSMALLINT) {
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLSetStmtAttr(SQLHSTMT, SQLINTEGER, SQLPOINTER, SQLINTEGER) {
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT what) {
    auto& statement = Begin<DriverStatement>(handle);
    if (what == SQL_RESET_PARAMS) {
        strictDriver.Unbinds += statement.Parameters.empty() ? 0 : 1;
        statement.Parameters.clear();
    } else if (what == SQL_CLOSE) {
        statement.Result = {};
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
    if (cType != SQL_C_CHAR && cType != SQL_C_WCHAR && cType != SQL_C_SBIGINT &&
        cType != SQL_C_DOUBLE) {
        return Report(statement, "HYC00", "The stand-in has no such feature");
    }
    ++strictDriver.Binds;
    strictDriver.ParameterTypes.resize(std::max<std::size_t>(number, statement.Parameters.size()));
    strictDriver.ParameterTypes[number - 1U] = sqlType;
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

SQLRETURN SQL_API SQLMoreResults(SQLHSTMT handle) {
    StrictResult& result = Begin<DriverStatement>(handle).Result;
    if (result.Counts.size() > 1) {
        result.Counts.erase(result.Counts.begin());
        return SQL_SUCCESS;
    }
    result = {};
    return SQL_NO_DATA;
}

SQLRETURN SQL_API SQLRowCount(SQLHSTMT handle, SQLLEN* count) {
    const StrictResult& result = Begin<DriverStatement>(handle).Result;
    *count = result.Counts.empty() ? -1 : result.Counts.front();
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLNumResultCols(SQLHSTMT handle, SQLSMALLINT* count) {
    *count = Begin<DriverStatement>(handle).Result.ColumnType == 0 ? 0 : 1;
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLDescribeCol(SQLHSTMT handle, SQLUSMALLINT, SQLCHAR* name, SQLSMALLINT room,
                                 SQLSMALLINT* length, SQLSMALLINT* type, SQLULEN* size,
                                 SQLSMALLINT* digits, SQLSMALLINT* nullable) {
    *type = Begin<DriverStatement>(handle).Result.ColumnType;
    *size = 0;  // as for varchar(max)
    *digits = 0;
    if (nullable != nullptr) {
        *nullable = SQL_NULLABLE;
    }
    return CopyText("value", name, static_cast<std::size_t>(room), length);
}

SQLRETURN SQL_API SQLColAttribute(SQLHSTMT handle, SQLUSMALLINT, SQLUSMALLINT, SQLPOINTER text,
                                  SQLSMALLINT room, SQLSMALLINT* length, SQLLEN* number) {
    Begin<DriverStatement>(handle);
    if (number != nullptr) {
        *number = SQL_FALSE;
    }
    return CopyText("", text, static_cast<std::size_t>(room), length);
}

SQLRETURN SQL_API SQLFetch(SQLHSTMT handle) {
    auto& statement = Begin<DriverStatement>(handle);
    if (statement.RowsFetched == statement.Result.Rows.size()) {
        return SQL_NO_DATA;
    }
    ++statement.RowsFetched;
    statement.Given = 0;
    statement.AllGiven = false;
    return SQL_SUCCESS;
}

SQLRETURN SQL_API SQLGetData(SQLHSTMT handle, SQLUSMALLINT, SQLSMALLINT type, SQLPOINTER buffer,
                             SQLLEN room, SQLLEN* indicator) {
    auto& statement = Begin<DriverStatement>(handle);
    const auto value = statement.Result.Rows[statement.RowsFetched - 1];
    if (!value) {
        *indicator = SQL_NULL_DATA;
        return SQL_SUCCESS;
    }
    if (type == SQL_C_CHAR) {
        return GivePiece(statement, *value, buffer, room, indicator);
    }
    return type == SQL_C_WCHAR ? GivePiece(statement, Utf16(*value), buffer, room, indicator)
                               : Report(statement, "HYC00", "The stand-in has no such feature");
}

}  // extern "C"
