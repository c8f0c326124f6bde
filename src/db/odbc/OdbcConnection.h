// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "core/Connection.h"
#include "db/odbc/CallWatch.h"

namespace morvane {

struct OdbcOptions {
    std::string Driver = {};    // empty for the best one installed
    std::string Keywords = {};  // "Keyword=value;...", win over those of the program
    // Seconds that a statement without a time-out of its own may take, as a number; empty for no
    // limit. Open() throws DatabaseError for anything else.
    std::string QueryTimeout = {};
};

// A closed connection to a SQL Server through ODBC. Once `cancel` returns true, no call waits for
// the server longer than CallWatch allows.
std::unique_ptr<Connection> CreateOdbcConnection(OdbcOptions options = {},
                                                 odbc::CancelRequest cancel = {});

}  // namespace morvane
