// SPDX-License-Identifier: Apache-2.0
#include "contract/Backend.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "db/ConnectionFactory.h"
#include "db/odbc/OdbcConnection.h"
#include "db/odbc/OdbcDriver.h"
#include "run/Environment.h"
#include "run/StartUp.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {

namespace {

std::string VariableOrEmpty(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

constexpr const char* kSqliteDriver = "SQLite3";

// The server is a folder, a database a file in it.
std::string SqliteString(const odbc::LoginDetails& details) {
    const std::string file = details.Database.empty()
                                 ? ":memory:"
                                 : details.Login.Server + "/" + details.Database + ".db";
    return std::string("Driver={") + kSqliteDriver + "};Database=" + file +
           ";FKSupport=0;NoWCHAR=1;";
}

// An embedded warehouse, used by the embedded engine or through SQLite's ODBC driver.
class LocalDatabase : public TestDatabase {
  public:
    explicit LocalDatabase(bool odbc) : odbc_(odbc) {}

    std::unique_ptr<Connection> Connect() override {
        auto connection =
            odbc_ ? CreateOdbcConnection(
                        {.OtherDriver = odbc::OdbcDriver{kSqliteDriver, odbc::DriverFamily::Other,
                                                         SqliteString}})
                  : CreateConnection(warehouse_.Server());
        connection->SetProperty("Data Source", odbc_ ? warehouse_.Folder() : warehouse_.Server());
        connection->SetConnectionTimeout(20);
        return connection;
    }
    std::string Name() const override { return "dw"; }

  private:
    bool odbc_;
    TestWarehouse warehouse_;
};

class LiveDatabase : public TestDatabase {
  public:
    explicit LiveDatabase(const ServerLogin& server)
        : server_(server),
          name_("morvane_test_" + std::to_string(getpid()) + "_" + std::to_string(++made_)) {
        auto connection = Connect();
        connection->Open();
        connection->Execute("create database " + name_);
    }
    ~LiveDatabase() override {
        try {
            auto connection = Connect();
            connection->Open();
            connection->SetDefaultDatabase("master");
            connection->Execute("drop database " + name_);
        } catch (const DatabaseError& error) {
            std::fprintf(stderr, "%s stays on the server: %s\n", name_.c_str(), error.what());
        }
    }

    std::unique_ptr<Connection> Connect() override {
        auto connection = LiveConnections()(server_.Server);
        connection->SetLogin(server_);
        connection->SetConnectionTimeout(20);
        return connection;
    }
    std::string Name() const override { return name_; }

  private:
    static inline int made_ = 0;
    ServerLogin server_;
    std::string name_;
};

// Sets the locale as the program does: Microsoft's driver uses its encoding.
class ProgramsLocale : public ::testing::Environment {
  public:
    void SetUp() override { UseSystemLocale(); }
};

const ::testing::Environment* const kProgramsLocale =
    ::testing::AddGlobalTestEnvironment(new ProgramsLocale);

}  // namespace

bool IsInstalled(const std::string& driver) {
    const std::vector<std::string> installed = odbc::InstalledDrivers();
    return std::find(installed.begin(), installed.end(), driver) != installed.end();
}

std::unique_ptr<Connection> TestDatabase::Open() {
    auto connection = Connect();
    connection->Open();
    connection->SetDefaultDatabase(Name());
    return connection;
}

std::ostream& operator<<(std::ostream& stream, const Backend& backend) {
    return stream << backend.Name;
}

std::optional<ServerLogin> FindLiveServer() {
    const std::string server = VariableOrEmpty("MORVANE_TEST_SERVER");
    if (server.empty()) {
        return std::nullopt;
    }
    return ServerLogin{server, false, VariableOrEmpty("MORVANE_TEST_USER"),
                       VariableOrEmpty("MORVANE_TEST_PASSWORD")};
}

ConnectionFactory LiveConnections() {
    return ConnectionsWith({.Odbc = TakeEnvironment().Odbc});
}

std::unique_ptr<TestDatabase> MakeLiveDatabase(const ServerLogin& server) {
    return std::make_unique<LiveDatabase>(server);
}

std::vector<Backend> AllBackends() {
    const auto live = FindLiveServer();
    return {{.Name = "Embedded", .Make = [] { return std::make_unique<LocalDatabase>(false); }},
            {.Name = "SqliteOdbc",
             .Make = [] { return std::make_unique<LocalDatabase>(true); },
             .SpeaksTSql = false,
             .Unavailable =
                 IsInstalled(kSqliteDriver) ? "" : "the ODBC driver SQLite3 is not installed"},
            {.Name = "LiveServer",
             .Make = [live] { return MakeLiveDatabase(live.value()); },
             .Unavailable = live ? "" : "MORVANE_TEST_SERVER names no server"}};
}

}  // namespace morvane::testing
