// SPDX-License-Identifier: Apache-2.0
#include "db/StatementLog.h"

#include <cstdlib>
#include <fstream>

#include "base/modFileFunctions.h"
#include "db/StatementTrace.h"

namespace morvane {

namespace {

// Line breaks inside a statement would look like its end.
std::string OneLine(std::string_view statement) {
    std::string line;
    for (const char c : statement) {
        line += c == '\r' || c == '\n' ? ' ' : c;
    }
    return line;
}

}  // namespace

std::unique_ptr<Connection> LogStatements(std::unique_ptr<Connection> connection) {
    const char* path = std::getenv("MORVANE_STATEMENT_LOG");
    if (path == nullptr || *path == '\0') {
        return connection;
    }
    auto file = std::make_shared<std::ofstream>(ToPath(path), std::ios::binary | std::ios::app);
    if (!*file) {
        throw FileError("Cannot write the file \"" + std::string(path) + "\"");
    }
    const StatementSink write = [file](std::string_view statement) {
        *file << OneLine(statement) << '\n' << std::flush;
    };
    return TraceStatements(std::move(connection), write, write);
}

}  // namespace morvane
