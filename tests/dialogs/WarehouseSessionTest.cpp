// SPDX-License-Identifier: Apache-2.0
#include "dialogs/WarehouseSession.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/Platform.h"
#include "db/ArchiveSettings.h"
#include "db/ConnectionFactory.h"
#include "db/modDatabaseOperations.h"
#include "support/ErrorOf.h"
#include "support/ScriptedPrompt.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

class Session : public ::testing::Test {
  protected:
    bool Prepare(const TestWarehouse& warehouse, OtherUser otherUser = OtherUser::Asked) {
        return Window.Prepare({warehouse.Server(), true, "", ""}, "dw", otherUser);
    }

    TestWarehouse Warehouse;
    TestWarehouse Other;
    RunState State;
    ScriptedPrompt Prompt;
    ConnectionFactory Factory = CreateConnection;
    WarehouseSession Window{State, Factory, Prompt};
    const std::string User = CurrentUserName();
};

TEST_F(Session, HoldsTheLockUntilItLeavesTheWarehouse) {
    EXPECT_TRUE(Prepare(Warehouse));
    EXPECT_TRUE(Prepare(Warehouse));
    EXPECT_EQ(Warehouse.LockRow(), "1|" + User);
    EXPECT_TRUE(Prepare(Other));
    EXPECT_EQ(Warehouse.LockRow(), "0|" + User);
    EXPECT_EQ(Other.LockRow(), "1|" + User);
    Window.CloseWarehouse();
    Window.Leave();
    EXPECT_EQ(Other.LockRow(), "0|" + User);
    EXPECT_EQ(State.WarehouseConnection, nullptr);
    EXPECT_TRUE(Prompt.Asked.empty() && Prompt.Shown.empty());
    EXPECT_TRUE(Prepare(Other));
    EXPECT_FALSE(Window.Prepare({Other.Server(), true, "", ""}, "missing", OtherUser::Asked));
    EXPECT_EQ(Other.LockRow(), "0|" + User);
    EXPECT_FALSE(Window.Prepare({Other.Server(), true, "", ""}, " ", OtherUser::Asked));
    EXPECT_EQ(Prompt.Shown.back(), "Morvane|Database must be specified");
    EXPECT_EQ(State.ErrorText, "");
}

TEST_F(Session, AsksBeforeItTakesALockThatIsSet) {
    Warehouse.MakeLock(true, "eva  ");
    for (int click = 0; click < 2; ++click) {
        Prompt.Answers = {false};
        EXPECT_FALSE(Prepare(Warehouse));
        EXPECT_FALSE(State.LockHeld || State.WarehouseConnection->IsOpen());
    }
    EXPECT_EQ(Prompt.Asked[1],
              "Lock Profile|The Machine is currently locked By User : eva . Do you wish to "
              "continue?");
    EXPECT_EQ(Warehouse.LockRow(), "1|eva  ");
    Prompt.Answers = {true};
    EXPECT_TRUE(Prepare(Warehouse));
    EXPECT_EQ(Warehouse.LockRow(), "1|" + User);
}

TEST_F(Session, AsksBeforeARunAfterAnotherUser) {
    Warehouse.MakeLock(false, " eva ");
    EXPECT_FALSE(Prepare(Warehouse));
    EXPECT_EQ(Prompt.Asked[0],
              "Lock History|Morvane Tool was last used by --  eva \r\nDo you wish to continue?");
    EXPECT_EQ(Warehouse.LockRow(), "0| eva ");
    EXPECT_TRUE(Prepare(Warehouse, OtherUser::Accepted));
    EXPECT_EQ(Prompt.Asked.size(), 1U);
}

TEST_F(Session, ShowsAFailedConnectionOrReleaseOnce) {
    EXPECT_FALSE(Window.Prepare({"sqlite:/missing", true, "", ""}, "dw", OtherUser::Asked));
    EXPECT_EQ(Prompt.Shown.size(), 1U);
    EXPECT_EQ(State.WarehouseConnection, nullptr);
    EXPECT_TRUE(Prepare(Warehouse));
    Warehouse.Run("DELETE FROM dwm_multiuse");
    Window.Leave();
    EXPECT_EQ(Prompt.Shown.size(), 2U);
    EXPECT_FALSE(State.LockHeld);
}

TEST_F(Session, NoticesThatAnotherUserHasTakenTheLock) {
    EXPECT_TRUE(Prepare(Warehouse));
    Warehouse.Run("UPDATE dwm_multiuse SET user_name = 'eva'");
    Prompt.Answers = {false};
    EXPECT_FALSE(Prepare(Warehouse));
    EXPECT_EQ(Prompt.Asked.size(), 1U);
    EXPECT_FALSE(State.LockHeld);
}

#ifndef _WIN32
TEST_F(Session, OpensAndLocksTheFileThatHasReplacedTheWarehouse) {
    const std::string backup = Warehouse.Folder() + "/backup";
    std::filesystem::copy_file(Warehouse.File(), backup);
    EXPECT_TRUE(Prepare(Warehouse));
    std::filesystem::rename(backup, Warehouse.File());
    const auto change = [&] { State.WarehouseConnection->Execute("DROP TABLE dwm_multiuse"); };
    EXPECT_TRUE(Contains(ErrorOf(change), "moved, deleted or replaced"));
    EXPECT_TRUE(Prepare(Warehouse));
    EXPECT_EQ(Warehouse.LockRow(), "1|" + User);
    EXPECT_TRUE(Prompt.Asked.empty() && Prompt.Shown.empty());
}
#endif

TEST_F(Session, ArchiveDetailsMustBeComplete) {
    RunSettings settings;
    const auto connection = Warehouse.Connect();
    EXPECT_FALSE(ReadArchiveDetails(*connection, settings));
    CreateArchiveTable(*connection);
    Warehouse.Run("UPDATE dwm_archive SET DB=' old ', SecureLogin=0");
    EXPECT_FALSE(ReadArchiveDetails(*connection, settings));
    EXPECT_EQ(settings, RunSettings());
    Warehouse.Run("UPDATE dwm_archive SET SQLUserName='arch', SQLPassword='  '");
    EXPECT_TRUE(ReadArchiveDetails(*connection, settings));
    EXPECT_EQ(settings.ArchiveDatabase, "old");
    EXPECT_EQ(settings.ArchivePassword, "");
}

}  // namespace
}  // namespace morvane::testing
