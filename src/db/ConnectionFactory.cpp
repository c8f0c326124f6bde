// SPDX-License-Identifier: Apache-2.0
#include "db/ConnectionFactory.h"

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

std::unique_ptr<Connection> CreateConnection(std::string_view server) {
    return CreateCancellableConnection(server, {});
}

std::unique_ptr<Connection> CreateCancellableConnection(
    std::string_view server, const std::function<bool()>& cancelRequested) {
    return LogStatements(IsEmbeddedServer(server) ? CreateEmbeddedConnection(cancelRequested)
                                                  : CreateOdbcConnection(cancelRequested));
}

}  // namespace morvane
