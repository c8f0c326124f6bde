// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "core/Connection.h"

namespace morvane {

// Called with each statement just before it is sent, with passwords masked. Parameter values follow
// in a comment. Transaction calls appear as "BEGIN", "COMMIT" and "ROLLBACK".
using StatementSink = std::function<void(std::string_view statement)>;

// Wraps a connection so that every statement goes to `sink` first. Catalogue queries, which each
// engine phrases differently, go to `catalogue` if it is set.
std::unique_ptr<Connection> TraceStatements(std::unique_ptr<Connection> connection,
                                            StatementSink sink, StatementSink catalogue = {});

// Wraps a connection so that every statement is first appended to a file, one per line. Throws
// FileError if the file cannot be written.
std::unique_ptr<Connection> LogStatements(std::unique_ptr<Connection> connection,
                                          const std::string& path);

}  // namespace morvane
