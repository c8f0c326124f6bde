// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "base/Platform.h"
#include "base/modFileFunctions.h"
#include "support/Fork.h"
#include "support/Golden.h"
#include "support/RunFixture.h"
#include "support/SqliteFile.h"

namespace morvane::testing {
namespace {

// The star schema with its archive on another server, and a run with all tasks.
class ArchiveRun : public RunFixture {
  protected:
    ArchiveRun() : Archive(ArchiveFolder / "hist.db") {
        Archive.Run("PRAGMA user_version = 1");
        AddArchiving(Settings, "sqlite:" + ArchiveFolder.Path(), true);
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
    EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
    EXPECT_EQ(State.ArchiveConnection, nullptr);
}

TEST_F(ArchiveRun, AFailingConditionStopsTheRunAndTheLogSaysWhy) {
    Warehouse.Run("UPDATE dwm_tables SET where_clause = 'town = 3' WHERE table_name = 'sales'");
    AddArchiving(Settings, Settings.ArchiveMachine, false);
    Settings.CheckMetaData = false;
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(MatchesGolden(ArchiveLog(), "run_that_cannot_archive.txt"));
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_FALSE(Contains(World.Errors.str(), "top5ecret"));
    EXPECT_EQ(Sales(), "1|1|10 3|3|2");
    EXPECT_EQ(Products(Warehouse), kAllProducts) << "nothing follows it";
    EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
}

TEST_F(ArchiveRun, ACancelledTaskIsNamedAndNothingFollowsIt) {
    const std::vector<std::pair<bool RunSettings::*, std::string>> tasks{
        {&RunSettings::CheckMetaData, "Checking of Meta Data"},
        {&RunSettings::ArchiveFactTables, "Archieving Fact Table"},
        {&RunSettings::DetectAndMark, "Marking"},
        {&RunSettings::GenerateReports, "Report Generation"},
        {&RunSettings::DeleteMarked, "Deletion"}};
    World.Progress.CancelAtPoll = 1;
    RunSettings left = Settings;
    for (const auto& [task, name] : tasks) {
        EXPECT_FALSE(Run(left));
        EXPECT_TRUE(Contains(Log(), name + " Process Cancelled by User.\r\n"));
        EXPECT_TRUE(Contains(Log(), "completed by the tool :\r\n\r\nMorvane Tool stopped"));
        EXPECT_EQ(Status(), "failure\r\n");
        EXPECT_EQ(Sales() + " " + Products(Warehouse), "1|1|10 3|3|2 " + std::string(kAllProducts));
        EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
        left.*task = false;
    }
    World.Progress.CancelAtPoll = 0;
    EXPECT_TRUE(Run(Settings)) << State.ErrorText;
}

// As Qt does when it loses its display.
TEST_F(ArchiveRun, AnExitDuringARunCancelsItCleanly) {
    ASSERT_TRUE(Run(Settings)) << State.ErrorText;
    const int polls = World.Progress.Polls;
    ASSERT_GT(polls, 10);
    for (int exitAt = 1; exitAt <= polls; ++exitAt) {
        Child child([&](Child&) {
            World.Progress.Polls = 0;
            World.Progress.OnPoll = [exitAt](int poll) { poll == exitAt ? std::exit(1) : void(); };
            return Run(Settings) ? 7 : 8;
        });
        EXPECT_EQ(child.Wait(), 0);
        EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
        EXPECT_TRUE(Contains(Log(), "\r\nMorvane Tool stopped On"));
        // The last poll is after the tasks.
        EXPECT_EQ(Status(), exitAt < polls ? "failure\r\n" : "ok\r\n");
        EXPECT_EQ(Contains(Log(), "Cancelled by User.\r\nThe process was ended"), exitAt < polls);
        EXPECT_EQ(Contains(Log(), "- Delete Marked"), exitAt == polls);
    }
}

TEST_F(ArchiveRun, AMissingArchiveEndsTheRunBeforeTheTasks) {
    Settings.ArchiveDatabase = "none";
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(Contains(Log(), "none.db"));
    Settings.ArchiveMachine += "/none";
    EXPECT_FALSE(Run(Settings));
    EXPECT_EQ(ArchiveLog().find("Error while connecting to : ARCHIVE\r\n"), 0U) << ArchiveLog();
    EXPECT_FALSE(Contains(Log(), "Error Occured in Task"));
    EXPECT_EQ(Sales(), "1|1|10 3|3|2");
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_EQ(ListFiles(ArchiveFolder.Path()), "hist.db") << "nothing is made";
}

// As root the runs switch to an ordinary user, since root ignores file permissions.
TEST_F(ArchiveRun, FilesWithoutPermissionEndTheRunBeforeTheTasks) {
    namespace fs = std::filesystem;
    EnsureFolder(Files / "logs");
    const std::vector<std::string> folders{Files.Path(), Files / "logs", Warehouse.Folder(),
                                           ArchiveFolder.Path()};
    for (const auto& [closed, told] : std::vector<std::pair<std::string, std::string>>{
             {Archive.Path(), "is read-only"},
             {ArchiveFolder.Path(), "with embedded databases cannot be used: Permission denied"},
             {Warehouse.Folder(), "with embedded databases cannot be used: Permission denied"},
             {Files / "logs", "Cannot make the file \"" + (Files / "logs/Morvane")}}) {
        for (const std::string& folder : folders) {
            fs::permissions(folder, fs::perms::all);
        }
        for (const std::string& file : {Warehouse.File(), Archive.Path()}) {
            fs::permissions(file, fs::perms(0666));
        }
        fs::permissions(closed, fs::perms(0444));
        Child child([&, expected = told](Child&) {
            if (geteuid() == 0 && seteuid(65534) != 0) {
                return 7;
            }
            const bool done = Run(Settings);
            return !done && State.ErrorText.find(expected) != std::string::npos ? 0 : 1;
        });
        EXPECT_EQ(child.Wait(), 0) << told;
        fs::permissions(closed, fs::perms::all);
        EXPECT_EQ(Sales(), "1|1|10 3|3|2");
        EXPECT_EQ(Products(Warehouse), kAllProducts);
    }
}

}  // namespace
}  // namespace morvane::testing
