// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/DatabaseError.h"
#include "db/odbc/CallWatch.h"
#include "db/odbc/OdbcDriver.h"
#include "db/odbc/OdbcHandle.h"

namespace morvane::odbc {

// A login to a server, from opening the connection to closing it. Statements keep the object alive,
// but they throw after Close().
class OdbcSession : public std::enable_shared_from_this<OdbcSession> {
  public:
    // Logs in and sets the session's language, date order and row counts. Throws DatabaseError.
    static std::shared_ptr<OdbcSession> Login(const OdbcDriver& driver, const LoginDetails& login,
                                              int timeoutSeconds, const CancelRequest& cancel);
    ~OdbcSession() { Close(); }
    OdbcSession(const OdbcSession&) = delete;
    OdbcSession& operator=(const OdbcSession&) = delete;

    // Rolls back an open transaction. Never throws.
    void Close();
    bool IsOpen() const { return open_; }

    const OdbcDriver& Driver() const { return driver_; }
    bool SpeaksTSql() const { return driver_.Family != DriverFamily::Other; }

    // Seconds for statements without a time-out of their own; 0 for no limit.
    int QueryTimeout() const { return queryTimeout_; }

    std::string CurrentCatalog() const;
    std::string ServerName() const;
    // Throws DatabaseError with the server's error number.
    void UseCatalog(const std::string& name);

    // Returns the number of rows affected, or -1 if the server reports none.
    std::int64_t Execute(std::string_view sql);
    // The first column of the first row as text; empty if there is none.
    std::string SingleValue(const std::string& sql);

    // After a commit the connection stays in manual-commit mode until the next statement outside a
    // transaction, because each change of the mode costs a round trip.
    void BeginTrans();
    void CommitTrans();
    // Succeeds if the server has already rolled back.
    void RollbackTrans();

    // Throws if the session is closed, or inside a transaction after an error: the server may have
    // rolled back, and further statements would then commit on their own.
    void RequireUsable(std::string_view sql) const;
    // Call this before each statement. Like RequireUsable(), and returns to autocommit mode outside
    // a transaction.
    void Ready(std::string_view sql);

    // Calls the driver under the watch. Throws DatabaseError on failure, which ends an open
    // transaction; SQL_NO_DATA is not a failure. `handle` has the diagnostics.
    template <typename Function>
    SQLRETURN Call(const OdbcHandle& handle, std::string_view sql, Function&& function) {
        const CallWatch::Call call(
            *watch_, handle.Type() == SQL_HANDLE_STMT ? handle.Get() : SQL_NULL_HANDLE);
        const SQLRETURN result = function();
        if (!SQL_SUCCEEDED(result) && result != SQL_NO_DATA) {
            Fail(handle, sql, call.GivenUp());
        }
        return result;
    }

    const OdbcHandle& Connection() const { return connection_; }

  private:
    OdbcSession(OdbcDriver driver, int queryTimeout)
        : driver_(std::move(driver)), queryTimeout_(queryTimeout) {}

    void Connect(const LoginDetails& login, int timeoutSeconds, const CancelRequest& cancel);
    [[noreturn]] void Fail(const OdbcHandle& handle, std::string_view sql, bool givenUp);
    SQLRETURN SetAutocommit(SQLULEN value);

    OdbcDriver driver_;
    int queryTimeout_;
    OdbcHandle environment_;
    OdbcHandle connection_;
    std::unique_ptr<CallWatch> watch_;
    bool open_ = false;
    bool manualCommit_ = false;
    bool inTransaction_ = false;
    bool transactionFailed_ = false;
};

// A statement of a session. It may outlive the session's Close(), which frees its handle.
class OdbcStatement {
  public:
    OdbcStatement() = default;
    // With the default timeout unless `timeoutSeconds` has a value. Throws DatabaseError.
    OdbcStatement(std::shared_ptr<OdbcSession> session, std::string sql,
                  std::optional<int> timeoutSeconds = {});
    OdbcStatement(OdbcStatement&&) noexcept = default;
    OdbcStatement& operator=(OdbcStatement&& other) noexcept;
    ~OdbcStatement() { Free(); }

    SQLHANDLE Get() const { return handle_.Get(); }
    const OdbcHandle& Handle() const { return handle_; }
    const std::string& Sql() const { return sql_; }
    OdbcSession& Session() const { return *session_; }

    template <typename Function>
    SQLRETURN Call(Function&& function) const {
        session_->Ready(sql_);
        return session_->Call(handle_, sql_, function);
    }

    void Prepare();
    // SQLExecDirect, and SQLExecute after Prepare(). Return the driver's result code.
    SQLRETURN ExecuteDirectly();
    SQLRETURN ExecutePrepared();
    // Reads all results, which frees the connection and reports errors in later results. Returns
    // the last row count, which is the statement's own; its triggers' come first. -1 if there is
    // none.
    std::int64_t Finish();
    // The first column of the first row as text; empty for NULL or without rows.
    std::string FetchSingleText() const;

  private:
    bool CountsAsCall() const;
    SQLRETURN ExecuteAsCall();
    void Free();

    std::shared_ptr<OdbcSession> session_;
    std::string sql_;
    SQLLEN textLength_ = 0;
    OdbcHandle handle_;
};

// The value of MORVANE_QUERY_TIMEOUT in seconds; 0 for an empty text. Throws DatabaseError if it is
// not a number of seconds.
int ParseQueryTimeout(const std::string& text);

}  // namespace morvane::odbc
