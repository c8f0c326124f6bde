#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "db/odbc/OdbcSession.h"

namespace morvane::odbc {

// Sends some hundred statements in one request. Each with parameters goes through sp_executesql,
// so that the server compiles a text once, however often it comes. The server stops at the first
// error, and says which statement it was; the counts come back together.
class OdbcBatch : public StatementBatch {
  public:
    OdbcBatch(std::shared_ptr<OdbcSession> session, RowCountSink counted)
        : session_(std::move(session)), counted_(std::move(counted)) {}

    void Add(std::string_view sql, const std::vector<Parameter>& parameters) override;
    void Finish() override;

  private:
    std::string TextVariable(const std::string& text);
    void Send(const std::string& request, std::size_t& failed);
    void TellCounts(const std::string& counts);

    std::shared_ptr<OdbcSession> session_;
    RowCountSink counted_;
    std::vector<std::string> statements_;  // that wait
    std::string text_;                     // what executes them
    std::string declarations_;             // of the texts that they share, and their variables
    std::map<std::string, std::string> variables_;
    std::size_t executed_ = 0;
};

}  // namespace morvane::odbc
