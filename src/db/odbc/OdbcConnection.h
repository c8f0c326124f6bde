// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include "core/Connection.h"
#include "db/odbc/CallWatch.h"
#include "db/odbc/OdbcDriver.h"

namespace morvane {

// A closed connection to a SQL Server over ODBC. Environment variables: MORVANE_ODBC_DRIVER names
// the driver, instead of the preferred installed one; MORVANE_ODBC_OPTIONS has connection string
// keywords that replace ours; MORVANE_QUERY_TIMEOUT is the timeout in seconds for statements
// without one of their own. Once `cancel` returns true, no call waits for the server longer than
// CallWatch allows. The contract tests pass a `driver` for another server.
std::unique_ptr<Connection> CreateOdbcConnection(odbc::CancelRequest cancel = {},
                                                 std::optional<odbc::OdbcDriver> driver = {});

}  // namespace morvane
