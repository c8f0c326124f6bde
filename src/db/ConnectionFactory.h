#pragma once

#include "core/Connection.h"

namespace morvane {

// A closed connection of the engine that the server's name asks for: "sqlite:<folder>" is the
// embedded one. Throws DatabaseError for a name that no engine knows.
std::unique_ptr<Connection> CreateConnection(std::string_view server);

}  // namespace morvane
