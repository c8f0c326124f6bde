// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcSession.h"

#include <fmt/format.h>

#include <array>

#include "db/odbc/OdbcStatement.h"
#include "sql/MaskPasswords.h"

namespace morvane::odbc {

namespace {

// Whatever the login or the server says: dates in a condition mean the same rows with every
// driver, and the lock sees the count of its UPDATE.
constexpr std::string_view kSessionSettings =
    "SET LANGUAGE us_english SET DATEFORMAT mdy SET NOCOUNT OFF";

// The drivers' own limit counts the waits for an answer one by one. Ours comes after it.
constexpr int kMoreSeconds = 1;

SQLPOINTER AsPointer(SQLULEN number) {
    return reinterpret_cast<SQLPOINTER>(number);
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
    // Without the text in the error: it holds the password.
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
    Check(SQLGetInfo(connection_.Get(), SQL_SERVER_NAME, server.data(), server.size(), &length),
          connection_);
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

// Always ended before autocommit returns, which would roll back what is pending.
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
        // The victim of a deadlock, or a trigger that rolled back: there is no transaction left,
        // and drivers would be refused the end of one that is not there.
        try {
            Execute("IF @@TRANCOUNT = 0 BEGIN TRANSACTION");
        } catch (const DatabaseError&) {
            // What is wrong shows in the rollback itself.
        }
    }
    inTransaction_ = transactionFailed_ = false;
    Call(connection_, "ROLLBACK",
         [&] { return SQLEndTran(SQL_HANDLE_DBC, connection_.Get(), SQL_ROLLBACK); });
    Call(connection_, "ROLLBACK", [&] { return SetAutocommit(SQL_AUTOCOMMIT_ON); });
    manualCommit_ = false;
}

}  // namespace morvane::odbc
