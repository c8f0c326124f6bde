// SPDX-License-Identifier: Apache-2.0
#include "db/ArchiveSettings.h"

#include <array>
#include <utility>

#include "db/modDatabaseOperations.h"

namespace morvane {

namespace {

DatabaseError NoRow() {
    return DatabaseError(
        {"The table dwm_archive has no row with ID 1, which holds the connection "
         "settings of the archive database."});
}

// A quote would end the literal and inject SQL.
void RequireNoQuote(const ArchiveSettings& archive) {
    const std::array<std::pair<const char*, const std::string&>, 4> fields{
        {{"Archive Server", archive.Login.Server},
         {"User Name", archive.Login.UserName},
         {"Password", archive.Login.Password},
         {"Archive Database", archive.Database}}};
    for (const auto& [name, value] : fields) {
        if (value.find('\'') != std::string::npos) {
            throw DatabaseError({"Unclosed quotation mark: the " + std::string(name) +
                                 " holds a single quote ('), which dwm_archive cannot take. "
                                 "Nothing was saved."});
        }
    }
}

}  // namespace

ArchiveSettings ArchiveSettingsOf(const RunSettings& settings) {
    return {settings.ArchiveLogin(), settings.ArchiveDatabase};
}

void PutArchiveSettings(const ArchiveSettings& archive, RunSettings& settings) {
    settings.SetArchiveLogin(archive.Login);
    settings.ArchiveDatabase = archive.Database;
}

ArchiveSettings ReadArchiveSettings(Connection& warehouse) {
    const auto row = warehouse.OpenRecordset(
        "select Server, SecureLogin, SQLUserName, SQLPassword, DB from dwm_archive where ID = 1");
    if (row->Eof()) {
        throw NoRow();
    }
    return {{NullToText((*row)[0], ""), NullToBoolean((*row)[1], false), NullToText((*row)[2], ""),
             NullToText((*row)[3], "")},
            NullToText((*row)[4], "")};
}

void SaveArchiveSettings(Connection& warehouse, const ArchiveSettings& archive) {
    RequireNoQuote(archive);
    const ServerLogin& login = archive.Login;
    if (warehouse.Execute("update dwm_archive set Server = '" + login.Server + "', SecureLogin = " +
                          (login.NTAuthentication ? "-1" : "0") + ", SQLUserName = '" +
                          login.UserName + "', SQLPassword = '" + login.Password + "', DB = '" +
                          archive.Database + "' where ID = 1") == 0) {
        throw NoRow();
    }
}

}  // namespace morvane
