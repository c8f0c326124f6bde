// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/RunSettings.h"

namespace morvane::odbc {

// False for control characters and for those with a meaning in connection strings.
bool IsServerNameCharacter(char c);
// Whether the text is a TCP port, 1 to 65535.
bool IsPort(std::string_view text);

// What a connection string is made of.
struct LoginDetails {
    // The server is "host", "host,port" or "host\instance"; "(local)" and "." mean this machine.
    ServerLogin Login;
    std::string Database;  // empty for the login's default database
    // The user's own "Keyword=value;..." options, which replace ours.
    std::string ExtraOptions;
    // Timeout in seconds for requests other than statements, such as a commit; 0 for none. Only
    // FreeTDS has a keyword for it.
    int QueryTimeout = 0;
};

// Drivers with different connection strings.
enum class DriverFamily {
    Microsoft,   // "ODBC Driver 18 for SQL Server", 17
    FreeTds,     // "FreeTDS"
    OldWindows,  // "SQL Server"
    Other,       // for a server that is not SQL Server; the contract tests use one
};

struct OdbcDriver {
    std::string Name;
    DriverFamily Family = DriverFamily::FreeTds;
    // Builds the connection string for a driver of the family Other.
    std::function<std::string(const LoginDetails&)> MakeString{};
};

// The preferred one of the installed drivers, or the one named by `wanted`. If there is none,
// throws DatabaseError with the package to install.
OdbcDriver PickDriver(const std::vector<std::string>& installed,
                      const std::optional<std::string>& wanted);

// The names of the drivers registered with the driver manager.
std::vector<std::string> InstalledDrivers();

// Every value is braced or checked, so that none can inject a keyword. Connections are encrypted
// unless the extra options disable it. Throws DatabaseError for an invalid server name, for a value
// that the driver cannot represent, and for a string longer than ODBC's limit.
std::string BuildConnectionString(const OdbcDriver& driver, const LoginDetails& login);

}  // namespace morvane::odbc

namespace morvane {

struct OdbcOptions {
    std::string Driver = {};    // empty for the best one installed
    std::string Keywords = {};  // "Keyword=value;...", win over those of the program
    // Seconds that a statement without a time-out of its own may take, as a number; empty for no
    // limit. Open() throws DatabaseError for anything else.
    std::string QueryTimeout = {};
    std::optional<odbc::OdbcDriver> OtherDriver = {};  // of another server; for the contract tests
};

}  // namespace morvane
