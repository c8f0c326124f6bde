// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "core/Connection.h"

namespace morvane {

// Called with each statement just before it is sent, as worded; a command's parameter values
// follow in a comment; passwords are masked. "BEGIN", "COMMIT" and "ROLLBACK" stand for the
// transaction calls.
using StatementSink = std::function<void(std::string_view statement)>;

// The same connection, every statement of which is shown to `sink` first. Questions to the
// catalogue, which each engine words in its own way, are shown to `catalogue`, where there is one.
std::unique_ptr<Connection> TraceStatements(std::unique_ptr<Connection> connection,
                                            StatementSink sink, StatementSink catalogue = {});

}  // namespace morvane
