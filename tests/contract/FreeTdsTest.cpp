// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include "base/Text.h"
#include "contract/Backend.h"
#include "contract/TdsServer.h"
#include "core/DatabaseError.h"
#include "db/ConnectionFactory.h"
#include "db/modDatabaseOperations.h"
#include "db/odbc/CallWatch.h"
#include "db/odbc/OdbcConnection.h"
#include "support/ErrorOf.h"
#include "support/Texts.h"

namespace morvane::testing::tds {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kTimeout = 2;

// Tests of the ODBC engine over FreeTDS.
class FreeTds : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!IsInstalled("FreeTDS")) {
            GTEST_SKIP() << "the ODBC driver FreeTDS is not installed";
        }
    }

    std::unique_ptr<Connection> Connect(const std::string& server,
                                        odbc::CancelRequest cancel = {}) {
        auto connection = CreateOdbcConnection(options_, std::move(cancel));
        connection->SetLogin({server, false, "somebody", "S3cret;Pw"});
        connection->SetConnectionTimeout(kTimeout);
        connection->Open();
        return connection;
    }

    // The error of a login, after checking its form: the first line names the server, each further
    // one is a diagnostic.
    std::string LoginError(const std::string& server, const std::string& user = "somebody",
                           const std::string& password = "S3cret;Pw") {
        std::unique_ptr<Connection> connection;
        std::string error;
        EXPECT_FALSE(ConnectDatabase(ConnectionsWith({.Odbc = options_}),
                                     {server, false, user, password}, connection, error,
                                     std::nullopt, kTimeout));
        const std::string head = "Error while connecting to : " + server + std::string(kCrLf);
        EXPECT_TRUE(error.starts_with(head)) << error;
        EXPECT_GT(error.size(), head.size());
        EXPECT_EQ(error.find(std::string(kCrLf) + std::string(kCrLf)), std::string::npos) << error;
        EXPECT_EQ(error.find(password), std::string::npos) << error;
        return error;
    }

    OdbcOptions options_{.Driver = "FreeTDS", .Keywords = "Encryption=off"};
};

TEST_F(FreeTds, AFailedLoginIsReportedInTime) {
    // The start of a packet of 43 bytes.
    const std::string halfPacket("\x04\x01\x00\x2b\x00\x00\x01\x00\x00\x00\x1a", 11);
    const struct {
        LoopbackServer::Answer ToClient;   // sent at once
        LoopbackServer::Answer ToMessage;  // sent after the client's first message
        const char* Says = "";
    } cases[] = {
        {{}, {}},
        {{.Bytes = {}, .Closes = true}, {}},
        {{}, {std::string(4096, '\x5a')}},
        {{}, {halfPacket}},
        {{}, {.Bytes = halfPacket + halfPacket, .PerByte = milliseconds(300)}, "after 2 seconds"},
    };
    for (const auto& script : cases) {
        const LoopbackServer server([&](const std::string& received) {
            return received.empty() ? script.ToClient : script.ToMessage;
        });
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(Contains(LoginError(server.Name()), script.Says));
        EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(3 * kTimeout));
    }
    EXPECT_TRUE(Contains(ToLower(LoginError("no-such-host.invalid")), "connect"));
    const std::string closed = LoopbackServer({}).Name();
    EXPECT_TRUE(Contains(ToLower(LoginError(closed)), "connect"));
}

TEST_F(FreeTds, ARefusedLoginIsReportedAndCredentialsArriveUnchanged) {
    for (const std::string& text :
         {std::string("plain"), std::string("a;b}c{d'e\"f g=h Pw1"), std::string(" {Braced Pw1} "),
          std::string("gü§ÿÀ Pw1;UID=sa"), std::string("}{ Pw1}")}) {
        const TdsServer server({{"user ", {Error(18456, "Login failed for user.")}}});
        EXPECT_TRUE(Contains(LoginError(server.Name(), "user " + text, text), "Login failed"));
        std::string scrambled = Wide(text);
        for (char& c : scrambled) {
            const auto byte = static_cast<unsigned char>(c);
            c = static_cast<char>((byte >> 4 | byte << 4) ^ 0xA5);
        }
        const Request login = server.Requests().at(0);
        EXPECT_TRUE(login.Holds("user " + text)) << text;
        EXPECT_NE(login.Message.find(scrambled), std::string::npos) << text;
    }
}

TEST_F(FreeTds, TheSessionHasItsOptionsAndUnicodeTexts) {
    const std::string text = "grün € 緑";
    const TdsServer server({{"SELECT", {Table("a", {text})}}});
    const auto connection = Connect(server.Name());
    const Request options = server.Requests().at(1);
    EXPECT_TRUE(options.Holds("SET NOCOUNT OFF"));
    EXPECT_FALSE(options.IsCall) << "the options would be lost at the end of a call";
    EXPECT_EQ((*connection->OpenRecordset("SELECT"))[0].Text(), text);
    const auto command = connection->CreateCommand();
    command->SetText("INSERT INTO t VALUES (?)");
    command->AppendParameter(
        {.Name = "a", .Type = DataType::VarChar, .Size = 40, .Value = Value(text)});
    command->Execute();
    EXPECT_TRUE(server.Requests().back().Holds(text));
}

TEST_F(FreeTds, TheRowCountIsTheLastStatements) {
    static constexpr std::int64_t kFails = -99;
    const Token rows = Table("a", {"1", "2"}) + Count(2);
    const std::vector<std::pair<Token, std::int64_t>> cases{
        {Count(4), 4},
        {NoCount(), -1},
        {Count(7) + Count(9) + Count(1), 1},
        {Count(7) + Count(0), 0},
        {rows + Count(4), 4},
        {Print("so far") + Count(3) + rows + Count(4), 4},
        {Error(547, "no parent"), kFails},
        {Count(3) + Error(547, "no parent") + Count(4), kFails},
        {rows + Error(547, "no parent"), kFails},
    };
    const auto count = [](auto&& execute) {
        try {
            return static_cast<std::int64_t>(execute());
        } catch (const DatabaseError&) {
            return kFails;
        }
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto& [tokens, expected] = cases[i];
        const TdsServer server({{"UPDATE", {tokens}}, {"DELETE", {Count(6)}}});
        const auto connection = Connect(server.Name());
        const auto command = connection->CreateCommand();
        command->SetText("UPDATE t SET a = ?");
        command->AppendParameter(
            {.Name = "a", .Type = DataType::Integer, .Size = 4, .Value = Value(std::int64_t{1})});
        EXPECT_EQ(count([&] { return connection->Execute("UPDATE t"); }), expected) << i;
        EXPECT_EQ(count([&] { return command->Execute(); }), expected) << i << ", prepared";
        EXPECT_EQ(count([&] { return command->Execute(); }), expected) << i << ", again";
        EXPECT_EQ(count([&] { return connection->Execute("DELETE FROM t"); }), 6) << i << ", next";
    }
}

// An incomplete result must not be taken for the complete one.
TEST_F(FreeTds, AConnectionLostInTheMiddleOfAnAnswerIsAnError) {
    const std::vector<std::string> rows(50, "a line of a report");
    const TdsServer server({{"SELECT", {.Tokens = Table("a", rows), .Cut = true}},
                            {"UPDATE", {.Tokens = Count(1), .Cut = true}}});
    EXPECT_THROW(Connect(server.Name())->OpenRecordset("SELECT"), DatabaseError);
    EXPECT_THROW(Connect(server.Name())->Execute("UPDATE t"), DatabaseError);
}

TEST_F(FreeTds, ACancelledRunDoesNotWaitForASilentServer) {
    const TdsServer server({{"UPDATE", {.Silent = true}}});
    std::atomic<bool> cancelled = false;
    const auto connection = Connect(server.Name(), [&cancelled] { return cancelled.load(); });
    cancelled = true;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(Contains(ErrorOf([&] { connection->Execute("UPDATE t"); }), "given up"));
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              odbc::CallWatch::kGrace + odbc::CallWatch::kCancelling + seconds(3));
}

TEST(CallWatch, ContinuesWhenTheCancelCallbackThrows) {
    std::atomic<int> asked = 0;
    const odbc::CallWatch watch([&asked]() -> bool {
        ++asked;
        asked.notify_all();
        throw std::bad_alloc();
    });
    asked.wait(0);
    asked.wait(1);
    EXPECT_GE(asked, 2);
}

}  // namespace
}  // namespace morvane::testing::tds
