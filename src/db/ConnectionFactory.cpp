#include "db/ConnectionFactory.h"

#include "core/Text.h"
#include "db/StatementLog.h"
#include "db/embedded/EmbeddedConnection.h"
#include "db/odbc/OdbcConnection.h"

namespace morvane {

std::unique_ptr<Connection> CreateConnection(std::string_view server) {
    const bool embedded =
        EqualsIgnoreCase(server.substr(0, kEmbeddedPrefix.size()), kEmbeddedPrefix);
    return LogStatements(embedded ? CreateEmbeddedConnection() : CreateOdbcConnection());
}

}  // namespace morvane
