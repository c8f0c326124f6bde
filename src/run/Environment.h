// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/RunSettings.h"
#include "core/RunState.h"
#include "db/odbc/OdbcDriver.h"

namespace morvane {

// Variables by which the ODBC driver manager and FreeTDS find their configuration files.
struct DataSourceVariables {
    std::string Home = {};         // HOME
    std::string OdbcIni = {};      // ODBCINI
    std::string OdbcSysIni = {};   // ODBCSYSINI
    std::string FreeTdsConf = {};  // FREETDSCONF
    std::string FreeTds = {};      // FREETDS
};

// All environment variables that the program reads.
struct Environment {
    // MORVANE_PASSWORD and MORVANE_ARCHIVE_PASSWORD, or the first lines of the files in
    // MORVANE_PASSWORD_FILE and MORVANE_ARCHIVE_PASSWORD_FILE
    LoginPasswords Passwords;
    OdbcOptions Odbc;          // MORVANE_ODBC_DRIVER, MORVANE_ODBC_OPTIONS, MORVANE_QUERY_TIMEOUT
    std::string StatementLog;  // MORVANE_STATEMENT_LOG
    std::string ResultFile;    // MORVANE_RESULT
    bool ConsoleOnly = false;  // MORVANE_CONSOLE
    bool HasDisplay = false;   // DISPLAY, WAYLAND_DISPLAY or QT_QPA_PLATFORM
    DataSourceVariables DataSources;
};

// Reads the variables; called once, in main. Wipes and removes the variables with passwords, so
// that child processes do not inherit them.
Environment TakeEnvironment();

// Adds the password to a login that has a user name and no password. Throws FileError if the
// password could not be read.
ServerLogin WithPassword(ServerLogin login, const LoginPasswords::Password& fromEnvironment);

// Does the same for the logins of a run.
void CompleteLogins(RunSettings& settings, const LoginPasswords& passwords);

}  // namespace morvane
