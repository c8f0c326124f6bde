// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "base/Text.h"
#include "core/Connection.h"

namespace morvane {

// What the name of an embedded server begins with; a folder follows.
inline constexpr std::string_view kEmbeddedPrefix = "sqlite:";

inline bool IsEmbeddedServer(std::string_view server) {
    return EqualsIgnoreCase(server.substr(0, kEmbeddedPrefix.size()), kEmbeddedPrefix);
}

// A closed connection to an embedded warehouse: the server "sqlite:<folder>" is that folder, the
// database <name> is the SQLite file "<name>.db" in it. Logins are accepted and ignored. A folder
// or file that is missing, is no database or cannot be written is an error, never made silently. A
// statement that waits for another process's lock ends when the user asks to cancel meanwhile.
std::unique_ptr<Connection> CreateEmbeddedConnection(std::function<bool()> cancelRequested = {});

}  // namespace morvane
