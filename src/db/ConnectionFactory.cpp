// SPDX-License-Identifier: Apache-2.0
#include "db/ConnectionFactory.h"

#include <utility>

#include "core/DatabaseError.h"
#include "db/StatementTrace.h"
#include "db/embedded/EmbeddedConnection.h"
#include "db/odbc/OdbcConnection.h"

namespace morvane {

#ifndef MORVANE_EMBEDDED

std::unique_ptr<Connection> CreateEmbeddedConnection(std::function<bool()>) {
    throw DatabaseError(
        {"This build of Morvane has no embedded engine, since it was made without SQLite."});
}

#endif

ConnectionFactory ConnectionsWith(ConnectionOptions options) {
    return [options = std::move(options)](std::string_view server) {
        auto connection = IsEmbeddedServer(server)
                              ? CreateEmbeddedConnection(options.CancelRequested)
                              : CreateOdbcConnection(options.Odbc, options.CancelRequested);
        return options.StatementLog.empty()
                   ? std::move(connection)
                   : LogStatements(std::move(connection), options.StatementLog);
    };
}

std::unique_ptr<Connection> CreateConnection(std::string_view server) {
    return ConnectionsWith({})(server);
}

}  // namespace morvane
