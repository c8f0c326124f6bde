// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <sys/wait.h>

#include <filesystem>

#include "base/Platform.h"
#include "base/modFileFunctions.h"
#include "support/Fork.h"
#include "support/RunFixture.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

// Runs the built program and checks its status file.
class Program : public RunFixture {
  protected:
    std::vector<std::string> Arguments(const std::vector<std::string>& tasks = {
                                           "-chkmd", "-mark", "-grep", "-del"}) const {
        std::vector<std::string> arguments = tasks;
        arguments.insert(arguments.end(),
                         {"-mac", Warehouse.Server(), "-db", "dw", "-ntaut", "-log",
                          Files / "my logs", "-statusfile", Files / "status.txt"});
        return arguments;
    }

    // The log of the only run.
    std::string Log() const {
        return ReadWholeFile(
            std::filesystem::directory_iterator(Files / "my logs")->path().string());
    }
    void ExpectDone() const { EXPECT_EQ(Status() + Products(Warehouse), "ok\r\n1|pen 3|cap"); }

    // Adds so many dimensions with such long names that the progress output does not fit into the
    // terminal's buffer: while nobody reads it, the program blocks in the middle of its work.
    void FillMoreThanATerminalHolds() const {
        const std::string longName(110, 'x');
        Warehouse.AddFact("fact_" + longName, "id int");
        std::string sql = "BEGIN;";
        for (int i = 100; i < 250; ++i) {
            const std::string name = "d" + std::to_string(i) + longName;
            sql +=
                "CREATE TABLE " + name +
                "(id int, is_sustainable bit, is_deletable bit);INSERT INTO dwm_tables VALUES('" +
                name + "','DIMENSION',NULL,1);INSERT INTO dwm_star_relations VALUES(1,'fact_" +
                longName + "','id','" + name + "','id',0,NULL);";
        }
        Warehouse.Run(sql + "COMMIT");
    }
};

TEST_F(Program, PerformsARunInANarrowTerminalWithoutAHomeATimeZoneOrALocale) {
    Surroundings surroundings;
    surroundings.Variables = {{"LC_ALL", "zz_ZZ.UTF-8"}, {"LANG", "zz_ZZ"},
                              {"TZ", std::nullopt},      {"HOME", "/nowhere/at/all"},
                              {"TERM", std::nullopt},    {"XDG_RUNTIME_DIR", std::nullopt}};
    surroundings.Columns = 20;
    TerminalProgram program(MORVANE_PROGRAM, Arguments(), surroundings);
    std::istringstream lines(program.ReadToEnd());
    EXPECT_EQ(program.Wait(), 0);
    ExpectDone();
    EXPECT_TRUE(Contains(lines.str(), "\rFinished on "));
    int drawn = 0;
    for (std::string line; std::getline(lines, line, '\r'); ++drawn) {
        EXPECT_TRUE(line.size() < 20 || line.starts_with("Finished on ")) << line;
    }
    EXPECT_GT(drawn, 5);
}

TEST_F(Program, RunsAlthoughNobodyReadsItsOutput) {
    for (const Streams streams : {Streams::Broken, Streams::Closed}) {
        EXPECT_EQ(RunWithoutReader(MORVANE_PROGRAM, {"-help"}, streams), 0);
        EXPECT_EQ(RunWithoutReader(MORVANE_PROGRAM, Arguments(), streams), 0);
        ExpectDone();
    }
    std::filesystem::remove_all(Files / "my logs");
    Warehouse.Run("UPDATE dwm_tables SET table_name = 'gone' WHERE table_name = 'product'");
    EXPECT_EQ(RunWithoutReader(MORVANE_PROGRAM, Arguments(), Streams::Closed), 0);
    EXPECT_EQ(Status(), "failure\r\n");
    const std::string log = Log();
    EXPECT_TRUE(Contains(log, "gone"));
    EXPECT_EQ(log.find("gone"), log.rfind("gone"))
        << "the log got the number of standard error: " << log;
}

TEST_F(Program, IsCancelledAtTheNextPollWhenItsSessionEnds) {
    FillMoreThanATerminalHolds();
    for (const int way : {0, 1, 2}) {
        std::filesystem::remove_all(Files / "my logs");
        TerminalProgram program(MORVANE_PROGRAM, Arguments({"-mark", "-del"}));
        program.ReadUntil(" <- ");
        if (way == 0) {
            program.Type("\x03");
        } else if (way == 1) {
            program.HangUp();
        } else {
            for (const int number : {SIGHUP, SIGHUP, SIGTERM, SIGHUP}) {
                program.Signal(number);
            }
        }
        program.ReadToEnd();
        EXPECT_EQ(program.Wait(), 0);
        EXPECT_EQ(Status(), "failure\r\n");
        ASSERT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
        EXPECT_TRUE(Contains(Log(), "Marking Process Cancelled by User.\r\n"));
    }
    Surroundings nohup;
    nohup.IgnoresHangup = true;
    TerminalProgram program(MORVANE_PROGRAM, Arguments({"-mark"}), nohup);
    program.ReadUntil(" <- ");
    program.HangUp();
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_EQ(Status(), "ok\r\n");
}

TEST_F(Program, TreatsAFileSizeLimitLikeAFullDisk) {
    Warehouse.Run("CREATE TABLE filler AS SELECT randomblob(200000)");
    const unsigned long size = std::filesystem::file_size(Warehouse.File());
    for (const auto& [limit, told] : {std::pair{20'000UL, "File too large"},
                                      {size - 1, "is larger than this process may write"},
                                      {size, "disk I/O error"}}) {
        Surroundings surroundings;
        surroundings.LargestFile = limit;
        TerminalProgram program(MORVANE_PROGRAM, Arguments(), surroundings);
        EXPECT_TRUE(Contains(program.ReadToEnd(), told));
        EXPECT_EQ(program.Wait(), 0);
        EXPECT_EQ(Status() + Products(Warehouse), "failure\r\n" + std::string(kAllProducts));
    }
}

TEST_F(Program, EndsAtOnceOnASecondSignal) {
    FillMoreThanATerminalHolds();
    TerminalProgram program(MORVANE_PROGRAM, Arguments({"-mark"}));
    program.ReadUntil(" <- ");
    program.Signal(SIGINT);
    program.Signal(SIGTERM);
    EXPECT_TRUE(WIFSIGNALED(program.Wait()));
    EXPECT_EQ(Status(), "running\r\n");
    EXPECT_EQ(Warehouse.LockRow(), "1|" + CurrentUserName());
}

TEST_F(Program, AsksInTheTerminalWhetherToBreakALock) {
    Warehouse.MakeLock(true, CurrentUserName());
    for (const char* keys : {"no\n", "\x03", "yes\n"}) {
        TerminalProgram program(MORVANE_PROGRAM, Arguments({"-mark", "-del"}));
        program.ReadUntil("Do you wish to continue? [yes/no] ");
        EXPECT_EQ(Products(Warehouse), kAllProducts);
        program.Type(keys);
        program.ReadToEnd();
        EXPECT_EQ(program.Wait(), 0);
        EXPECT_EQ(Status(), "ok\r\n");
    }
    ExpectDone();
    EXPECT_EQ(Warehouse.LockRow(), "0|" + CurrentUserName());
}

}  // namespace
}  // namespace morvane::testing
