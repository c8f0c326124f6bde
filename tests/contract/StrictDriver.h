// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sql.h>
#include <sqlext.h>
#include <strings.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace morvane::testing {

// A result of one column.
struct StrictResult {
    SQLSMALLINT ColumnType = 0;  // 0 for no column
    std::vector<std::optional<std::string>> Rows = {};
    std::vector<SQLLEN> Counts = {};  // of a trigger's statements and the statement itself
};

struct IgnoreCase {
    bool operator()(const std::string& a, const std::string& b) const {
        return strcasecmp(a.c_str(), b.c_str()) < 0;
    }
};

// Keywords of a connection string and their values, without braces.
using LoginKeywords = std::map<std::string, std::string, IgnoreCase>;

// The test's interface to the ODBC driver in StrictDriver.cpp, which runs in the same process.
struct StrictDriver {
    // Results by statement text. Other statements succeed without a result.
    std::map<std::string, StrictResult> Answers;
    // Whether the indicator of a truncated piece is the number of remaining bytes instead of
    // SQL_NO_TOTAL.
    bool TellsRemaining = false;
    // The native error for changing the database; 0 for success.
    SQLINTEGER UseError = 0;
    // A database that cannot be opened.
    std::string ClosedDatabase;

    // Recorded by the driver.
    std::string CodeSet;              // of LC_CTYPE when the environment was allocated
    std::vector<std::string> Events;  // "connect <database>", "use <name>", "disconnect <database>"
    LoginKeywords Login;              // of the last connection
    int Prepares = 0;
    int Binds = 0;
    int Unbinds = 0;                          // SQL_RESET_PARAMS with bound parameters
    std::vector<SQLSMALLINT> ParameterTypes;  // as last bound, by position
    // The values of each execution with parameters, as text.
    std::vector<std::vector<std::optional<std::string>>> Executions;
};

// The library's exported function, of type `StrictDriver* ()`.
inline constexpr const char* kStrictDriverFunction = "MorvaneStrictDriver";

}  // namespace morvane::testing
