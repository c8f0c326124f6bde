// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "core/Connection.h"
#include "db/odbc/OdbcDriver.h"

namespace morvane {

struct ConnectionOptions {
    OdbcOptions Odbc = {};
    std::string StatementLog = {};  // a file that gets every statement; none if empty
    // Once it returns true, a SQL Server that does not answer is waited for only a few seconds, and
    // an embedded database in use not at all. May be called from another thread.
    std::function<bool()> CancelRequested = {};
};

// Makes closed connections of the engine that the server's name asks for: "sqlite:<folder>" is the
// embedded one, any other name a SQL Server.
ConnectionFactory ConnectionsWith(ConnectionOptions options);

// The same without options.
std::unique_ptr<Connection> CreateConnection(std::string_view server);

}  // namespace morvane
