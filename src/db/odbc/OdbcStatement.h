#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"
#include "db/odbc/OdbcHandle.h"

namespace morvane::odbc {

// The parameters of one execution, in memory that stays where it is until the statement has run.
class BoundParameters {
  public:
    // Binds them by position. Throws DatabaseError.
    void Bind(const OdbcHandle& statement, const std::vector<Parameter>& parameters,
              std::string_view sql);

  private:
    struct Cell {
        std::string Text;
        SQLBIGINT Integer = 0;
        SQLDOUBLE Real = 0;
        SQLLEN Indicator = 0;
    };

    std::deque<Cell> cells_;
};

// Reads what a statement returned to its end, so that the connection is free and an error in a
// later result is not missed. Returns the rows affected, -1 where the server counts none.
std::int64_t FinishStatement(const OdbcHandle& statement, SQLRETURN executed, std::string_view sql);

// The seconds that the environment variable MORVANE_QUERY_TIMEOUT gives to every statement without
// a time-out of its own; 0, which waits for as long as it takes, when it is not set. Throws
// DatabaseError for what is no such number.
int DefaultQueryTimeout();

// The default one unless `own` has a value; 0 waits for as long as it takes.
void SetQueryTimeout(const OdbcHandle& statement, std::optional<int> own = {});

// "{call name(?, ?)}"
std::string CallText(std::string_view procedure, std::size_t parameters);

}  // namespace morvane::odbc
