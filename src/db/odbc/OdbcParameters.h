// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"
#include "db/odbc/OdbcStatement.h"

namespace morvane::odbc {

// The parameters of a prepared statement, bound to memory that stays where it is. Executing again
// with other values binds nothing: a driver may prepare the statement again for that, which costs
// two round trips to the server.
class BoundParameters {
  public:
    // To be called for a statement that has been prepared: nothing is bound to it yet.
    void Forget() { cells_.clear(); }

    // Hands over the values, and binds by position what does not fit the way it is bound. Throws
    // DatabaseError.
    void SetValues(const OdbcStatement& statement, const std::vector<Parameter>& parameters);

  private:
    // How a place is bound.
    struct Shape {
        SQLSMALLINT CType = 0;
        SQLSMALLINT SqlType = 0;
        SQLULEN Size = 0;
        bool operator==(const Shape&) const = default;
    };

    struct Cell {
        Shape Bound;
        std::string Text;  // its capacity is what is bound
        SQLBIGINT Integer = 0;
        SQLDOUBLE Real = 0;
        SQLLEN Indicator = 0;
        bool IsBound = false;
    };

    static void Bind(const OdbcStatement& statement, std::size_t position, const Shape& shape,
                     Cell& cell);
    static void SetText(const OdbcStatement& statement, std::size_t position,
                        const Parameter& parameter, Cell& cell);

    std::deque<Cell> cells_;
};

}  // namespace morvane::odbc
