// SPDX-License-Identifier: Apache-2.0
#include "db/modDatabaseOperations.h"

#include <limits>
#include <stdexcept>

#include "base/Text.h"
#include "core/Transaction.h"

namespace morvane {

namespace {

void OpenWithLogin(Connection& connection, const ServerLogin& login,
                   const std::optional<std::string>& database, int timeoutSeconds) {
    connection.SetConnectionTimeout(timeoutSeconds);
    connection.SetLogin(login);
    if (database) {
        connection.SetProperty("Initial Catalog", *database);
    }
    connection.Open();
}

}  // namespace

bool ConnectDatabase(const ConnectionFactory& factory, const ServerLogin& login,
                     std::unique_ptr<Connection>& connection, std::string& errorText,
                     const std::optional<std::string>& database, int timeoutSeconds) {
    std::vector<std::string> descriptions;
    try {
        connection.reset();
        connection = factory(login.Server);
        OpenWithLogin(*connection, login, database, timeoutSeconds);
        if (connection->IsOpen()) {
            return true;
        }
    } catch (const DatabaseError& error) {
        descriptions = error.Descriptions();
    } catch (const std::exception& error) {
        descriptions = {error.what()};
    }
    errorText = "Error while connecting to : " + login.Server;
    for (const std::string& description : descriptions) {
        errorText += kCrLf;
        errorText += description;
    }
    return false;
}

void FillDatabaseList(std::vector<std::string>& list, Connection& connection) {
    list.clear();
    const auto names =
        connection.OpenRecordset("SELECT DISTINCT name FROM master.dbo.sysdatabases ORDER BY name");
    for (; !names->Eof(); names->MoveNext()) {
        list.push_back((*names)[0].Text());
    }
}

void CreateArchiveTable(Connection& connection) {
    connection.Execute(
        "create table dwm_archive( ID tinyint, Server varchar(100), SecureLogin bit,"
        " SQLUserName varchar(100), SQLPassword varchar(100),  DB varchar(100),"
        " constraint dwm_archive_pk primary key (ID))");
    connection.Execute("insert into dwm_archive values (1, '(local)', 1, null, null, null)");
}

void CreateMultiUseTable(Connection& connection, const std::string& userName) {
    Transaction transaction(connection);
    connection.Execute("create table dwm_multiuse( lock bit, user_name varchar(100))");
    connection.Execute("insert into dwm_multiuse values (1,'" + userName + "')");
    transaction.Commit();
}

bool ValidateQuery(std::string_view sql, Connection& connection, std::string& errorText) {
    if (Trim(sql).empty()) {
        return true;
    }
    try {
        connection.Execute("Set NOEXEC ON");
        connection.Execute(sql);
        connection.Execute("Set NOEXEC OFF");
        return true;
    } catch (const DatabaseError& error) {
        errorText = Join(error.Descriptions(), kCrLf);
        return false;
    }
}

std::string NullToText(const Value& value, const std::string& defaultValue) {
    return value.IsNull() ? defaultValue : value.Text();
}

std::int16_t NullToInteger(const Value& value, std::int16_t defaultValue) {
    if (value.IsNull()) {
        return defaultValue;
    }
    const std::int64_t number = value.Integer();
    using Limits = std::numeric_limits<std::int16_t>;
    if (number < Limits::min() || number > Limits::max()) {
        throw std::out_of_range(value.Text() + " does not fit into a 16-bit integer");
    }
    return static_cast<std::int16_t>(number);
}

bool NullToBoolean(const Value& value, bool defaultValue) {
    return value.IsNull() ? defaultValue : value.Flag();
}

}  // namespace morvane
