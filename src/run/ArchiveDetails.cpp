// SPDX-License-Identifier: Apache-2.0
#include "run/ArchiveDetails.h"

#include "base/Text.h"
#include "db/modDatabaseOperations.h"

namespace morvane {

bool ReadArchiveDetails(Connection& warehouse, RunSettings& settings) {
    if (!warehouse.TableExists("dwm_archive")) {
        return false;
    }
    const auto row = warehouse.OpenRecordset(
        "SELECT Server, SecureLogin, SQLUserName, SQLPassword, DB FROM dwm_archive WHERE ID = 1");
    if (row->Eof()) {
        return false;
    }
    const Value& server = (*row)[0];
    const Value& secure = (*row)[1];
    const Value& user = (*row)[2];
    const Value& database = (*row)[4];
    if (server.IsNull() || secure.IsNull() || database.IsNull() ||
        (!secure.Flag() && user.IsNull())) {
        return false;
    }
    const ServerLogin login{std::string(Trim(server.Text())), secure.Flag(), user.Text(),
                            NullToText((*row)[3], "")};
    settings.SetArchiveLogin(login.Effective());
    settings.ArchiveDatabase = Trim(database.Text());
    return true;
}

}  // namespace morvane
