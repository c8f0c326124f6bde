// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "base/Platform.h"
#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "db/ConnectionFactory.h"
#include "db/StatementTrace.h"
#include "support/FileSizeLimit.h"
#include "support/Fork.h"
#include "support/Golden.h"
#include "support/RunFixture.h"
#include "support/SqliteFile.h"

namespace morvane::testing {
namespace {

class TaskRun : public RunFixture {
  protected:
    std::string Sales() const { return Warehouse.Text("SELECT * FROM sales ORDER BY 1, 2, 3"); }

    // Expects that a run fails with this text in its log and leaves the tables as they were.
    void ExpectFailure(const std::string& told) {
        EXPECT_FALSE(Run(Settings));
        EXPECT_TRUE(Contains(Log(), told));
        EXPECT_EQ(Status(), "failure\r\n");
        EXPECT_EQ(Sales() + ", " + Products(Warehouse),
                  "1|1|10 3|3|2, " + std::string(kAllProducts));
    }

    const std::string Released = "0|" + CurrentUserName();
    const std::string LogFile = Files / "logs/Morvane_Log05-03-202414-07-09.txt";
};

TEST_F(TaskRun, PerformsEveryTaskAndLogsIt) {
    EXPECT_TRUE(Run(Settings)) << State.ErrorText;
    EXPECT_TRUE(MatchesGolden(Log(), "run_every_task.txt"));
    EXPECT_EQ(Status(), "ok\r\n");
    EXPECT_EQ(World.Errors.str() + World.Output.str(), "");
    EXPECT_EQ(ListFiles(Files / "logs"),
              "DetailedReport05-03-202414-07-09.html Morvane_Log05-03-202414-07-09.txt "
              "SummaryReport05-03-202414-07-09.html TableFilterReport05-03-202414-07-09.html");
    EXPECT_EQ(Products(Warehouse), kUsedProducts);
    EXPECT_EQ(Warehouse.LockRow(), Released);
    EXPECT_FALSE(State.LockHeld);
    EXPECT_EQ(State.WarehouseConnection, nullptr);
    EXPECT_TRUE(World.Prompt.Asked.empty() && World.Prompt.Shown.empty());
}

TEST_F(TaskRun, ArchivesBeforeItMarks) {
    ArchiveToo();
    ASSERT_TRUE(Run(Settings)) << State.ErrorText;
    EXPECT_TRUE(MatchesGolden(Log(), "run_that_archives.txt"));
    EXPECT_EQ(Sales(), "3|3|2");
    EXPECT_EQ(Archive.Text("SELECT * FROM sales"), "1|1|10|2024-03-05 14:07:09");
    EXPECT_EQ(Products(Warehouse), "3|cap") << "the pen is unused once its sale is archived";
    EXPECT_EQ(State.ArchiveConnection, nullptr);
}

TEST_F(TaskRun, ShowsTheProgressOfTheSelectedTasks) {
    Settings.CheckMetaData = Settings.GenerateReports = false;
    ASSERT_TRUE(Run(Settings)) << State.ErrorText;
    std::vector<std::string> seen = World.Progress.Log;
    std::erase_if(seen, [](const std::string& line) {
        const std::string word = line.substr(0, line.find(' '));
        return Contains("comment value range relation hide show", word);
    });
    EXPECT_EQ(Join(seen, ", "),
              "load " + Warehouse.Server() +
                  " dw Tuesday, Mar 5 2024 14:07:09,"
                  " listed Detect And Mark Unused Dimension Elements,"
                  " listed Delete Marked Unused Dimension Elements, run 0, done 0, run 1, done 1,"
                  " remove indicator, end Tuesday, Mar 5 2024 14:07:09, enable cmdOK,"
                  " disable cmdCancel");
}

TEST_F(TaskRun, RefusesInvalidSettingsWithoutConnecting) {
    Settings.Database = "";
    Settings.Machine = "sqlite:/nowhere";
    ExpectFailure("");
    EXPECT_TRUE(MatchesGolden(Log(), "run_refused.txt"));
    EXPECT_EQ(World.Errors.str().find("Database must be specified\nUsage: Morvane"), 0U);
}

TEST_F(TaskRun, LogsTheNoteOrFaultOfTheCommandLine) {
    CommandLineReport note;
    note.Note = "left out";
    EXPECT_TRUE(Run(Settings, note)) << State.ErrorText;
    EXPECT_EQ(Log().find("left out\r\nMorvane Tool started"), 0U);
    note.Fault = "too many";
    EXPECT_FALSE(Run(Settings, note));
    EXPECT_TRUE(Contains(Log(), "\r\ntoo many\r\nUsage: Morvane"));
}

TEST_F(TaskRun, FailsBeforeTheTasksIfAServerOrDatabaseIsMissing) {
    ArchiveToo();
    const RunSettings valid = Settings;
    Settings.ArchiveDatabase = "none";
    ExpectFailure("none.db");
    Settings.ArchiveMachine += "/none";
    ExpectFailure("Error while connecting to : ARCHIVE");
    Settings = valid;
    Settings.Database = "other";
    ExpectFailure("other");
    Settings.Machine = "sqlite:" + (Files / "none");
    ExpectFailure("Error while connecting to : sqlite:FILES/none\r\n");
    EXPECT_TRUE(World.Progress.Log.empty());
    EXPECT_EQ(ListFiles(Warehouse.Folder()) + ListFiles(ArchiveFolder.Path()), "dw.dbhist.db");
}

TEST_F(TaskRun, StopsAfterATaskThatFailed) {
    EnsureFolder(Settings.LogDirectory);
    const std::string report = Files / "logs/SummaryReport05-03-202414-07-09.html";
    std::filesystem::create_symlink(Warehouse.File(), report);
    ExpectFailure("Report05-03-202414-07-09.html\": it is a symbolic link");
    EXPECT_TRUE(Contains(Log(), "Error Occured in Task ::\tGenerate Reports"));
    EXPECT_EQ(Warehouse.LockRow(), Released);

    Warehouse.Run("UPDATE dwm_tables SET where_clause = 'town = 3' WHERE table_name = 'sales'");
    ArchiveToo(false);
    Settings.CheckMetaData = false;
    ExpectFailure("no such column: town");
    EXPECT_TRUE(MatchesGolden(Log(), "run_that_cannot_archive.txt"));
    EXPECT_FALSE(Contains(World.Errors.str(), "top5ecret"));

    Warehouse.Run("DELETE FROM dwm_star_relations");
    Settings.CheckMetaData = Settings.AtomicDeletion = true;
    ExpectFailure("Error occured while checking meta data\r\n");
    EXPECT_TRUE(Contains(Log(), "completed by the tool :\r\n\r\nMorvane Tool stopped"));
}

TEST_F(TaskRun, StopsAfterATaskThatWasCancelled) {
    ArchiveToo();
    const std::vector<std::pair<bool RunSettings::*, std::string>> tasks{
        {&RunSettings::CheckMetaData, "Checking of Meta Data"},
        {&RunSettings::ArchiveFactTables, "Archieving Fact Table"},
        {&RunSettings::DetectAndMark, "Marking"},
        {&RunSettings::GenerateReports, "Report Generation"},
        {&RunSettings::DeleteMarked, "Deletion"}};
    World.Progress.CancelAtPoll = 1;
    for (const auto& [task, name] : tasks) {
        ExpectFailure(name + " Process Cancelled by User.\r\n");
        EXPECT_TRUE(Contains(Log(), "completed by the tool :\r\n\r\nMorvane Tool stopped"));
        EXPECT_EQ(Warehouse.LockRow(), Released);
        Settings.*task = false;
    }
}

// As Qt does when it loses its display.
TEST_F(TaskRun, IsCancelledCleanlyIfTheProcessExits) {
    ArchiveToo();
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
        EXPECT_EQ(Warehouse.LockRow(), Released);
        EXPECT_TRUE(Contains(Log(), "\r\nMorvane Tool stopped On"));
        // The last poll is after the tasks.
        EXPECT_EQ(Status(), exitAt < polls ? "failure\r\n" : "ok\r\n");
        EXPECT_EQ(Contains(Log(), "Cancelled by User.\r\nThe process was ended"), exitAt < polls);
        EXPECT_EQ(Contains(Log(), "- Delete Marked"), exitAt == polls);
    }
}

TEST_F(TaskRun, FailsBeforeTheTasksIfTheArchiveIsReadOnly) {
    namespace fs = std::filesystem;
    ArchiveToo();
    for (const std::string& path :
         {Files.Path(), Warehouse.Folder(), ArchiveFolder.Path(), Warehouse.File()}) {
        fs::permissions(path, fs::perms::all);
    }
    fs::permissions(Archive.Path(), fs::perms(0444));
    Child child([&](Child&) {
        if (geteuid() == 0 && seteuid(65534) != 0) {  // root ignores permissions
            return 7;
        }
        return !Run(Settings) && Contains(State.ErrorText, "is read-only") ? 0 : 1;
    });
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_EQ(Sales() + Products(Warehouse), "1|1|10 3|3|2" + std::string(kAllProducts));
}

// Another process locks the file during marking. The user cancels at the second attempt to open it,
// and the file becomes free while the release of the lock waits for it.
TEST_F(TaskRun, CanBeCancelledWhileItWaitsForTheFile) {
    Loader load(Warehouse);
    int tries = 0;
    TestServices world([&](std::string_view server) {
        const auto connect = ConnectionsWith({.CancelRequested = [&] {
            if (++tries > 2) {
                load.Release();
            }
            return tries > 1;
        }});
        return TraceStatements(connect(server), [&](std::string_view statement) {
            if (tries == 0 && statement.find("is_deletable = 1 WHERE") != std::string_view::npos) {
                load.Take();
            }
        });
    });
    world.Progress.OnPoll = [&](int poll) { world.Progress.CancelAtPoll = tries > 1 ? poll : 0; };
    State.CommandLineMode = true;
    EXPECT_FALSE(RunTasks(Settings, State, world.Services));
    EXPECT_TRUE(Contains(Log(), "Marking Process Cancelled by User."));
    EXPECT_TRUE(Contains(Join(world.Progress.Log, ", "),
                         "stopped cancelled, end Tuesday, Mar 5 2024 14:07:09, enable cmdOK"));
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_EQ(Warehouse.LockRow(), Released);
    EXPECT_EQ(tries, 3);
}

TEST_F(TaskRun, ChangesNothingWithoutALog) {
    EnsureFolder(Settings.LogDirectory);
    std::filesystem::create_symlink(Warehouse.File(), LogFile);
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(Contains(World.Errors.str(), LogFile + "\": it is a symbolic link"));
    Settings.LogDirectory = Warehouse.File() + "/logs";  // below a file, which fails even for root
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(Contains(World.Errors.str(), "Cannot make the folder"));
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_EQ(Warehouse.Text("SELECT name FROM sqlite_master WHERE name = 'dwm_multiuse'"), "");
}

TEST_F(TaskRun, GoesOnButFailsIfTheDiskBecomesTooFullForTheLog) {
    CommandLineReport longer;
    longer.Note.assign(100'000, 'x');  // than the space that the log has reserved
    {
        const FileSizeLimit limit(80'000);
        EXPECT_FALSE(Run(Settings, longer));
    }
    EXPECT_EQ(Products(Warehouse), kUsedProducts);
    EXPECT_EQ(Warehouse.LockRow(), Released);
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_TRUE(Contains(World.Errors.str(), "File too large"));
}

TEST_F(TaskRun, CopiesTheLogOrNotesThatThereIsNone) {
    Settings.LogFileGiven = true;
    Settings.LogFileName = Files / "copies/today/log.txt";
    EXPECT_TRUE(Run(Settings)) << State.ErrorText;
    EXPECT_EQ(ReadWholeFile(Settings.LogFileName), ReadWholeFile(LogFile));

    Settings.LogGiven = false;
    EXPECT_FALSE(Run(Settings));
    EXPECT_EQ(ReadWholeFile(Settings.LogFileName),
              "Log Directory Path for the Morvane was not specified.\r\n");

    Settings.LogGiven = true;
    Settings.LogFileName = "/dev/full";
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(Contains(World.Errors.str(), "/dev/full"));
    EXPECT_EQ(Status(), "failure\r\n");
}

TEST_F(TaskRun, SucceedsWithoutItsStatusFile) {
    ASSERT_EQ(mkfifo((Files / "pipe").c_str(), 0600), 0);
    for (const char* name : {"missing/status.txt", "pipe", "logs"}) {
        Settings.StatusFileName = Files / name;
        EXPECT_TRUE(Run(Settings)) << State.ErrorText;
        EXPECT_EQ(World.Errors.str(), "");
    }
    EXPECT_FALSE(FolderExists(Files / "missing"));
}

TEST_F(TaskRun, OverwritesNoDatabaseFileUnderAnyName) {
    namespace fs = std::filesystem;
    ArchiveToo();
    Settings.LogFileGiven = true;
    const std::string before = ReadWholeFile(Warehouse.File()) + ReadWholeFile(Archive.Path());
    fs::create_symlink(Warehouse.File(), Files / "link");
    fs::create_symlink(Warehouse.Folder(), Files / "folder");
    fs::create_hard_link(Warehouse.File(), Files / "hard link");
    const std::string database = "\", which belongs to a database of SERVER";
    const std::string status = Files / "status.txt";
    const std::string copy = Files / "copy.txt";
    for (const auto& [statusFile, logCopy, told] : std::vector<std::array<std::string, 3>>{
             {Warehouse.File(), copy, "The status file cannot be \"" + Warehouse.File() + database},
             {Files / "link", copy, "link" + database},
             {Files / "hard link", copy, "link" + database},
             {Files / "folder/dw.db-journal", copy, database},
             {fs::relative(Warehouse.Folder() + "/new.db").string(), copy, database},
             {status, Files / "folder/dw.db-wal", "The copy of the log cannot be"},
             {status, Archive.Path(), "\", which belongs to a database of ARCHIVE"},
             {status, Files / "./status.txt",
              "The status file and the copy of the log cannot both"}}) {
        Settings.StatusFileName = statusFile;
        Settings.LogFileName = logCopy;
        EXPECT_FALSE(Run(Settings));
        EXPECT_TRUE(Contains(Log(), told));
        EXPECT_EQ(fs::exists(status), statusFile == status);
        EXPECT_TRUE(before == ReadWholeFile(Warehouse.File()) + ReadWholeFile(Archive.Path()));
        EXPECT_EQ(ListFiles(Warehouse.Folder()), "dw.db");
        fs::remove(status);
    }
}

TEST_F(TaskRun, ShowsItsErrorsToAUserWhoIsPresentAndKeepsTheConnection) {
    EXPECT_TRUE(RunTasks(Settings, State, World.Services));
    EXPECT_NE(State.WarehouseConnection, nullptr);
    EXPECT_TRUE(World.Prompt.Shown.empty());

    Warehouse.Run("DELETE FROM dwm_tables");
    EXPECT_FALSE(RunTasks(Settings, State, World.Services));
    EXPECT_EQ(World.Prompt.Shown, std::vector<std::string>{"Morvane|" + State.ErrorText});
    EXPECT_EQ(World.Errors.str(), "") << "shown in the message box";
    EXPECT_EQ(Warehouse.LockRow(), Released);
}

}  // namespace
}  // namespace morvane::testing
