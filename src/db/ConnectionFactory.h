// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "core/Connection.h"

namespace morvane {

// A closed connection of the engine that the server's name asks for: "sqlite:<folder>" is the
// embedded one, every other name a SQL Server.
std::unique_ptr<Connection> CreateConnection(std::string_view server);

// The same for a run that can be cancelled: once `cancelRequested` says so, a SQL Server that does
// not answer is waited for some seconds only, and an embedded database in use no longer. It may be
// called from another thread.
std::unique_ptr<Connection> CreateCancellableConnection(
    std::string_view server, const std::function<bool()>& cancelRequested);

}  // namespace morvane
