// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/Connection.h"
#include "db/odbc/OdbcSession.h"

namespace morvane::odbc {

// Sends some hundred statements in one request. A text with parameters is prepared there once for
// all its executions. The server stops at the first error, and says which statement it was; counts
// that somebody wants come back together.
class OdbcBatch : public StatementBatch {
  public:
    OdbcBatch(std::shared_ptr<OdbcSession> session, RowCountSink counted)
        : session_(std::move(session)), counted_(std::move(counted)) {}

    void Add(std::string_view sql, const std::vector<Parameter>& parameters) override;
    void Finish() override;

  private:
    std::string Handle(const std::string& sql, const std::string& types);
    // Every statement of the request is followed by what keeps its count, where that is wanted.
    bool Counts() const { return static_cast<bool>(counted_); }
    void Send(const std::string& request, std::size_t& failed);
    void TellCounts(const std::string& counts);

    std::shared_ptr<OdbcSession> session_;
    RowCountSink counted_;
    std::vector<std::string> statements_;  // that wait
    std::string text_;                     // what executes them
    // What is prepared in the request: the types of the parameters and the text, and the variable.
    std::map<std::pair<std::string, std::string>, std::string> handles_;
    std::size_t executed_ = 0;
};

}  // namespace morvane::odbc
