#include "db/ConnectionFactory.h"

#include "core/Text.h"
#include "db/embedded/EmbeddedConnection.h"

namespace morvane {

std::unique_ptr<Connection> CreateConnection(std::string_view server) {
    if (EqualsIgnoreCase(server.substr(0, kEmbeddedPrefix.size()), kEmbeddedPrefix)) {
        return CreateEmbeddedConnection();
    }
    throw DatabaseError({"No database engine is available for the server \"" + std::string(server) +
                         "\"; an embedded warehouse is written " + std::string(kEmbeddedPrefix) +
                         "<folder>"});
}

}  // namespace morvane
