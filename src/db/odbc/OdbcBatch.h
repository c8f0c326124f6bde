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

// Sends several hundred statements in one request, in which a text with parameters is prepared
// once. The server stops at the first error and reports which statement failed. Row counts, if
// requested, are returned together at the end.
class OdbcBatch : public StatementBatch {
  public:
    OdbcBatch(std::shared_ptr<OdbcSession> session, RowCountSink counted)
        : session_(std::move(session)), counted_(std::move(counted)) {}

    void Add(std::string_view sql, const std::vector<Parameter>& parameters) override;
    void Finish() override;

  private:
    std::string HandleVariable(const std::string& sql, const std::string& types);
    bool Counts() const { return static_cast<bool>(counted_); }
    void Send(const std::string& request, std::size_t& failed);
    void ReportCounts(const std::string& counts);

    std::shared_ptr<OdbcSession> session_;
    RowCountSink counted_;
    std::vector<std::string> statements_;  // pending
    std::string text_;                     // the request that executes them
    // By parameter types and text: the variables with the handles of prepared statements.
    std::map<std::pair<std::string, std::string>, std::string> handles_;
    std::size_t executed_ = 0;
};

}  // namespace morvane::odbc
