#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "contract/Backend.h"
#include "contract/LoopbackService.h"
#include "contract/ScopedVariable.h"
#include "core/DatabaseError.h"
#include "core/Text.h"
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

// What one attempt to connect came to.
struct Attempt {
    bool Connected = false;
    std::string Error;
    double Seconds = 0;
    std::unique_ptr<Connection> Opened;
};

Attempt Connect(const std::string& server, const std::string& user = "somebody",
                const std::string& password = kPassword) {
    Attempt attempt;
    const auto start = std::chrono::steady_clock::now();
    attempt.Connected = ConnectDatabase(CreateConnection, server, false, user, password,
                                        attempt.Opened, attempt.Error, std::nullopt, kTimeout);
    attempt.Seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return attempt;
}

bool Says(const std::string& error, std::string_view part) {
    return ToLower(error).find(ToLower(part)) != std::string::npos;
}

// The first line names the server, each further one holds a diagnostic, and the time-out counts.
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

TEST_F(LoginFault, AServerThatIsNotThere) {
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

// The head of an answer whose packet is 43 bytes long.
const std::string kHalfPacket("\x04\x01\x00\x2b\x00\x00\x01\x00\x00\x00\x1a", 11);

INSTANTIATE_TEST_SUITE_P(
    Servers, LoginScript,
    ::testing::Values(
        BadServer{"Silent", {false, "", false}}, BadServer{"ClosesAtOnce", {false, "", true}},
        BadServer{"OtherProtocol",
                  {true, "HTTP/1.1 400 Bad Request\r\nConnection: close\r\n\r\n", true}},
        BadServer{"OtherProtocolUnasked", {false, "SSH-2.0-Server\r\n", false}},
        BadServer{"Garbage", {true, std::string(4096, '\x5a'), false}},
        BadServer{"GarbageInAPacket", {true, kHalfPacket + std::string(32, '\xff'), true}},
        BadServer{"HalfAPacketThenSilence", {true, kHalfPacket, false}},
        BadServer{"HalfAPacketThenTheEnd", {true, kHalfPacket, true}}),
    [](const auto& instance) { return instance.param.Name; });

TEST_P(LoginScript, IsDescribedInTime) {
    const ScriptedListener listener(GetParam().Script);
    ExpectDescribed(Connect(listener.Server()), listener.Server());
}

TEST_F(LoginFault, AServerNameCannotAddAKeyword) {
    const std::string server = "127.0.0.1;UID=sa;PWD=x";
    const Attempt attempt = Connect(server);
    ExpectDescribed(attempt, server);
    EXPECT_TRUE(Says(attempt.Error, "is not the name of a server")) << attempt.Error;
}

TEST_F(LoginFault, ADriverThatIsNotInstalledIsNamed) {
    const ScopedVariable driver("MORVANE_ODBC_DRIVER", "No Such Driver");
    const Attempt attempt = Connect("127.0.0.1");
    ExpectDescribed(attempt, "127.0.0.1");
    EXPECT_TRUE(Says(attempt.Error, "No Such Driver")) << attempt.Error;
}

class LiveLogin : public OnLiveServer<LoginFault> {
  protected:
    void Prepare() override {
        database_ = MakeLiveDatabase(server_);
        admin_ = database_->Open();
    }

    void TearDown() override { CleanUp(); }

    // A login that was just used counts as logged in for a moment longer.
    void CleanUp() {
        for (const std::string& sql : cleanUp_) {
            std::string error = "not tried";
            for (int attempt = 0; attempt < 30 && !error.empty(); ++attempt) {
                try {
                    admin_->Execute(sql);
                    error.clear();
                } catch (const DatabaseError& failure) {
                    error = failure.what();
                    std::this_thread::sleep_for(std::chrono::milliseconds(100));
                }
            }
            EXPECT_EQ(error, "");
        }
        cleanUp_.clear();
    }

    // False when the server does not let the test's login make others.
    bool MakeLogin(const std::string& password) {
        std::string quoted;
        for (const char c : password) {
            quoted += c == '\'' ? "''" : std::string(1, c);
        }
        try {
            admin_->Execute("create login " + kLogin + " with password = N'" + quoted + "'");
        } catch (const DatabaseError& error) {
            whyNot_ = error.what();
            return false;
        }
        cleanUp_.push_back("drop login " + kLogin);
        return true;
    }

    const std::string kLogin = "morvane_login_" + std::to_string(getpid());
    std::unique_ptr<TestDatabase> database_;
    std::unique_ptr<Connection> admin_;
    std::vector<std::string> cleanUp_;
    std::string whyNot_;
};

TEST_F(LiveLogin, AWrongPasswordAndAnUnknownUserAreRefused) {
    for (const auto& [user, password] :
         {std::pair<std::string, std::string>{server_.User, "not the pass-word"},
          {"morvane_nobody", "whatever it is"},
          {"morvane_nobody", "a;b}c{d'e\"f gü"},
          {"a;b}c{d'e\"f gü", "whatever it is"}}) {
        const Attempt attempt = Connect(server_.Server, user, password);
        ExpectDescribed(attempt, server_.Server, password);
        EXPECT_TRUE(Says(attempt.Error, "login failed")) << attempt.Error;
    }
}

TEST_F(LiveLogin, APasswordOfAnyCharactersIsTakenAsItIs) {
    for (const std::string& password :
         {std::string("a;b}c{d'e\"f g=h Pw1"), std::string(" {Braced Pw1} "),
          std::string("gü§ÿÀ Pw1;UID=sa"), std::string("}{ Pw1}")}) {
        if (!MakeLogin(password)) {
            GTEST_SKIP() << whyNot_;
        }
        const Attempt attempt = Connect(server_.Server, kLogin, password);
        EXPECT_TRUE(attempt.Connected) << password << "\n" << attempt.Error;
        ExpectDescribed(Connect(server_.Server, kLogin, password + "x"), server_.Server, password);
        if (attempt.Opened) {
            attempt.Opened->Close();
        }
        CleanUp();
    }
}

TEST_F(LiveLogin, AMissingDatabaseIsDescribedAndTheOldOneStays) {
    const std::string before = admin_->DefaultDatabase();
    try {
        admin_->SetDefaultDatabase("morvane_no_such_database");
        FAIL() << "no error";
    } catch (const DatabaseError& error) {
        EXPECT_TRUE(Says(error.what(), "morvane_no_such_database")) << error.what();
    }
    EXPECT_EQ(admin_->DefaultDatabase(), before);
    admin_->Execute("create table still_here(a int)");
    EXPECT_TRUE(admin_->TableExists("still_here"));
}

TEST_F(LiveLogin, ATableWithoutRightsIsNamedAndTheOthersWork) {
    const std::string password = "Plain1Pw";
    admin_->Execute("create table open_table(a int)");
    admin_->Execute("create table shut_table(a int)");
    if (!MakeLogin(password)) {
        GTEST_SKIP() << whyNot_;
    }
    try {
        admin_->Execute("create user " + kLogin + " for login " + kLogin);
        cleanUp_.insert(cleanUp_.begin(), "drop user " + kLogin);
        admin_->Execute("grant select on open_table to " + kLogin);
        cleanUp_.insert(cleanUp_.begin(), "revoke select on open_table from " + kLogin);
    } catch (const DatabaseError& error) {
        GTEST_SKIP() << error.what();
    }
    const Attempt attempt = Connect(server_.Server, kLogin, password);
    ASSERT_TRUE(attempt.Connected) << attempt.Error;
    attempt.Opened->SetDefaultDatabase(database_->Name());
    EXPECT_TRUE(attempt.Opened->OpenRecordset("select a from open_table")->Eof());
    try {
        attempt.Opened->OpenRecordset("select a from shut_table");
        ADD_FAILURE() << "no error";
    } catch (const DatabaseError& error) {
        EXPECT_TRUE(Says(error.what(), "shut_table")) << error.what();
        EXPECT_TRUE(Says(error.what(), "permission")) << error.what();
    }
    EXPECT_TRUE(attempt.Opened->OpenRecordset("select a from open_table")->Eof());
    attempt.Opened->Close();
}

TEST_F(LiveLogin, NamesDifferInCaseAndLongConditionsComeBackWhole) {
    admin_->Execute(
        "create table DWM_Tables(Table_Name varchar(128), where_clause varchar(8000),"
        " long_clause nvarchar(max))");
    EXPECT_TRUE(admin_->TableExists("dwm_tables"));
    EXPECT_TRUE(admin_->ColumnExists("dwm_tables", "TABLE_NAME"));
    EXPECT_FALSE(admin_->TableExists("dwm%"));
    EXPECT_FALSE(admin_->TableExists("dwm_table_"));
    const std::string clause = "a = 1 " + std::string(7988, 'x') + " or 1=";  // 8,000
    const std::string longer = clause + std::string(20000, 'y') + "ü€";
    admin_->Execute("insert into dwm_tables values ('t', '" + clause + "', N'" + longer + "')");
    const auto rows = admin_->OpenRecordset("select * from dwm_tables");
    EXPECT_EQ(rows->ValueOf("where_clause").Text(), clause);
    EXPECT_EQ(rows->ValueOf("long_clause").Text(), longer);
}

}  // namespace
}  // namespace morvane::testing
