// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "core/Connection.h"

namespace morvane {

// When the environment variable MORVANE_STATEMENT_LOG names a file, the same connection with every
// statement written to the end of that file first, one a line, passwords masked; else the
// connection itself. Throws FileError when the file cannot be written.
std::unique_ptr<Connection> LogStatements(std::unique_ptr<Connection> connection);

}  // namespace morvane
