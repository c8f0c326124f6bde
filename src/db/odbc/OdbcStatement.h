// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "db/odbc/OdbcSession.h"

namespace morvane::odbc {

// A statement of a session. It may outlive the session, whose end has then freed it.
class OdbcStatement {
  public:
    OdbcStatement() = default;
    // With the default time-out unless `timeoutSeconds` has a value. Throws DatabaseError.
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
    // SQLExecDirect, and SQLExecute after Prepare(); what they return.
    SQLRETURN ExecuteDirectly();
    SQLRETURN ExecutePrepared();
    // Reads what was returned to its end, so that the connection is free and an error in a later
    // result is not missed. Returns the last count, which is the statement's own: those of its
    // triggers come before it. -1 where the server counts none.
    std::int64_t Finish();
    // The first row's first column as text; empty for NULL and when there is no row.
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
