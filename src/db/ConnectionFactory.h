// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "core/Connection.h"

namespace morvane {

// Creates a closed connection with the engine for the server's name: the embedded engine for
// "sqlite:<folder>", SQL Server over ODBC for every other name.
std::unique_ptr<Connection> CreateConnection(std::string_view server);

// The same for a run that can be cancelled. Once `cancelRequested` returns true, the connection
// waits only a few seconds for a SQL Server that does not answer, and no longer for a locked
// embedded database. It may be called from another thread.
std::unique_ptr<Connection> CreateCancellableConnection(
    std::string_view server, const std::function<bool()>& cancelRequested);

}  // namespace morvane
