// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace morvane::testing {

// One result of a statement: a row count, a table or an error.
struct StrictResult {
    using Row = std::vector<std::optional<std::string>>;

    SQLLEN Count = -1;
    std::vector<std::pair<std::string, SQLSMALLINT>> Columns = {};  // name and type
    std::vector<Row> Rows = {};
    SQLINTEGER ErrorCode = 0;
    bool EndsTransaction = false;  // the server rolls back with the error
};

// A parameter of an execution. Numbers are converted to text.
struct StrictParameter {
    SQLSMALLINT Type;
    std::optional<std::string> Text;
};

// The test's interface to the ODBC driver in StrictDriver.cpp, which runs in the same process.
struct StrictDriver {
    // The first entry whose text is part of the statement supplies the results. Other statements
    // succeed without a result. The statement of a catalogue function is the function's name.
    std::vector<std::pair<std::string, std::vector<StrictResult>>> Answers;
    // Whether the indicator of a truncated piece is the number of remaining bytes instead of
    // SQL_NO_TOTAL.
    bool TellsRemaining = false;
    SQLINTEGER UseError = 0;  // for changing the database; 0 for success

    // Recorded by the driver: "connect <database>", "use <database>", "disconnect <database>",
    // "commit", "rollback", and statements, with " (in transaction)" if they are in one.
    std::vector<std::string> Events;
    int Prepares = 0;
    int Binds = 0;
    std::optional<SQLULEN> Timeout;                        // as last set on a statement
    std::vector<std::vector<StrictParameter>> Executions;  // those with parameters
};

// A database that cannot be opened.
inline constexpr const char* kClosedDatabase = "closed";

// The library's exported function, of type `StrictDriver* ()`.
inline constexpr const char* kStrictDriverFunction = "MorvaneStrictDriver";

}  // namespace morvane::testing
