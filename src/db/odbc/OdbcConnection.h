// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "core/Connection.h"
#include "db/odbc/CallWatch.h"

namespace morvane {

// A closed connection to a SQL Server through ODBC. The driver is the best of those installed, or
// the one that the environment variable MORVANE_ODBC_DRIVER names; the keywords of
// MORVANE_ODBC_OPTIONS take the place of ours in the connection string; MORVANE_QUERY_TIMEOUT is
// the time-out, in seconds, of every statement that has none of its own. Once `cancel` says so, no
// call waits for the server longer than CallWatch allows.
std::unique_ptr<Connection> CreateOdbcConnection(odbc::CancelRequest cancel = {});

}  // namespace morvane
