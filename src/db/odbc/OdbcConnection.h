// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "core/Connection.h"
#include "db/odbc/CallWatch.h"
#include "db/odbc/OdbcDriver.h"

namespace morvane {

// A closed connection to a SQL Server through ODBC. Once `cancel` returns true, no call waits for
// the server longer than CallWatch allows.
std::unique_ptr<Connection> CreateOdbcConnection(OdbcOptions options = {},
                                                 odbc::CancelRequest cancel = {});

}  // namespace morvane
