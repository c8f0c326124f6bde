// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <filesystem>

#include "base/Platform.h"
#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "db/ConnectionFactory.h"
#include "db/StatementTrace.h"
#include "support/FileSizeLimit.h"
#include "support/Golden.h"
#include "support/RunFixture.h"
#include "support/SqliteFile.h"

namespace morvane::testing {
namespace {

using RunTest = RunFixture;

std::string ProcessList(const std::string& log) {
    const std::string head = "completed by the tool :";
    const std::size_t from = log.find(head) + head.size();
    return log.substr(from, log.find("\r\n\r\nMorvane Tool stopped") - from);
}

TEST_F(RunTest, PerformsEveryTaskAndLogsIt) {
    EXPECT_TRUE(Run(Settings)) << State.ErrorText;
    EXPECT_TRUE(MatchesGolden(Log(), "run_every_task.txt"));
    EXPECT_EQ(Status(), "ok\r\n");
    EXPECT_EQ(World.Errors.str() + World.Output.str(), "");
    EXPECT_EQ(ListFiles(Files / "logs"),
              "DetailedReport05-03-202414-07-09.html Morvane_Log05-03-202414-07-09.txt "
              "SummaryReport05-03-202414-07-09.html TableFilterReport05-03-202414-07-09.html");
    EXPECT_EQ(Products(Warehouse), kUsedProducts);
    EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
    EXPECT_FALSE(State.LockHeld);
    EXPECT_EQ(State.WarehouseConnection, nullptr);
    EXPECT_TRUE(World.Prompt.Asked.empty() && World.Prompt.Shown.empty());
}

TEST_F(RunTest, ShowsTheProgressOfTheSelectedTasks) {
    Settings.CheckMetaData = Settings.GenerateReports = false;
    ASSERT_TRUE(Run(Settings)) << State.ErrorText;
    std::vector<std::string> seen;
    for (const std::string& line : World.Progress.Log) {
        const std::string word = line.substr(0, line.find(' '));
        if (std::string("comment value range relation hide show").find(word) == std::string::npos) {
            seen.push_back(line);
        }
    }
    EXPECT_EQ(Join(seen, ", "),
              "load " + Warehouse.Server() +
                  " dw Tuesday, Mar 5 2024 14:07:09,"
                  " listed Detect And Mark Unused Dimension Elements,"
                  " listed Delete Marked Unused Dimension Elements, run 0, done 0, run 1, done 1,"
                  " remove indicator, end Tuesday, Mar 5 2024 14:07:09, enable cmdOK,"
                  " disable cmdCancel");
}

TEST_F(RunTest, ARefusedRunReportsItEverywhereAndDoesNotConnect) {
    Settings.Database = "";
    Settings.Machine = "sqlite:/nowhere";
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(MatchesGolden(Log(), "run_refused.txt"));
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_EQ(World.Errors.str().find("Database must be specified\nUsage: Morvane"), 0U);
}

TEST_F(RunTest, TheLogHasTheNoteOrFaultOfTheCommandLine) {
    CommandLineReport note;
    note.Note = "left out";
    EXPECT_TRUE(Run(Settings, note)) << State.ErrorText;
    EXPECT_EQ(Log().find("left out\r\nMorvane Tool started"), 0U);
    note.Fault = "too many";
    EXPECT_FALSE(Run(Settings, note));
    EXPECT_TRUE(Contains(Log(), "\r\ntoo many\r\nUsage: Morvane"));
}

TEST_F(RunTest, AMissingServerOrDatabaseEndsTheRunBeforeTheTasks) {
    Settings.Machine = "sqlite:" + (Files / "none");
    EXPECT_FALSE(Run(Settings));
    EXPECT_EQ(Log().find("Error while connecting to : sqlite:FILES/none\r\n"), 0U) << Log();

    Settings.Machine = Warehouse.Server();
    Settings.Database = "other";
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(Contains(Log(), "other"));
    EXPECT_TRUE(Contains(Log(), "Morvane Tool started"));
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_TRUE(World.Progress.Log.empty());
    EXPECT_EQ(ListFiles(Warehouse.Folder()), "dw.db");
}

TEST_F(RunTest, AFailingTaskPreventsEverythingAfterIt) {
    EnsureFolder(Settings.LogDirectory);
    std::filesystem::create_symlink(Warehouse.File(),
                                    Files / "logs/SummaryReport05-03-202414-07-09.html");
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(Contains(Log(), "Report05-03-202414-07-09.html\": it is a symbolic link"));
    EXPECT_TRUE(Contains(Log(), "Error Occured in Task ::\tGenerate Reports"));
    EXPECT_EQ(Products(Warehouse), kAllProducts);
    EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());

    Warehouse.Run("DELETE FROM dwm_star_relations");
    Settings.AtomicDeletion = true;
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(Contains(Log(), "Error occured while checking meta data\r\n"));
    EXPECT_EQ(ProcessList(Log()), "");
    EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
    EXPECT_EQ(Products(Warehouse), kAllProducts);
}

// Another process locks the file during marking. The user cancels at the second attempt to open it,
// and the file becomes free while the release of the lock waits for it.
TEST_F(RunTest, ACancelWhileTheFileIsInUseEndsTheRunCleanly) {
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
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
    EXPECT_EQ(tries, 3);
}

TEST_F(RunTest, ALogThatCannotBeMadeStopsTheRunBeforeAnythingIsChanged) {
    const std::string log = Files / "logs/Morvane_Log05-03-202414-07-09.txt";
    EnsureFolder(Settings.LogDirectory);
    std::filesystem::create_symlink(Warehouse.File(), log);
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(Contains(World.Errors.str(), log + "\": it is a symbolic link"));
    Settings.LogDirectory = Warehouse.File() + "/logs";  // below a file, which fails even for root
    EXPECT_FALSE(Run(Settings));
    EXPECT_TRUE(Contains(World.Errors.str(), "Cannot make the folder"));
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_EQ(Warehouse.Text("SELECT count(*) FROM sqlite_master WHERE name = 'dwm_multiuse'"),
              "0");
}

TEST_F(RunTest, ADiskThatFillsUpIsReportedButDoesNotStopTheRun) {
    CommandLineReport longer;
    longer.Note.assign(100'000, 'x');  // than the space that the log has reserved
    {
        const FileSizeLimit limit(80'000);
        EXPECT_FALSE(Run(Settings, longer));
    }
    EXPECT_EQ(Products(Warehouse), kUsedProducts);
    EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_TRUE(Contains(World.Errors.str(), "File too large"));
}

TEST_F(RunTest, CopiesTheLogOrNotesThatThereIsNone) {
    Settings.LogFileGiven = true;
    Settings.LogFileName = Files / "copies/today/log.txt";
    EXPECT_TRUE(Run(Settings)) << State.ErrorText;
    EXPECT_EQ(ReplaceAll(ReadWholeFile(Settings.LogFileName), Files.Path(), "FILES"), Log());

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

TEST_F(RunTest, AStatusFileThatCannotBeWrittenChangesNothing) {
    ASSERT_EQ(mkfifo((Files / "pipe").c_str(), 0600), 0);
    for (const char* name : {"missing/status.txt", "pipe", "logs"}) {
        Settings.StatusFileName = Files / name;
        EXPECT_TRUE(Run(Settings)) << State.ErrorText;
        EXPECT_EQ(World.Errors.str(), "");
    }
    EXPECT_FALSE(FolderExists(Files / "missing"));
}

// The cases have the names of the status file and of the copy of the log, and the message.
TEST_F(RunTest, NoDatabaseFileIsOverwrittenUnderAnyName) {
    const SqliteFile archive(Files / "hist.db");
    archive.Run("CREATE TABLE kept(x)");
    Settings.ArchiveMachine = "sqlite:" + Files.Path();
    const std::string before = ReadWholeFile(Warehouse.File()) + ReadWholeFile(archive.Path());
    std::filesystem::create_symlink(Warehouse.File(), Files / "link");
    std::filesystem::create_symlink(Warehouse.Folder(), Files / "folder");
    std::filesystem::create_hard_link(Warehouse.File(), Files / "hard link");
    const std::string database = "\", which belongs to a database of SERVER";
    const std::string inArchive = "\", which belongs to a database of sqlite:FILES";
    const std::string status = Files / "status.txt";
    const std::string copy = Files / "copy.txt";
    for (const auto& [statusFile, logCopy, told] : std::vector<std::array<std::string, 3>>{
             {Warehouse.File(), copy, "The status file cannot be \"" + Warehouse.File() + database},
             {Files / "link", copy, "link" + database},
             {Files / "hard link", copy, "link" + database},
             {Files / "folder/dw.db-journal", copy, database},
             {std::filesystem::relative(Warehouse.Folder() + "/new.db").string(), copy, database},
             {status, Files / "folder/other.db", "The copy of the log cannot be"},
             {status, Files / "folder/dw.db-wal", database},
             {status, archive.Path(), inArchive},
             {status, Files / "./status.txt",
              "The status file and the copy of the log cannot both"}}) {
        Settings.StatusFileName = statusFile;
        Settings.LogFileName = logCopy;
        Settings.LogFileGiven = true;
        EXPECT_FALSE(Run(Settings));
        EXPECT_TRUE(Contains(Log(), told));
        EXPECT_EQ(std::filesystem::exists(status), statusFile == status);
        EXPECT_TRUE(statusFile != status || Status() == "failure\r\n");
        EXPECT_TRUE(before == ReadWholeFile(Warehouse.File()) + ReadWholeFile(archive.Path()));
        EXPECT_EQ(ListFiles(Warehouse.Folder()), "dw.db");
        std::filesystem::remove(status);
    }
}

TEST_F(RunTest, AUserWhoIsPresentSeesTheErrorsAndKeepsTheConnection) {
    State.CommandLineMode = false;
    EXPECT_TRUE(RunTasks(Settings, State, World.Services));
    EXPECT_NE(State.WarehouseConnection, nullptr);
    EXPECT_EQ(World.Prompt.Shown, std::vector<std::string>{});

    Warehouse.Run("DELETE FROM dwm_tables");
    EXPECT_FALSE(RunTasks(Settings, State, World.Services));
    ASSERT_EQ(World.Prompt.Shown.size(), 1U);
    EXPECT_EQ(World.Prompt.Shown[0], "Morvane|" + State.ErrorText);
    EXPECT_EQ(World.Errors.str(), "") << "shown in the message box";
    EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
}

}  // namespace
}  // namespace morvane::testing
