#pragma once

#include "core/Connection.h"

namespace morvane {

// A closed connection of the engine that the server's name asks for: "sqlite:<folder>" is the
// embedded one, every other name a SQL Server.
std::unique_ptr<Connection> CreateConnection(std::string_view server);

}  // namespace morvane
