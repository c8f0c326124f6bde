// SPDX-License-Identifier: Apache-2.0
#include "db/ArchiveSettings.h"

#include <array>
#include <optional>
#include <utility>

#include "base/Text.h"
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

struct ArchiveRow {
    ArchiveSettings Settings;  // NULL reads as an empty text or false
    bool IsComplete = false;   // no column that a run needs is NULL
};

std::optional<ArchiveRow> ReadRow(Connection& warehouse) {
    const auto row = warehouse.OpenRecordset(
        "select Server, SecureLogin, SQLUserName, SQLPassword, DB from dwm_archive where ID = 1");
    if (row->Eof()) {
        return std::nullopt;
    }
    const Value& server = (*row)[0];
    const Value& secure = (*row)[1];
    const Value& user = (*row)[2];
    const Value& database = (*row)[4];
    const ServerLogin login{NullToText(server, ""), NullToBoolean(secure, false),
                            NullToText(user, ""), NullToText((*row)[3], "")};
    const bool isComplete = !server.IsNull() && !secure.IsNull() && !database.IsNull() &&
                            (login.NTAuthentication || !user.IsNull());
    return ArchiveRow{{login, NullToText(database, "")}, isComplete};
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
    const std::optional<ArchiveRow> row = ReadRow(warehouse);
    if (!row) {
        throw NoRow();
    }
    return row->Settings;
}

bool ReadArchiveDetails(Connection& warehouse, RunSettings& settings) {
    if (!warehouse.TableExists("dwm_archive")) {
        return false;
    }
    const std::optional<ArchiveRow> row = ReadRow(warehouse);
    if (!row || !row->IsComplete) {
        return false;
    }
    ArchiveSettings archive = row->Settings;
    archive.Login.Server = Trim(archive.Login.Server);
    archive.Login = archive.Login.Effective();
    archive.Database = Trim(archive.Database);
    PutArchiveSettings(archive, settings);
    return true;
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
