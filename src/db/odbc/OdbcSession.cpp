// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcSession.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "base/Text.h"
#include "sql/MaskPasswords.h"

namespace morvane::odbc {

namespace {

// Overrides the defaults of login and server. Dates in conditions must have the same meaning with
// every driver, and the lock relies on the row count of its UPDATE.
constexpr std::string_view kSessionSettings =
    "SET LANGUAGE us_english SET DATEFORMAT mdy SET NOCOUNT OFF";

// The driver's own login timeout applies to each wait for an answer. Ours covers the whole login
// and expires later.
constexpr int kMoreSeconds = 1;

SQLPOINTER AsPointer(SQLULEN number) {
    return reinterpret_cast<SQLPOINTER>(number);
}

// The longest statement sent as nvarchar parameter of sp_executesql.
constexpr std::size_t kMostCallCharacters = 4000;

// Sets the default timeout unless `own` has a value; 0 means no timeout.
void SetQueryTimeout(const OdbcHandle& statement, int byDefault, std::optional<int> own) {
    const int seconds = own.value_or(byDefault);
    // Not every driver supports the attribute; the drivers' default is no timeout.
    if (seconds > 0 || byDefault > 0) {
        SQLSetStmtAttr(statement.Get(), SQL_ATTR_QUERY_TIMEOUT,
                       AsPointer(static_cast<SQLULEN>(seconds)), 0);
    }
}

}  // namespace

std::shared_ptr<OdbcSession> OdbcSession::Login(const OdbcDriver& driver, const LoginDetails& login,
                                                int timeoutSeconds, const CancelRequest& cancel) {
    std::shared_ptr<OdbcSession> session(new OdbcSession(driver, login.QueryTimeout));
    session->Connect(login, timeoutSeconds, cancel);
    if (session->SpeaksTSql()) {
        session->Execute(kSessionSettings);
    }
    return session;
}

void OdbcSession::Connect(const LoginDetails& login, int timeoutSeconds,
                          const CancelRequest& cancel) {
    const std::string text = BuildConnectionString(driver_, login);
    environment_ = OdbcHandle::Environment();
    connection_ = OdbcHandle(SQL_HANDLE_DBC, environment_);
    SQLSetConnectAttr(connection_.Get(), SQL_ATTR_LOGIN_TIMEOUT,
                      AsPointer(static_cast<SQLULEN>(timeoutSeconds)), 0);
    watch_ = std::make_unique<CallWatch>(cancel);
    std::optional<std::chrono::seconds> limit;
    if (timeoutSeconds > 0) {
        limit = std::chrono::seconds(timeoutSeconds + kMoreSeconds);
    }
    const CallWatch::Call call(*watch_, SQL_NULL_HANDLE, limit);
    SQLSMALLINT length = 0;
    const SQLRETURN result = SQLDriverConnect(connection_.Get(), nullptr, OdbcText(text),
                                              static_cast<SQLSMALLINT>(text.size()), nullptr, 0,
                                              &length, SQL_DRIVER_NOPROMPT);
    if (SQL_SUCCEEDED(result)) {
        open_ = true;
        watch_->TakeSockets();
        return;
    }
    // The connection string contains the password and must not be part of the error.
    std::vector<std::string> descriptions = ReadDiagnostics(connection_).Descriptions;
    if (call.GivenUp()) {
        descriptions.insert(
            descriptions.begin(),
            fmt::format("The login had not ended after {} seconds.", timeoutSeconds));
    }
    ThrowDescriptions(std::move(descriptions), {}, 0);
}

void OdbcSession::Close() {
    if (open_) {
        const CallWatch::Call call(*watch_);
        if (manualCommit_) {
            SQLEndTran(SQL_HANDLE_DBC, connection_.Get(), SQL_ROLLBACK);
        }
        SQLDisconnect(connection_.Get());
    }
    connection_ = OdbcHandle();
    environment_ = OdbcHandle();
    watch_.reset();
    open_ = manualCommit_ = inTransaction_ = transactionFailed_ = false;
}

void OdbcSession::RequireUsable(std::string_view sql) const {
    if (!open_) {
        throw DatabaseError({"The connection is closed."}, MaskPasswords(sql));
    }
    if (transactionFailed_) {
        throw DatabaseError({"The transaction has ended with an error before this statement."},
                            MaskPasswords(sql));
    }
}

void OdbcSession::Ready(std::string_view sql) {
    RequireUsable(sql);
    if (manualCommit_ && !inTransaction_) {
        Call(connection_, sql, [&] { return SetAutocommit(SQL_AUTOCOMMIT_ON); });
        manualCommit_ = false;
    }
}

void OdbcSession::Fail(const OdbcHandle& handle, std::string_view sql, bool givenUp) {
    transactionFailed_ = inTransaction_;
    Diagnostics diagnostics = ReadDiagnostics(handle);
    if (givenUp) {
        diagnostics.Descriptions.insert(
            diagnostics.Descriptions.begin(),
            "The server did not answer, and its connection was given up since the run was "
            "cancelled.");
    }
    ThrowDescriptions(std::move(diagnostics.Descriptions), sql, diagnostics.Code);
}

std::string OdbcSession::CurrentCatalog() const {
    std::array<SQLCHAR, 512> catalog{};
    SQLINTEGER length = 0;
    const SQLRETURN result = SQLGetConnectAttr(connection_.Get(), SQL_ATTR_CURRENT_CATALOG,
                                               catalog.data(), catalog.size(), &length);
    return SQL_SUCCEEDED(result) ? reinterpret_cast<const char*>(catalog.data()) : "";
}

std::string OdbcSession::ServerName() const {
    std::array<SQLCHAR, 512> server{};
    SQLSMALLINT length = 0;
    if (!SQL_SUCCEEDED(SQLGetInfo(connection_.Get(), SQL_SERVER_NAME, server.data(), server.size(),
                                  &length))) {
        ThrowDiagnostics(connection_, {});
    }
    return reinterpret_cast<const char*>(server.data());
}

void OdbcSession::UseCatalog(const std::string& name) {
    std::string text = name;
    Ready("use " + name);
    Call(connection_, "use " + name, [&] {
        return SQLSetConnectAttr(connection_.Get(), SQL_ATTR_CURRENT_CATALOG, text.data(),
                                 static_cast<SQLINTEGER>(text.size()));
    });
}

std::int64_t OdbcSession::Execute(std::string_view sql) {
    OdbcStatement statement(shared_from_this(), std::string(sql));
    statement.ExecuteDirectly();
    return statement.Finish();
}

std::string OdbcSession::SingleValue(const std::string& sql) {
    OdbcStatement statement(shared_from_this(), sql);
    statement.ExecuteDirectly();
    std::string text = statement.FetchSingleText();
    statement.Finish();
    return text;
}

SQLRETURN OdbcSession::SetAutocommit(SQLULEN value) {
    return SQLSetConnectAttr(connection_.Get(), SQL_ATTR_AUTOCOMMIT, AsPointer(value),
                             SQL_IS_UINTEGER);
}

void OdbcSession::BeginTrans() {
    RequireUsable("BEGIN TRANSACTION");
    if (!manualCommit_) {
        Call(connection_, "BEGIN TRANSACTION", [&] { return SetAutocommit(SQL_AUTOCOMMIT_OFF); });
        manualCommit_ = true;
    }
    inTransaction_ = true;
}

void OdbcSession::CommitTrans() {
    if (!inTransaction_) {
        return;
    }
    RequireUsable("COMMIT");
    Call(connection_, "COMMIT",
         [&] { return SQLEndTran(SQL_HANDLE_DBC, connection_.Get(), SQL_COMMIT); });
    inTransaction_ = false;
}

void OdbcSession::RollbackTrans() {
    if (!inTransaction_) {
        return;
    }
    const bool failed = std::exchange(transactionFailed_, false);
    if (failed && SpeaksTSql()) {
        // A deadlock or a trigger may have rolled back already. The server would refuse the
        // driver's ROLLBACK without a transaction.
        try {
            Execute("IF @@TRANCOUNT = 0 BEGIN TRANSACTION");
        } catch (const DatabaseError&) {
            // The rollback below reports the error.
        }
    }
    inTransaction_ = transactionFailed_ = false;
    Call(connection_, "ROLLBACK",
         [&] { return SQLEndTran(SQL_HANDLE_DBC, connection_.Get(), SQL_ROLLBACK); });
    Call(connection_, "ROLLBACK", [&] { return SetAutocommit(SQL_AUTOCOMMIT_ON); });
    manualCommit_ = false;
}

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

// For a plain batch FreeTDS reports only the first row count, which may be a trigger's; for a call
// it reports all. Only statements that change rows are sent as a call: a SET would be undone at its
// end.
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
    // Also after an error: an open cursor would block other statements on the connection.
    struct CloseAtEnd {
        SQLHANDLE Statement;
        ~CloseAtEnd() { SQLFreeStmt(Statement, SQL_CLOSE); }
    } const closeAtEnd{Get()};
    std::int64_t affected = -1;
    do {
        SQLSMALLINT columns = 0;
        SQLLEN count = -1;
        // Skip the rows that a trigger selects.
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
