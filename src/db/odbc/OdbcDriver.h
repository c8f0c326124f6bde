// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace morvane::odbc {

// Drivers that want their connection strings written differently.
enum class DriverFamily {
    Microsoft,   // "ODBC Driver 18 for SQL Server", 17
    FreeTds,     // "FreeTDS"
    OldWindows,  // "SQL Server"
    Sqlite,      // "SQLite3", which the tests use: the server is a folder, a database a file in it
};

struct OdbcDriver {
    std::string Name;
    DriverFamily Family = DriverFamily::FreeTds;
};

// What a connection string is made of.
struct LoginDetails {
    std::string Server;  // "host", "host,port", "host\instance"; "(local)" and "." are this machine
    bool IntegratedSecurity = false;
    std::string UserName;
    std::string Password;
    std::string Database;  // empty for the login's default one
    // "Keyword=value;..." of the user's own, which take the place of ours.
    std::string ExtraOptions;
    // Seconds for the requests that are no statements, such as a commit; 0 for no limit. Only
    // FreeTDS has a keyword for it.
    int QueryTimeout = 0;
};

// The best of the installed drivers, or the one named by `wanted`. Throws DatabaseError with the
// package to install when there is none.
OdbcDriver PickDriver(const std::vector<std::string>& installed,
                      const std::optional<std::string>& wanted);

// The names of the drivers that the driver manager knows.
std::vector<std::string> InstalledDrivers();

// Every value is braced or checked, so that none can add a keyword. Both families encrypt unless
// the extra options refuse it. Throws DatabaseError for a server's name that cannot be one, for a
// value that the driver has no way to write, and for a string longer than ODBC can pass.
std::string BuildConnectionString(const OdbcDriver& driver, const LoginDetails& login);

}  // namespace morvane::odbc
