// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "core/Connection.h"

namespace morvane::testing {

// A private database on one engine, dropped at the end of the test.
class TestDatabase {
  public:
    virtual ~TestDatabase() = default;
    // A closed connection with its properties set, and the name of the database to select.
    virtual std::unique_ptr<Connection> Connect() = 0;
    virtual std::string Name() const = 0;

    std::unique_ptr<Connection> Open();
};

// An engine under test.
struct Backend {
    std::string Name;
    std::function<std::unique_ptr<TestDatabase>()> Make;
    bool SpeaksTSql = true;  // else SQLite's own dialect
    // Why the engine cannot be tested; empty if it can.
    std::string Unavailable = {};
};

std::ostream& operator<<(std::ostream& stream, const Backend& backend);

// Whether the ODBC driver is registered.
bool IsInstalled(const std::string& driver);

// The embedded engine, ODBC over the SQLite driver, and ODBC over the live server.
std::vector<Backend> AllBackends();

// The login for the live server from MORVANE_TEST_SERVER, MORVANE_TEST_USER and
// MORVANE_TEST_PASSWORD; no value if they are not set.
std::optional<ServerLogin> FindLiveServer();

// Creates connections to it, with the ODBC options of the environment.
ConnectionFactory LiveConnections();

// Creates a database on it, dropped at the end.
std::unique_ptr<TestDatabase> MakeLiveDatabase(const ServerLogin& server);

}  // namespace morvane::testing
