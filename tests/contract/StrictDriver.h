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

// The rows of one column that a statement returns.
struct StrictResult {
    SQLSMALLINT ColumnType = 0;  // 0 when there is no column
    std::vector<std::optional<std::string>> Rows = {};
};

struct IgnoreCase {
    bool operator()(const std::string& a, const std::string& b) const {
        return strcasecmp(a.c_str(), b.c_str()) < 0;
    }
};

// Keywords of a connection string and their values, without braces.
using LoginKeywords = std::map<std::string, std::string, IgnoreCase>;

// The ODBC driver of StrictDriver.cpp as a test sees it. The driver lives in the test's process.
struct StrictDriver {
    // The result of a statement by its text. Every other statement succeeds without one.
    std::map<std::string, StrictResult> Answers;
    // Whether the indicator of an incomplete piece is the number of remaining bytes, or
    // SQL_NO_TOTAL.
    bool TellsRemaining = false;
    // The native error of a change of the database; 0 when it succeeds.
    SQLINTEGER UseError = 0;
    // A database that no login can open.
    std::string ClosedDatabase;

    // Recorded by the driver.
    std::string CodeSet;              // of LC_CTYPE when the environment was allocated
    std::vector<std::string> Events;  // "connect <database>", "use <name>", "disconnect <database>"
    LoginKeywords Login;              // of the last connection
    int Prepares = 0;
    int Binds = 0;
    int Unbinds = 0;                          // SQL_RESET_PARAMS while something was bound
    std::vector<SQLSMALLINT> ParameterTypes;  // as last bound, by position
    // The values of each execution with parameters, as text.
    std::vector<std::vector<std::optional<std::string>>> Executions;
};

// The name under which the library exports `StrictDriver* ()`.
inline constexpr const char* kStrictDriverFunction = "MorvaneStrictDriver";

}  // namespace morvane::testing
