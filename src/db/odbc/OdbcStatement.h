#pragma once

#include <cstdint>
#include <deque>
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

// 0 waits for as long as it takes, which is the driver's default.
void SetQueryTimeout(const OdbcHandle& statement, int seconds);

// "{call name(?, ?)}"
std::string CallText(std::string_view procedure, std::size_t parameters);

}  // namespace morvane::odbc
