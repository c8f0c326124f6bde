// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>

#include "base/Platform.h"
#include "db/ConnectionFactory.h"
#include "db/StatementTrace.h"
#include "run/WarehouseAccess.h"
#include "support/Fork.h"
#include "support/ScriptedPrompt.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

class Lock : public ::testing::Test {
  protected:
    Lock() { State.WarehouseConnection = Warehouse.Connect(); }

    std::string Row() const { return Warehouse.LockRow(); }
    // Lets another process take the lock just before this one updates it.
    void LoseRace() {
        State.WarehouseConnection =
            TraceStatements(Warehouse.Connect(), [this](std::string_view statement) {
                if (statement.starts_with("UPDATE")) {
                    Warehouse.Run("UPDATE dwm_multiuse SET lock = 1, user_name = 'Faster'");
                }
            });
    }

    TestWarehouse Warehouse;
    RunState State;
    ScriptedPrompt Prompt;
    std::string User = CurrentUserName();
};

TEST_F(Lock, IsCreatedOnFirstUseAndReleased) {
    bool locked = true;
    EXPECT_TRUE(IsLocked(State, locked));
    EXPECT_FALSE(locked);
    EXPECT_TRUE(ReadLockUser(State));
    EXPECT_EQ(State.LockUser, "");

    EXPECT_EQ(AcquireLock(State, Prompt), Outcome::Done);
    EXPECT_TRUE(State.LockHeld);
    EXPECT_EQ(Row(), "1|" + User);
    EXPECT_TRUE(IsLocked(State, locked) && locked);

    EXPECT_TRUE(ReleaseLock(State));
    EXPECT_FALSE(State.LockHeld);
    EXPECT_EQ(Row(), "0|" + User);
    EXPECT_EQ(TakeLock(State, Prompt, OtherUser::Refused), Outcome::Done);
    EXPECT_EQ(Row(), "1|" + User);
    EXPECT_TRUE(Prompt.Asked.empty());
}

TEST_F(Lock, AFreeLockOfAnotherUserIsTakenByAWindowButNotByARun) {
    Warehouse.MakeLock(false, "Other");
    EXPECT_EQ(TakeLock(State, Prompt, OtherUser::Refused), Outcome::Cancelled);
    EXPECT_EQ(State.LockUser, "Other");
    EXPECT_EQ(State.ErrorText, "");
    EXPECT_FALSE(State.LockHeld);

    EXPECT_EQ(TakeLock(State, Prompt, OtherUser::Accepted), Outcome::Done);
    EXPECT_TRUE(State.LockHeld);
    EXPECT_EQ(Row(), "1|" + User);
}

// The server's collation may treat names as equal that differ in case.
TEST_F(Lock, NamesAreComparedExactlyExceptForTrailingBlanks) {
    Warehouse.Run(
        "CREATE TABLE dwm_multiuse(lock bit, user_name varchar(100) COLLATE NOCASE);"
        "INSERT INTO dwm_multiuse VALUES(0, '" +
        User + "  ')");
    EXPECT_EQ(TakeLock(State, Prompt, OtherUser::Refused), Outcome::Done);
    std::string otherCase = User;
    otherCase[0] = static_cast<char>(otherCase[0] ^ 0x20);
    Warehouse.Run("UPDATE dwm_multiuse SET lock = 1, user_name = '" + otherCase + "'");
    EXPECT_TRUE(ReleaseLock(State));
    EXPECT_EQ(Row(), "1|" + otherCase) << "another user's lock is left alone";
    EXPECT_FALSE(State.LockHeld);
}

TEST_F(Lock, AnInvalidLockTableIsAClearError) {
    Warehouse.MakeLock(true, User);
    Warehouse.Run("DELETE FROM dwm_multiuse");
    EXPECT_FALSE(ReadLockUser(State));
    EXPECT_TRUE(Contains(State.ErrorText, "dwm_multiuse has no row"));
    EXPECT_EQ(AcquireLock(State, Prompt), Outcome::Failed);
    Warehouse.Run("INSERT INTO dwm_multiuse VALUES(NULL, 'x')");
    EXPECT_EQ(AcquireLock(State, Prompt), Outcome::Failed);
    Warehouse.Run(
        "DROP TABLE dwm_multiuse; CREATE TABLE dwm_multiuse(other int);"
        "INSERT INTO dwm_multiuse VALUES(1)");
    EXPECT_EQ(AcquireLock(State, Prompt), Outcome::Failed);
    EXPECT_FALSE(State.LockHeld);
}

TEST_F(Lock, ALockTakenSinceItWasReadIsNeitherTakenNorReleased) {
    Warehouse.MakeLock(true, User);
    LoseRace();
    EXPECT_TRUE(ReleaseLock(State));
    EXPECT_EQ(Row(), "1|Faster");

    Warehouse.Run("UPDATE dwm_multiuse SET lock = 0");
    EXPECT_EQ(AcquireLock(State, Prompt), Outcome::Cancelled);
    EXPECT_FALSE(State.LockHeld);
    EXPECT_EQ(Prompt.Asked.size(), 1U);
    EXPECT_EQ(Row(), "1|Faster");
}

// With the connection as a cancelled run leaves it, while another process loads data.
TEST_F(Lock, IsReleasedAsSoonAsTheFileIsFree) {
    Loader loader(Warehouse);
    const auto connect = ConnectionsWith({.CancelRequested = [&] {
        loader.Release();
        return true;
    }});
    State.WarehouseConnection = connect(Warehouse.Server());
    Connection& connection = *State.WarehouseConnection;
    connection.SetProperty("Data Source", Warehouse.Server());
    connection.Open();
    connection.SetDefaultDatabase("dw");
    for (const bool closed : {false, true}) {
        ASSERT_EQ(AcquireLock(State, Prompt), Outcome::Done) << State.ErrorText;
        if (closed) {
            connection.Close();
        }
        loader.Take();
        EXPECT_TRUE(ReleaseHeldLock(State, "dw")) << State.ErrorText;
        EXPECT_EQ(Row(), "0|" + User);
    }
}

// Tries to take the lock each time the parent sends a character, and answers with the result:
// H for taken, L for held by another process, E for an error.
int TryLockAtEachSign(const TestWarehouse& warehouse, Child& child) {
    RunState state;
    ScriptedPrompt nobody;
    state.WarehouseConnection = warehouse.Connect();
    child.Send('r');
    while (child.Receive() != '\0') {
        const Outcome outcome = AcquireLock(state, nobody);
        child.Send(outcome == Outcome::Failed ? 'E' : state.LockHeld ? 'H' : 'L');
    }
    return 0;
}

// Lets two processes race for the lock, each time after executing `reset`. Returns the results of
// the races that did not have exactly one winner.
std::string RaceTwoProcesses(const TestWarehouse& warehouse, int races, const std::string& reset) {
    Child first([&](Child& child) { return TryLockAtEachSign(warehouse, child); });
    Child second([&](Child& child) { return TryLockAtEachSign(warehouse, child); });
    first.Receive();
    second.Receive();
    std::string odd;
    for (int race = 0; race < races; ++race) {
        warehouse.Run(reset);
        (race % 2 == 0 ? first : second).Send('g');
        (race % 2 == 0 ? second : first).Send('g');
        const std::string results{first.Receive(), second.Receive()};
        if (results != "HL" && results != "LH") {
            odd += results + " ";
        }
    }
    return odd;
}

TEST(LockRace, AFreeLockAndTheFirstUseHaveExactlyOneWinner) {
    const TestWarehouse warehouse;
    warehouse.MakeLock(false, "");
    EXPECT_EQ(RaceTwoProcesses(warehouse, 100, "UPDATE dwm_multiuse SET lock = 0"), "");
    EXPECT_EQ(RaceTwoProcesses(warehouse, 50, "DROP TABLE IF EXISTS dwm_multiuse"), "");
}

}  // namespace
}  // namespace morvane::testing
