// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "core/DatabaseError.h"
#include "db/odbc/CallWatch.h"
#include "db/odbc/OdbcDriver.h"
#include "db/odbc/OdbcHandle.h"

namespace morvane::odbc {

// One login at a server, from the connection's opening to its end. Statements keep it alive, but
// not open: what is asked of them after Close() is an error.
class OdbcSession : public std::enable_shared_from_this<OdbcSession> {
  public:
    // Logs in and gives the session its language, date order and row counts. Throws DatabaseError.
    static std::shared_ptr<OdbcSession> Login(const OdbcDriver& driver, const LoginDetails& login,
                                              int timeoutSeconds, const CancelRequest& cancel);
    ~OdbcSession() { Close(); }
    OdbcSession(const OdbcSession&) = delete;
    OdbcSession& operator=(const OdbcSession&) = delete;

    // Rolls an open transaction back. Never throws.
    void Close();
    bool IsOpen() const { return open_; }

    // The SQLite driver serves the tests; it speaks no T-SQL.
    const OdbcDriver& Driver() const { return driver_; }
    bool SpeaksTSql() const { return driver_.Family != DriverFamily::Sqlite; }

    // Seconds for statements without a time-out of their own; 0 for no limit.
    int QueryTimeout() const { return queryTimeout_; }

    std::string CurrentCatalog() const;
    std::string ServerName() const;
    // Throws DatabaseError, with the server's number for its reason.
    void UseCatalog(const std::string& name);

    // Both the rows affected, -1 where the server counts none.
    std::int64_t Execute(std::string_view sql);
    // The first row's first column as text; empty when there is none.
    std::string SingleValue(const std::string& sql);

    // After a commit the connection stays in manual-commit mode until a statement needs the other:
    // mostly the next transaction follows, and each change of the mode is a round trip.
    void BeginTrans();
    void CommitTrans();
    // What the server has rolled back by itself counts as done.
    void RollbackTrans();

    // Throws when the session is closed, and inside a transaction that an error has ended: what
    // the server has rolled back already would be followed by statements that stand alone.
    void RequireUsable(std::string_view sql) const;
    // The same, and outside a transaction each statement commits itself. To be called before one.
    void Ready(std::string_view sql);

    // Calls the driver under the watch. Throws DatabaseError for a failure, which ends an open
    // transaction; "no data" is none. `handle` is the statement or connection with the diagnostics.
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

}  // namespace morvane::odbc
