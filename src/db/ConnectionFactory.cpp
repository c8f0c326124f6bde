// SPDX-License-Identifier: Apache-2.0
#include "db/ConnectionFactory.h"

#include <utility>

#include "base/Platform.h"
#include "base/modFileFunctions.h"
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

bool IsSameServer(std::string_view a, std::string_view b) {
    if (EqualsIgnoreCase(a, b) || !IsEmbeddedServer(a) || !IsEmbeddedServer(b)) {
        return EqualsIgnoreCase(a, b);
    }
    return AreEquivalent(ToPath(a.substr(kEmbeddedPrefix.size())),
                         ToPath(b.substr(kEmbeddedPrefix.size())));
}

bool IsSameDatabase(const Connection& a, const Connection& b) {
    return IsSameServer(a.Property("Server Name"), b.Property("Server Name")) &&
           EqualsIgnoreCase(a.DefaultDatabase(), b.DefaultDatabase());
}

}  // namespace morvane
