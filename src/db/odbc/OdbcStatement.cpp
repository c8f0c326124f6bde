// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcStatement.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/Text.h"
#include "core/DatabaseError.h"

namespace morvane::odbc {

namespace {

// Of the text that sp_executesql is given as nvarchar.
constexpr std::size_t kMostCallCharacters = 4000;

// The default one unless `own` has a value; 0 waits for as long as it takes.
void SetQueryTimeout(const OdbcHandle& statement, int byDefault, std::optional<int> own) {
    const int seconds = own.value_or(byDefault);
    // Not every driver knows the attribute, and without it none has a time-out.
    if (seconds > 0 || byDefault > 0) {
        SQLSetStmtAttr(statement.Get(), SQL_ATTR_QUERY_TIMEOUT,
                       reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(seconds)), 0);
    }
}

}  // namespace

OdbcStatement::OdbcStatement(std::shared_ptr<OdbcSession> session, std::string sql,
                             std::optional<int> timeoutSeconds)
    : session_(std::move(session)), sql_(std::move(sql)) {
    session_->Ready(sql_);
    handle_ = OdbcHandle(SQL_HANDLE_STMT, session_->Connection());
    SetQueryTimeout(handle_, session_->QueryTimeout(), timeoutSeconds);
}

OdbcStatement& OdbcStatement::operator=(OdbcStatement&& other) noexcept {
    Free();
    session_ = std::move(other.session_);
    sql_ = std::move(other.sql_);
    handle_ = std::move(other.handle_);
    return *this;
}

void OdbcStatement::Free() {
    if (session_ == nullptr) {
        return;
    }
    if (session_->IsOpen()) {
        handle_ = OdbcHandle();
    } else {
        handle_.Release();
    }
    session_.reset();
}

void OdbcStatement::Prepare() {
    Call([&] { return SQLPrepare(Get(), OdbcText(sql_), static_cast<SQLINTEGER>(sql_.size())); });
}

SQLRETURN OdbcStatement::ExecuteDirectly() {
    return CountsAsCall() ? ExecuteAsCall() : Call([&] {
        return SQLExecDirect(Get(), OdbcText(sql_), static_cast<SQLINTEGER>(sql_.size()));
    });
}

// FreeTDS reports the first count of a plain batch, which is a trigger's; of a call it reports
// each. Only what changes rows may go so: a SET would end with the call.
bool OdbcStatement::CountsAsCall() const {
    if (session_->Driver().Family != DriverFamily::FreeTds ||
        Utf16Length(sql_) > kMostCallCharacters || sql_.find('{') != std::string::npos) {
        return false;
    }
    std::string_view text = sql_;
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    for (const std::string_view verb : {"insert ", "update ", "delete "}) {
        if (EqualsIgnoreCase(text.substr(0, verb.size()), verb)) {
            return true;
        }
    }
    return false;
}

SQLRETURN OdbcStatement::ExecuteAsCall() {
    static constexpr std::string_view kCall = "{call sp_executesql(?)}";
    textLength_ = static_cast<SQLLEN>(sql_.size());
    return Call([&] {
        SQLBindParameter(Get(), 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_WVARCHAR, kMostCallCharacters,
                         0, OdbcText(sql_), textLength_, &textLength_);
        return SQLExecDirect(Get(), OdbcText(kCall), static_cast<SQLINTEGER>(kCall.size()));
    });
}

SQLRETURN OdbcStatement::ExecutePrepared() {
    return Call([&] { return SQLExecute(Get()); });
}

std::int64_t OdbcStatement::Finish() {
    // After an error too: an open cursor would keep the connection from other statements.
    struct CloseAtEnd {
        SQLHANDLE Statement;
        ~CloseAtEnd() { SQLFreeStmt(Statement, SQL_CLOSE); }
    } const closeAtEnd{Get()};
    std::int64_t affected = -1;
    do {
        SQLSMALLINT columns = 0;
        SQLLEN count = -1;
        // The rows that a trigger selects are no count.
        if (SQL_SUCCEEDED(SQLNumResultCols(Get(), &columns)) && columns == 0 &&
            SQL_SUCCEEDED(SQLRowCount(Get(), &count)) && count >= 0) {
            affected = count;
        }
    } while (Call([&] { return SQLMoreResults(Get()); }) != SQL_NO_DATA);
    return affected;
}

std::string OdbcStatement::FetchSingleText() const {
    if (Call([&] { return SQLFetch(Get()); }) == SQL_NO_DATA) {
        return {};
    }
    std::array<SQLCHAR, 16384> text{};
    SQLLEN indicator = SQL_NULL_DATA;
    Call([&] { return SQLGetData(Get(), 1, SQL_C_CHAR, text.data(), text.size(), &indicator); });
    return indicator == SQL_NULL_DATA ? "" : reinterpret_cast<const char*>(text.data());
}

int ParseQueryTimeout(const std::string& text) {
    if (text.empty()) {
        return 0;
    }
    int seconds = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seconds);
    if (error != std::errc() || stop != end || seconds < 0) {
        throw DatabaseError(
            {"MORVANE_QUERY_TIMEOUT is \"" + text + "\", which is no number of seconds."});
    }
    return seconds;
}

}  // namespace morvane::odbc
