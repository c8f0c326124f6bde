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
    std::string StatementLog = {};  // a file that receives every statement; none if empty
    // Once it returns true, connections wait only a few seconds for a SQL Server that does not
    // answer, and no longer for a locked embedded database. May be called from another thread.
    std::function<bool()> CancelRequested = {};
};

// Creates closed connections with the engine for the server's name: the embedded engine for
// "sqlite:<folder>", SQL Server over ODBC for every other name.
ConnectionFactory ConnectionsWith(ConnectionOptions options);

// The same without options.
std::unique_ptr<Connection> CreateConnection(std::string_view server);

// Whether two connections with these "Server Name" properties reach the same server. The folder of
// an embedded server can be written in several ways.
bool IsSameServer(std::string_view a, std::string_view b);

// Whether two open connections have the same database of the same server.
bool IsSameDatabase(const Connection& a, const Connection& b);

}  // namespace morvane
