// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <chrono>

#include "base/Text.h"
#include "contract/Backend.h"
#include "contract/LoopbackService.h"
#include "contract/TdsServer.h"
#include "core/DatabaseError.h"
#include "db/ConnectionFactory.h"
#include "db/modDatabaseOperations.h"
#include "db/odbc/OdbcDriver.h"

namespace morvane::testing {
namespace {

constexpr int kTimeout = 2;
constexpr const char* kPassword = "S3cret;Pw";

bool HasServerDriver() {
    try {
        odbc::PickDriver(odbc::InstalledDrivers(), {});
        return true;
    } catch (const DatabaseError&) {
        return false;
    }
}

// The result of a login attempt.
struct Attempt {
    bool Connected = false;
    std::string Error;
    double Seconds = 0;
    std::unique_ptr<Connection> Opened;
};

Attempt Connect(const std::string& server, const std::string& user = "somebody",
                const std::string& password = kPassword, const OdbcOptions& options = {}) {
    Attempt attempt;
    const auto start = std::chrono::steady_clock::now();
    attempt.Connected =
        ConnectDatabase(ConnectionsWith({.Odbc = options}), {server, false, user, password},
                        attempt.Opened, attempt.Error, std::nullopt, kTimeout);
    attempt.Seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return attempt;
}

bool Says(const std::string& error, std::string_view part) {
    return ToLower(error).find(ToLower(part)) != std::string::npos;
}

// The first line names the server, each further one is a diagnostic, and the timeout is observed.
void ExpectDescribed(const Attempt& attempt, const std::string& server,
                     const std::string& password = kPassword) {
    EXPECT_FALSE(attempt.Connected);
    const std::string head = "Error while connecting to : " + server + std::string(kCrLf);
    ASSERT_EQ(attempt.Error.substr(0, head.size()), head) << attempt.Error;
    EXPECT_GT(attempt.Error.size(), head.size());
    EXPECT_EQ(attempt.Error.find(std::string(kCrLf) + std::string(kCrLf)), std::string::npos);
    EXPECT_EQ(attempt.Error.find(password), std::string::npos) << attempt.Error;
    EXPECT_LT(attempt.Seconds, 3 * kTimeout) << attempt.Error;
}

class LoginFault : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!HasServerDriver()) {
            GTEST_SKIP() << "no ODBC driver for SQL Server is installed";
        }
    }
};

TEST_F(LoginFault, AnUnreachableServerIsReported) {
    for (const std::string& server :
         {ScriptedListener::ClosedServer(), std::string("no-such-host.invalid")}) {
        const Attempt attempt = Connect(server);
        ExpectDescribed(attempt, server);
        EXPECT_TRUE(Says(attempt.Error, "connect")) << attempt.Error;
    }
}

struct BadServer {
    const char* Name;
    ScriptedListener::Script Script;
};

class LoginScript : public LoginFault, public ::testing::WithParamInterface<BadServer> {};

// The start of a packet of 43 bytes.
const std::string kHalfPacket("\x04\x01\x00\x2b\x00\x00\x01\x00\x00\x00\x1a", 11);

INSTANTIATE_TEST_SUITE_P(
    Servers, LoginScript,
    ::testing::Values(BadServer{"Silent", {false, "", false}},
                      BadServer{"ClosesAtOnce", {false, "", true}},
                      BadServer{"Garbage", {true, std::string(4096, '\x5a'), false}},
                      BadServer{"HalfAPacketThenSilence", {true, kHalfPacket, false}}),
    [](const auto& instance) { return instance.param.Name; });

TEST_P(LoginScript, IsReportedInTime) {
    const ScriptedListener listener(GetParam().Script);
    ExpectDescribed(Connect(listener.Server()), listener.Server());
}

TEST_F(LoginFault, AMissingDriverIsNamed) {
    const Attempt attempt =
        Connect("127.0.0.1", "somebody", kPassword, {.Driver = "No Such Driver"});
    ExpectDescribed(attempt, "127.0.0.1");
    EXPECT_TRUE(Says(attempt.Error, "No Such Driver")) << attempt.Error;
}

TEST_F(LoginFault, ARefusedLoginIsReportedAndCredentialsArriveUnchanged) {
    if (!IsInstalled("FreeTDS")) {
        GTEST_SKIP() << "the ODBC driver FreeTDS is not installed";
    }
    const OdbcOptions options{.Driver = "FreeTDS", .Keywords = "Encryption=off"};
    for (const std::string& text :
         {std::string("plain"), std::string("a;b}c{d'e\"f g=h Pw1"), std::string(" {Braced Pw1} "),
          std::string("gü§ÿÀ Pw1;UID=sa"), std::string("}{ Pw1}")}) {
        const tds::TdsServer server([](const tds::Request&) {
            return tds::Answer{{tds::Error(18456, 14, "Login failed for user.")}};
        });
        const Attempt attempt = Connect(server.Server(), "user " + text, text, options);
        ExpectDescribed(attempt, server.Server(), text);
        EXPECT_TRUE(Says(attempt.Error, "login failed")) << attempt.Error;
        EXPECT_EQ(server.Requests().at(0).User, "user " + text);
        EXPECT_EQ(server.Requests().at(0).Password, text);
    }
}

}  // namespace
}  // namespace morvane::testing
