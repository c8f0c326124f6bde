#pragma once

#include <memory>

#include "core/Connection.h"

namespace morvane {

// A closed connection to a SQL Server through ODBC. The driver is the best of those installed, or
// the one that the environment variable MORVANE_ODBC_DRIVER names; MORVANE_ODBC_OPTIONS is added to
// the connection string.
std::unique_ptr<Connection> CreateOdbcConnection();

}  // namespace morvane
