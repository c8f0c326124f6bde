// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

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
    std::string Unavailable;
};

std::ostream& operator<<(std::ostream& stream, const Backend& backend);

// Whether the ODBC driver is registered.
bool IsInstalled(const std::string& driver);

// The embedded engine, ODBC over the SQLite driver, and ODBC over the live server.
std::vector<Backend> AllBackends();

// The live server in MORVANE_TEST_SERVER, MORVANE_TEST_USER and MORVANE_TEST_PASSWORD; no value if
// not set.
struct LiveServer {
    std::string Server;
    std::string User;
    std::string Password;
};
std::optional<LiveServer> FindLiveServer();

// Creates connections to it, with the ODBC options of the environment.
ConnectionFactory LiveConnections();

// Creates a database on it, dropped at the end.
std::unique_ptr<TestDatabase> MakeLiveDatabase(const LiveServer& server);

// A test that needs the live server and is skipped without one.
template <typename Base>
class OnLiveServer : public Base {
  protected:
    void SetUp() final {
        const auto server = FindLiveServer();
        if (!server) {
            GTEST_SKIP() << "MORVANE_TEST_SERVER names no server";
        }
        server_ = *server;
        Prepare();
    }

    virtual void Prepare() = 0;

    LiveServer server_;
};

}  // namespace morvane::testing
