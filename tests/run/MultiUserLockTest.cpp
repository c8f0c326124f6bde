// SPDX-License-Identifier: Apache-2.0
#include "base/Platform.h"
#include "db/StatementTrace.h"
#include "run/WarehouseAccess.h"
#include "support/Fork.h"
#include "support/ScriptedPrompt.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

class MultiUserLock : public ::testing::Test {
  protected:
    MultiUserLock() { State.WarehouseConnection = Warehouse.Connect(); }

    std::string Row() const { return Warehouse.LockRow(); }

    TestWarehouse Warehouse;
    RunState State;
    ScriptedPrompt Prompt;
    std::string User = CurrentUserName();
};

TEST_F(MultiUserLock, IsCreatedOnFirstUseAndReleased) {
    bool locked = true;
    EXPECT_TRUE(IsLocked(State, locked) && !locked);
    EXPECT_TRUE(ReadLockUser(State));
    EXPECT_EQ(State.LockUser, "");
    EXPECT_EQ(AcquireLock(State, Prompt), Outcome::Done);
    EXPECT_TRUE(State.LockHeld);
    EXPECT_EQ(Row(), "1|" + User);
    EXPECT_TRUE(IsLocked(State, locked) && locked);
    EXPECT_TRUE(ReleaseLock(State));
    EXPECT_FALSE(State.LockHeld);
    EXPECT_EQ(Row(), "0|" + User);
}

TEST_F(MultiUserLock, IsTakenFromAnotherUserByAWindowButNotByARun) {
    Warehouse.MakeLock(false, "Other");
    EXPECT_EQ(TakeLock(State, Prompt, OtherUser::Refused), Outcome::Cancelled);
    EXPECT_EQ(State.LockUser + State.ErrorText, "Other");
    EXPECT_FALSE(State.LockHeld);
    EXPECT_EQ(TakeLock(State, Prompt, OtherUser::Accepted), Outcome::Done);
    EXPECT_EQ(Row(), "1|" + User);
}

// The server's collation may treat names as equal that differ in case.
TEST_F(MultiUserLock, ComparesNamesExactlyExceptForTrailingBlanks) {
    Warehouse.MakeLock(false, User + "  ");
    EXPECT_EQ(TakeLock(State, Prompt, OtherUser::Refused), Outcome::Done);
    std::string otherCase = User;
    otherCase[0] = static_cast<char>(otherCase[0] ^ 0x20);
    Warehouse.Run("UPDATE dwm_multiuse SET lock = 1, user_name = '" + otherCase + "'");
    EXPECT_TRUE(ReleaseLock(State));
    EXPECT_EQ(Row(), "1|" + otherCase) << "another user's lock is left alone";
    EXPECT_FALSE(State.LockHeld);
}

TEST_F(MultiUserLock, FailsIfItsTableIsInvalid) {
    Warehouse.Run("CREATE TABLE dwm_multiuse(lock bit, user_name varchar(100))");
    EXPECT_FALSE(ReadLockUser(State));
    EXPECT_TRUE(Contains(State.ErrorText, "dwm_multiuse has no row"));
    for (const char* change : {"", "INSERT INTO dwm_multiuse VALUES(NULL, 'x')",
                               "ALTER TABLE dwm_multiuse RENAME lock TO other"}) {
        Warehouse.Run(change);
        EXPECT_EQ(AcquireLock(State, Prompt), Outcome::Failed) << change;
        EXPECT_FALSE(State.LockHeld);
    }
}

TEST_F(MultiUserLock, IsNeitherTakenNorReleasedIfItWasTakenSinceItWasRead) {
    Warehouse.MakeLock(true, User);
    State.WarehouseConnection =
        TraceStatements(Warehouse.Connect(), [this](std::string_view statement) {
            if (statement.starts_with("UPDATE")) {
                Warehouse.Run("UPDATE dwm_multiuse SET lock = 1, user_name = 'Faster'");
            }
        });
    EXPECT_TRUE(ReleaseLock(State));
    EXPECT_EQ(Row(), "1|Faster");

    Warehouse.Run("UPDATE dwm_multiuse SET lock = 0");
    EXPECT_EQ(AcquireLock(State, Prompt), Outcome::Cancelled);
    EXPECT_FALSE(State.LockHeld);
    EXPECT_EQ(Prompt.Asked.size(), 1U);
    EXPECT_EQ(Row(), "1|Faster");
}

// A process that tries to take the lock at each character it receives. It answers H for taken, L
// for held by another process, E for an error.
class Racer : public Child {
  public:
    explicit Racer(const TestWarehouse& warehouse)
        : Child([&](Child& child) {
              RunState state;
              ScriptedPrompt nobody;
              state.WarehouseConnection = warehouse.Connect();
              child.Send('r');
              while (child.Receive() != '\0') {
                  const Outcome outcome = AcquireLock(state, nobody);
                  child.Send(outcome == Outcome::Failed ? 'E' : state.LockHeld ? 'H' : 'L');
              }
              return 0;
          }) {
        Receive();
    }
};

TEST_F(MultiUserLock, HasOneWinnerWhenTwoProcessesRaceForItAlsoOnFirstUse) {
    State.WarehouseConnection.reset();  // connections do not survive a fork
    Racer first(Warehouse);
    Racer second(Warehouse);
    Warehouse.MakeLock(false, "");
    for (int race = 0; race < 150; ++race) {
        Warehouse.Run(race < 100 ? "UPDATE dwm_multiuse SET lock = 0"
                                 : "DROP TABLE IF EXISTS dwm_multiuse");
        (race % 2 == 0 ? first : second).Send('g');
        (race % 2 == 0 ? second : first).Send('g');
        const std::string results{first.Receive(), second.Receive()};
        EXPECT_TRUE(results == "HL" || results == "LH") << results << " in race " << race;
    }
}

}  // namespace
}  // namespace morvane::testing
