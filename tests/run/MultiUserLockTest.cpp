// SPDX-License-Identifier: Apache-2.0
#include "run/MultiUserLock.h"

#include <sys/wait.h>

#include "base/Platform.h"
#include "db/ConnectionFactory.h"
#include "db/StatementTrace.h"
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
    // Another process takes the lock just before this one writes to it.
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
    bool Other = true;
};

TEST_F(Lock, IsMadeOnFirstUseAndFreedByARelease) {
    bool locked = true;
    EXPECT_TRUE(IsLocked(State, locked));
    EXPECT_FALSE(locked);
    EXPECT_TRUE(ReadLockUser(State));
    EXPECT_EQ(State.LockUser, "");

    EXPECT_TRUE(AcquireLock(State, Prompt, Other));
    EXPECT_FALSE(Other);
    EXPECT_TRUE(State.LockHeld);
    EXPECT_EQ(Row(), "1|" + User);
    EXPECT_TRUE(IsLocked(State, locked) && locked);

    EXPECT_TRUE(ReleaseLock(State));
    EXPECT_FALSE(State.LockHeld);
    EXPECT_EQ(Row(), "0|" + User);
    EXPECT_TRUE(TakeLockForRun(State, Prompt));
    EXPECT_EQ(Row(), "1|" + User);
    EXPECT_TRUE(Prompt.Asked.empty());
}

TEST_F(Lock, AFreeLockOfAnotherUserIsTakenByAWindowButNotByARun) {
    Warehouse.MakeLock(false, "Other");
    EXPECT_FALSE(TakeLockForRun(State, Prompt));
    EXPECT_EQ(State.LockUser, "Other");
    EXPECT_EQ(State.ErrorText, "");
    EXPECT_FALSE(State.LockHeld);

    EXPECT_TRUE(AcquireLock(State, Prompt, Other));
    EXPECT_TRUE(State.LockHeld);
    EXPECT_EQ(Row(), "1|" + User);
}

TEST_F(Lock, NamesAreComparedExactlyButForTrailingBlanks) {
    Warehouse.MakeLock(false, User + "  ");
    EXPECT_TRUE(TakeLockForRun(State, Prompt));
    std::string otherCase = User;
    otherCase[0] = static_cast<char>(otherCase[0] ^ 0x20);
    Warehouse.Run("UPDATE dwm_multiuse SET lock = 1, user_name = '" + otherCase + "'");
    EXPECT_TRUE(ReleaseLock(State));
    EXPECT_EQ(Row(), "1|" + otherCase) << "another user's lock is left alone";
    EXPECT_FALSE(State.LockHeld);
}

TEST_F(Lock, ATableThatCannotBeALockIsAClearError) {
    Warehouse.MakeLock(true, User);
    Warehouse.Run("DELETE FROM dwm_multiuse");
    EXPECT_FALSE(ReadLockUser(State));
    EXPECT_TRUE(Contains(State.ErrorText, "dwm_multiuse has no row"));
    EXPECT_FALSE(AcquireLock(State, Prompt, Other));
    Warehouse.Run("INSERT INTO dwm_multiuse VALUES(NULL, 'x')");
    EXPECT_FALSE(AcquireLock(State, Prompt, Other));
    Warehouse.Run(
        "DROP TABLE dwm_multiuse; CREATE TABLE dwm_multiuse(other int);"
        "INSERT INTO dwm_multiuse VALUES(1)");
    EXPECT_FALSE(AcquireLock(State, Prompt, Other));
    EXPECT_FALSE(State.LockHeld);
}

TEST_F(Lock, ALockTakenSinceItWasReadIsNeitherTakenNorReleased) {
    Warehouse.MakeLock(true, User);
    LoseRace();
    EXPECT_TRUE(ReleaseLock(State));
    EXPECT_EQ(Row(), "1|Faster");

    Warehouse.Run("UPDATE dwm_multiuse SET lock = 0");
    EXPECT_TRUE(AcquireLock(State, Prompt, Other));
    EXPECT_TRUE(Other && !State.LockHeld);
    EXPECT_EQ(Prompt.Asked.size(), 1U);
    EXPECT_EQ(Row(), "1|Faster");
}

// As a cancelled run leaves its connection, closed or open, while a load has the file.
TEST_F(Lock, IsReleasedOnceWhoeverHasTheFileLetsGo) {
    Loader loader(Warehouse);
    State.WarehouseConnection = CreateCancellableConnection(Warehouse.Server(), [&] {
        loader.Release();
        return true;
    });
    Connection& connection = *State.WarehouseConnection;
    connection.SetProperty("Data Source", Warehouse.Server());
    connection.Open();
    connection.SetDefaultDatabase("dw");
    for (const bool closed : {false, true}) {
        ASSERT_TRUE(AcquireLock(State, Prompt, Other)) << State.ErrorText;
        if (closed) {
            connection.Close();
        }
        loader.Take();
        EXPECT_TRUE(ReleaseHeldLock(State, "dw")) << State.ErrorText;
        EXPECT_EQ(Row(), "0|" + User);
    }
}

// Answers each sign with an attempt: H the lock is held, L somebody else holds it, E an error.
int TryLockAtEachSign(const TestWarehouse& warehouse, Child& child) {
    RunState state;
    ScriptedPrompt nobody;
    state.WarehouseConnection = warehouse.Connect();
    child.Send('r');
    while (child.Receive() != '\0') {
        bool other = false;
        const bool worked = AcquireLock(state, nobody, other);
        child.Send(!worked ? 'E' : state.LockHeld && !other ? 'H' : 'L');
    }
    return 0;
}

// How many of the races each pair of results had; each race begins with `reset`.
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
