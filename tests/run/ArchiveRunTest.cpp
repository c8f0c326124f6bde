#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "Fork.h"
#include "RunFixture.h"
#include "core/Platform.h"
#include "core/modFileFunctions.h"
#include "support/Golden.h"
#include "support/SqliteFile.h"

namespace morvane::testing {
namespace {

// The star with its archive on another server, and a run that archives as its second task.
class ArchiveRun : public RunFixture {
  protected:
    ArchiveRun() : Archive(ArchiveFolder / "hist.db") {
        Archive.Run("PRAGMA user_version = 1");
        Settings.ArchiveFactTables = true;
        Settings.ArchiveMachine = "sqlite:" + ArchiveFolder.Path();
        Settings.ArchiveDatabase = "hist";
        UseLinkedServer(true);
    }

    // Integrated security is for one of the two connections alone.
    void UseLinkedServer(bool linked) {
        Settings.NTAuthentication = !linked;
        Settings.ArchiveNTAuthentication = linked;
        Settings.UserName = Settings.ArchiveUserName = "clerk";
        Settings.ArchivePassword = "top5ecret";
    }

    std::string ArchiveLog() const { return ReplaceAll(Log(), Settings.ArchiveMachine, "ARCHIVE"); }
    std::string Sales() const { return Warehouse.Text("SELECT * FROM sales ORDER BY 1, 2, 3"); }
    std::string Archived() const {
        return Archive.Text("SELECT * FROM sales ORDER BY 1, 2, 3, date_of_archiving");
    }

    TempFolder ArchiveFolder;
    SqliteFile Archive;
};

TEST_F(ArchiveRun, ArchivesBeforeItMarksAndLogsIt) {
    ASSERT_TRUE(Run(Settings)) << State.ErrorText;
    EXPECT_TRUE(MatchesGolden(ArchiveLog(), "run_that_archives.txt"));
    EXPECT_EQ(Status(), "ok\r\n");
    EXPECT_EQ(Sales(), "3|3|2");
    EXPECT_EQ(Archived(), "1|1|10|2024-03-05 14:07:09");
    EXPECT_EQ(Products(Warehouse), "3|cap") << "the pen is unused once its sale is archived";
    EXPECT_EQ(LockRow(), "0|" + CurrentUserName());
    EXPECT_EQ(State.ArchiveConnection, nullptr);
}

TEST_F(ArchiveRun, AFailingConditionStopsTheRunAndTheLogSaysWhy) {
    Warehouse.Run("UPDATE dwm_tables SET where_clause = 'town = 3' WHERE table_name = 'sales'");
    UseLinkedServer(false);
    Settings.CheckMetaData = false;
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(MatchesGolden(ArchiveLog(), "run_that_cannot_archive.txt"));
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_EQ(World.Errors.str().find("top5ecret"), std::string::npos);
    EXPECT_EQ(Sales(), "1|1|10 3|3|2");
    EXPECT_EQ(Products(Warehouse), "1|pen 2|ink 3|cap 4|nib") << "nothing follows it";
    EXPECT_EQ(LockRow(), "0|" + CurrentUserName());
}

TEST_F(ArchiveRun, ACancelledArchivingIsNoError) {
    Settings.CheckMetaData = false;
    World.Progress.CancelAtPoll = 1;
    EXPECT_FALSE(Run(Settings));
    const std::string log = Log();
    EXPECT_NE(log.find("Archieving Fact Table Process Cancelled by User.\r\n"), std::string::npos)
        << log;
    EXPECT_EQ(log.find("End of Archiving"), std::string::npos);
    EXPECT_EQ(Sales(), "1|1|10 3|3|2");
    EXPECT_EQ(LockRow(), "0|" + CurrentUserName());
}

TEST_F(ArchiveRun, AnArchiveThatIsNotThereEndsTheRunBeforeTheTasks) {
    Settings.ArchiveDatabase = "none";
    EXPECT_FALSE(Run(Settings));
    EXPECT_NE(Log().find("none.db"), std::string::npos) << Log();
    Settings.ArchiveMachine += "/none";
    EXPECT_FALSE(Run(Settings));
    EXPECT_EQ(ArchiveLog().find("Error while connecting to : ARCHIVE\r\n"), 0U) << ArchiveLog();
    EXPECT_EQ(Log().find("Error Occured in Task"), std::string::npos);
    EXPECT_EQ(Sales(), "1|1|10 3|3|2");
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_EQ(ListFiles(ArchiveFolder.Path()), "hist.db") << "nothing is made";
}

// File permissions do not bind the superuser, so the run is an ordinary user's then.
TEST_F(ArchiveRun, AReadOnlyArchiveEndsTheRunBeforeTheTasks) {
    namespace fs = std::filesystem;
    for (const std::string& folder : {Files.Path(), Warehouse.Folder(), ArchiveFolder.Path()}) {
        fs::permissions(folder, fs::perms::all);
    }
    fs::permissions(Warehouse.File(), fs::perms(0666));
    fs::permissions(Archive.Path(), fs::perms(0444));
    Child child([&](Child&) {
        if (geteuid() == 0 && seteuid(65534) != 0) {
            return 7;
        }
        const bool done = Run(Settings);
        const bool told = State.ErrorText.find("read-only") != std::string::npos;
        return !done && told ? 0 : 1;
    });
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_EQ(Sales(), "1|1|10 3|3|2");
    EXPECT_EQ(Products(Warehouse), "1|pen 2|ink 3|cap 4|nib");
}

}  // namespace
}  // namespace morvane::testing
