#include <signal.h>
#include <sys/wait.h>

#include "Fork.h"
#include "RunFixture.h"
#include "core/Platform.h"
#include "core/modFileFunctions.h"

namespace morvane::testing {
namespace {

// The built program in a terminal. Its status file tells the outcome.
class Program : public ::testing::Test {
  protected:
    std::vector<std::string> Arguments(const std::vector<std::string>& tasks) const {
        std::vector<std::string> arguments{
            "-mac",        Warehouse.Server(), "-db", "dw", "-ntaut", "-log", Files / "my logs",
            "-statusfile", Files / "status"};
        arguments.insert(arguments.end(), tasks.begin(), tasks.end());
        return arguments;
    }

    std::string Status() const { return ReadWholeFile(Files / "status"); }
    std::string LockRow() const {
        return Warehouse.Text("SELECT lock, user_name FROM dwm_multiuse");
    }

    // So many dimensions with such long names that the progress of marking them cannot all wait in
    // the terminal for somebody to read it: unread, the program stands still amid the work.
    void FillMoreThanATerminalHolds() const {
        const std::string longName(110, 'x');
        Warehouse.AddFact("fact_" + longName, "id int");
        Warehouse.Run("CREATE TABLE model(id int, is_sustainable bit, is_deletable bit)");
        std::string sql = "BEGIN;";
        for (int i = 100; i < 250; ++i) {
            const std::string name = "d" + std::to_string(i) + longName;
            sql += "CREATE TABLE " + name +
                   " AS SELECT * FROM model;INSERT INTO dwm_tables VALUES('" + name +
                   "','DIMENSION',NULL,1);INSERT INTO dwm_star_relations VALUES(1,'fact_" +
                   longName + "','id','" + name + "','id',0,NULL);";
        }
        Warehouse.Run(sql + "COMMIT");
    }

    TestWarehouse Warehouse;
    TempFolder Files;
};

TEST_F(Program, PerformsARunInATerminal) {
    FillStar(Warehouse);
    TerminalProgram program(MORVANE_PROGRAM, Arguments({"-chkmd", "-mark", "-grep", "-del"}));
    const std::string output = program.ReadToEnd();
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_EQ(Status(), "ok\r\n");
    EXPECT_EQ(Products(Warehouse), "1|pen 3|cap");
    EXPECT_NE(output.find("Detect And Mark Unused Dimension Elements"), std::string::npos);
    EXPECT_NE(output.find("\rFinished on "), std::string::npos);
}

TEST_F(Program, SaysWhyThereIsNoWindowAndEnds) {
    constexpr const char* kNoWindow = "This build of Morvane has no settings window.";
#ifdef MORVANE_UI
    constexpr const char* kWhy = "MORVANE_CONSOLE turns the windows off.";
#else
    constexpr const char* kWhy = kNoWindow;
#endif
    for (const auto& [path, reason] :
         {std::pair{MORVANE_PROGRAM, kWhy}, std::pair{MORVANE_HEADLESS_PROGRAM, kNoWindow}}) {
        TerminalProgram program(path, {});
        const std::string output = program.ReadToEnd();
        EXPECT_EQ(program.Wait(), 0);
        EXPECT_EQ(output.find(std::string(reason) + " Give the settings of a run as options."), 0U)
            << output;
    }
}

TEST_F(Program, CtrlCCancelsAtTheNextPoll) {
    FillMoreThanATerminalHolds();
    TerminalProgram program(MORVANE_PROGRAM, Arguments({"-mark", "-del"}));
    program.ReadUntil(" <- ");
    program.Type("\x03");
    const std::string output = program.ReadToEnd();
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_EQ(Status(), "failure\r\n");
    EXPECT_EQ(LockRow(), "0|" + CurrentUserName());
    EXPECT_NE(output.find("\rMarking Process Cancelled by User."), std::string::npos);
}

TEST_F(Program, ASecondSignalEndsItAtOnce) {
    FillMoreThanATerminalHolds();
    TerminalProgram program(MORVANE_PROGRAM, Arguments({"-mark"}));
    program.ReadUntil(" <- ");
    program.Signal(SIGINT);
    program.Signal(SIGTERM);
    EXPECT_TRUE(WIFSIGNALED(program.Wait()));
    EXPECT_EQ(Status(), "running\r\n");
    EXPECT_EQ(LockRow(), "1|" + CurrentUserName());
}

TEST_F(Program, AsksInTheTerminalWhetherToBreakALock) {
    FillStar(Warehouse);
    Warehouse.Run(
        "CREATE TABLE dwm_multiuse(lock bit, user_name varchar(100));"
        "INSERT INTO dwm_multiuse VALUES(1,'" +
        CurrentUserName() + "')");
    for (const char* keys : {"no\n", "\x03", "yes\n"}) {
        TerminalProgram program(MORVANE_PROGRAM, Arguments({"-mark", "-del"}));
        program.ReadUntil("Do you wish to continue? [yes/no] ");
        EXPECT_EQ(Products(Warehouse), "1|pen 2|ink 3|cap 4|nib");
        program.Type(keys);
        program.ReadToEnd();
        EXPECT_EQ(program.Wait(), 0);
        EXPECT_EQ(Status(), "ok\r\n");
    }
    EXPECT_EQ(Products(Warehouse), "1|pen 3|cap");
}

}  // namespace
}  // namespace morvane::testing
