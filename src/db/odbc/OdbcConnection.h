#pragma once

#include <memory>

#include "core/Connection.h"

namespace morvane {

// A closed connection to a SQL Server through ODBC. The driver is the best of those installed, or
// the one that the environment variable MORVANE_ODBC_DRIVER names; MORVANE_ODBC_OPTIONS is added to
// the connection string; MORVANE_QUERY_TIMEOUT is the time-out, in seconds, of every statement that
// has none of its own.
std::unique_ptr<Connection> CreateOdbcConnection();

}  // namespace morvane
