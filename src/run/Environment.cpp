// SPDX-License-Identifier: Apache-2.0
#include "run/Environment.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/PrivateFile.h"
#include "base/Text.h"
#include "base/modFileFunctions.h"

namespace morvane {

namespace {

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

void RemoveVariable(const char* name) {
#ifdef _WIN32
    _putenv_s(name, "");
#else
    unsetenv(name);
#endif
}

// Reads a variable and removes it from the process.
std::string TakeVariable(const char* name) {
    char* value = std::getenv(name);
    if (value == nullptr) {
        return {};
    }
    std::string taken = value;
    std::fill_n(value, std::strlen(value), '\0');
    RemoveVariable(name);
    return taken;
}

LoginPasswords::Password TakePassword(const char* variable, const char* fileVariable) {
    LoginPasswords::Password password;
    password.Text = TakeVariable(variable);
    const std::string path = TakeVariable(fileVariable);
    if (path.empty()) {
        return password;
    }
    const std::string file = fileVariable;
    if (!password.Text.empty()) {
        password.Fault = "Both " + std::string(variable) + " and " + file + " are set.";
        return password;
    }
    try {
        password.Text = ReadPrivateLine(path);
        if (password.Text.empty()) {
            password.Fault = "The first line of the file \"" + path + "\" is empty.";
        }
    } catch (const FileError& error) {
        password.Fault = error.what();
    }
    if (!password.Fault.empty()) {
        password.Fault = file + ": " + password.Fault;
    }
    return password;
}

}  // namespace

Environment TakeEnvironment() {
    Environment environment;
    environment.Passwords = {
        TakePassword("MORVANE_PASSWORD", "MORVANE_PASSWORD_FILE"),
        TakePassword("MORVANE_ARCHIVE_PASSWORD", "MORVANE_ARCHIVE_PASSWORD_FILE")};
    environment.Odbc = {.Driver = Variable("MORVANE_ODBC_DRIVER"),
                        .Keywords = Variable("MORVANE_ODBC_OPTIONS"),
                        .QueryTimeout = Variable("MORVANE_QUERY_TIMEOUT")};
    environment.StatementLog = Variable("MORVANE_STATEMENT_LOG");
    environment.ResultFile = Variable("MORVANE_RESULT");
    const std::string console = Variable("MORVANE_CONSOLE");
    environment.ConsoleOnly = !console.empty() && console != "0";
    environment.HasDisplay =
        !(Variable("DISPLAY") + Variable("WAYLAND_DISPLAY") + Variable("QT_QPA_PLATFORM")).empty();
    environment.DataSources = {.Home = Variable("HOME"),
                               .OdbcIni = Variable("ODBCINI"),
                               .OdbcSysIni = Variable("ODBCSYSINI"),
                               .FreeTdsConf = Variable("FREETDSCONF"),
                               .FreeTds = Variable("FREETDS")};
    return environment;
}

ServerLogin WithPassword(ServerLogin login, const LoginPasswords::Password& fromEnvironment) {
    if (login.NTAuthentication || Trim(login.UserName).empty() || !login.Password.empty()) {
        return login;
    }
    if (!fromEnvironment.Fault.empty()) {
        throw FileError(fromEnvironment.Fault);
    }
    login.Password = fromEnvironment.Text;
    return login;
}

void CompleteLogins(RunSettings& settings, const LoginPasswords& passwords) {
    settings.SetWarehouseLogin(WithPassword(settings.WarehouseLogin(), passwords.Warehouse));
    if (settings.ArchiveFactTables) {
        settings.SetArchiveLogin(WithPassword(settings.ArchiveLogin(), passwords.Archive));
    }
}

}  // namespace morvane
