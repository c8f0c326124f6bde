// SPDX-License-Identifier: Apache-2.0
#include "db/ListDatabases.h"

#include "core/ErrorTrap.h"
#include "db/modDatabaseOperations.h"

namespace morvane {

bool ListDatabases(const ConnectionFactory& connect, const ServerLogin& login, DatabaseList& list,
                   std::string& errorText) {
    std::unique_ptr<Connection> connection;
    if (!ConnectDatabase(connect, login, connection, errorText)) {
        return false;
    }
    return TrapErrors(errorText, [&] {
        list.ServerName = connection->Property("Server Name");
        FillDatabaseList(list.Names, *connection);
        connection->Close();
        return true;
    });
}

}  // namespace morvane
