#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "Fork.h"
#include "RunFixture.h"
#include "core/Platform.h"
#include "core/modFileFunctions.h"
#include "db/ConnectionFactory.h"
#include "db/StatementTrace.h"
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

// Connections that kill their process just before its statement with that number, from 1.
ConnectionFactory DyingAt(int statement) {
    auto sent = std::make_shared<int>(0);
    return [statement, sent](std::string_view server) {
        return TraceStatements(CreateConnection(server), [statement, sent](std::string_view) {
            if (++*sent == statement) {
                kill(getpid(), SIGKILL);
            }
        });
    };
}

class KilledArchiving : public ArchiveRun, public ::testing::WithParamInterface<bool> {
  protected:
    KilledArchiving() {
        UseLinkedServer(GetParam());
        Settings.CheckMetaData = Settings.GenerateReports = Settings.DeleteMarked = false;
        Warehouse.AddFact("visits", "id int, d datetime, CONSTRAINT pk_v PRIMARY KEY(id)",
                          "d < '20200101'");
        Warehouse.Run(
            "INSERT INTO visits VALUES(1,'2019-01-01 00:00:00'),(2,'2019-12-31 23:59:59'),"
            "(3,'2020-01-01 00:00:00')");
    }

    // Archives, a second later each time, since a key holds the second of its archiving.
    bool ArchiveIn(TestServices& world) {
        world.Clock.Moment.TimeOfDay += std::chrono::seconds(Seconds);
        RunState state;
        state.CommandLineMode = true;
        const bool result = RunTasks(Settings, state, world.Services);
        EXPECT_TRUE(result) << state.ErrorText;
        return result;
    }
    bool RunAndDieAt(int statement) {
        Child child([&](Child&) {
            TestServices world(DyingAt(statement));
            return ArchiveIn(world) ? 0 : 1;
        });
        const int status = child.Wait();
        EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
        return WIFSIGNALED(status);
    }

    // The different rows that are in the archive, without the dates of their archiving.
    std::string InArchive(const std::string& table, const std::string& columns) const {
        const bool there =
            Archive.Text("SELECT count(*) FROM sqlite_schema WHERE name = '" + table + "'") == "1";
        return there ? Archive.Text("SELECT DISTINCT " + columns + " FROM " + table + " ORDER BY 1")
                     : "";
    }
    std::string InWarehouse(const std::string& table) const {
        return Warehouse.Text("SELECT * FROM " + table + " ORDER BY 1");
    }

    int Seconds = 0;
};

TEST_P(KilledArchiving, LosesNoRowAndTheNextRunCompletesIt) {
    const std::string freshWarehouse = Files / "fresh.db";
    const std::string freshArchive = Files / "fresh_archive.db";
    std::filesystem::copy_file(Warehouse.File(), freshWarehouse);
    std::filesystem::copy_file(Archive.Path(), freshArchive);
    const auto overwrite = std::filesystem::copy_options::overwrite_existing;
    bool sawRowsInBothPlaces = false;
    int statement = 1;
    for (bool died = true; died && !HasFailure(); ++statement) {
        SCOPED_TRACE("killed before statement " + std::to_string(statement));
        std::filesystem::copy_file(freshWarehouse, Warehouse.File(), overwrite);
        std::filesystem::copy_file(freshArchive, Archive.Path(), overwrite);
        ++Seconds;
        died = RunAndDieAt(statement);
        const std::string archived = InArchive("visits", "id, d");
        const std::string kept = InWarehouse("visits");
        const std::string old = "1|2019-01-01 00:00:00 2|2019-12-31 23:59:59";
        EXPECT_TRUE(archived.empty() || archived == old) << "all rows or none: " << archived;
        EXPECT_TRUE(kept.find(old) == 0 || archived == old) << "kept: " << kept;
        EXPECT_TRUE(InWarehouse("sales").find("1|1|10") == 0 ||
                    InArchive("sales", "product_id, customer_key, amount") == "1|1|10");
        sawRowsInBothPlaces = sawRowsInBothPlaces || (kept.find(old) == 0 && archived == old);

        ++Seconds;
        TestServices world;
        world.Prompt.Answers = {true};
        EXPECT_TRUE(ArchiveIn(world));
        EXPECT_EQ(InArchive("visits", "id, d"), old);
        EXPECT_EQ(InWarehouse("visits"), "3|2020-01-01 00:00:00");
        EXPECT_EQ(InArchive("sales", "product_id, customer_key, amount"), "1|1|10");
        EXPECT_EQ(InWarehouse("sales"), "3|3|2");
    }
    EXPECT_GT(statement, 25) << "a run sends more statements than that";
    EXPECT_TRUE(sawRowsInBothPlaces) << "it was killed between copy and delete";
}

INSTANTIATE_TEST_SUITE_P(Both, KilledArchiving, ::testing::Bool(), [](const auto& way) {
    return std::string(way.param ? "ByLinkedServer" : "ByRowset");
});

}  // namespace
}  // namespace morvane::testing
