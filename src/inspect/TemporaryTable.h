// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "core/Connection.h"

namespace morvane {

// A temporary table of the session with the rows of a query. Dropped by the destructor.
class TemporaryTable {
  public:
    // `sql` is a SELECT with "INTO *"; the name replaces the asterisk. Throws DatabaseError.
    TemporaryTable(Connection& connection, std::string sql);
    ~TemporaryTable();
    TemporaryTable(const TemporaryTable&) = delete;
    TemporaryTable& operator=(const TemporaryTable&) = delete;

    // Quoted for statements.
    const std::string& Name() const { return name_; }

  private:
    Connection& connection_;
    std::string name_;
};

// The number in the first row and column of a query; 0 if it is NULL or there is no row.
std::int64_t QueryNumber(Connection& connection, const std::string& sql);

}  // namespace morvane
