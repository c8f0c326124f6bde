// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "base/Text.h"
#include "core/Connection.h"

namespace morvane {

// The prefix of an embedded server's name; a folder follows.
inline constexpr std::string_view kEmbeddedPrefix = "sqlite:";

inline bool IsEmbeddedServer(std::string_view server) {
    return EqualsIgnoreCase(server.substr(0, kEmbeddedPrefix.size()), kEmbeddedPrefix);
}

// A closed connection to an embedded warehouse. The server "sqlite:<folder>" is that folder, the
// database <name> the SQLite file "<name>.db" in it. Logins are ignored. A folder or file that is
// missing, invalid or read-only is an error; nothing is created. A statement waiting for another
// process's lock fails if `cancelRequested` returns true meanwhile.
std::unique_ptr<Connection> CreateEmbeddedConnection(std::function<bool()> cancelRequested = {});

}  // namespace morvane
