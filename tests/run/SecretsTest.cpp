#include <filesystem>

#include "core/Platform.h"
#include "core/modFileFunctions.h"
#include "run/ProcessArguments.h"
#include "support/Fork.h"
#include "support/RunFixture.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

std::vector<std::string> Hidden(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "morvane");
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    HidePasswords(static_cast<int>(argv.size()), argv.data());
    for (std::string& argument : arguments) {
        argument = argument.c_str();  // up to the null
    }
    return {arguments.begin() + 1, arguments.end()};
}

using Words = std::vector<std::string>;

TEST(HidePasswords, TakesTheValuesAloneHoweverTheyAreWritten) {
    EXPECT_EQ(Hidden({"-mac", "m", "-pwd", "a b", "-db", "d", "/BKPWD", "c", "-mark"}),
              Words({"-mac", "m", "-pwd", "*", "-db", "d", "/BKPWD", "*", "-mark"}));
    EXPECT_EQ(Hidden({"-pwd=a", "--pwda", "-db", "d"}), Words({"-pwd*", "--pwd*", "-db", "d"}));
    EXPECT_EQ(Hidden({"-pwd", "\"a", "b", "c\"", "-db", "d"}),
              Words({"-pwd", "*", "*", "*", "-db", "d"}));
    EXPECT_EQ(Hidden({"-pwd\"a", "b\"", "-db"}), Words({"-pwd*", "*", "-db"}));
    EXPECT_EQ(Hidden({"-mac m -pwd a b -db d"}), Words({"-mac m -pwd*"}));
    EXPECT_EQ(Hidden({"-usr", "pwd", "-pwd", "", "-pwd"}),
              Words({"-usr", "pwd", "-pwd", "", "-pwd"}));
    EXPECT_EQ(Hidden({"-pwd", "\"never closed", "-db"}), Words({"-pwd", "*", "*"}));
}

// The built program, with logins that have passwords for the warehouse and for its archive.
class Secrets : public ::testing::Test {
  protected:
    Secrets() : Archive(ArchiveFolder / "hist.db") {
        FillStar(Warehouse);
        Archive.Run("PRAGMA user_version = 1");
    }

    Words Arguments(const std::string& archivePassword) const {
        const std::string archive = "sqlite:" + ArchiveFolder.Path();
        return {"-clsf", "-mark", "-grep", "-log",   Files / "logs", "-mac",    Warehouse.Server(),
                "-db",   "dw",    "-usr",  "clerk",  "-pwd",         kPassword, "-bkmac",
                archive, "-bkdb", "hist",  "-bkusr", "archivist",    "-bkpwd",  archivePassword};
    }

    // Everything that a run has written, on the terminal and into files.
    std::string Traces(const Words& arguments, const std::string& program = MORVANE_PROGRAM) const {
        Surroundings surroundings;
        surroundings.Variables["MORVANE_STATEMENT_LOG"] = Files / "statements";
        TerminalProgram process(program, arguments, surroundings);
        std::string traces = process.ReadToEnd();
        EXPECT_EQ(process.Wait(), 0);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(Files.Path())) {
            if (entry.is_regular_file()) {
                traces += ReadWholeFile(entry.path().string());
            }
        }
        return traces;
    }

    static constexpr const char* kPassword = "blue-Herring";
    TestWarehouse Warehouse;
    TempFolder ArchiveFolder;
    TempFolder Files;
    SqliteFile Archive;
};

TEST_F(Secrets, AreInNothingThatARunWrites) {
    const auto showsSecrets = [](const std::string& traces) {
        return traces.find("Herring") != std::string::npos ||
               traces.find("Salmon") != std::string::npos;
    };
    const std::string archived = Traces(Arguments("pink-Salmon"));
    EXPECT_TRUE(
        Contains(archived, "OPENROWSET('SQLOLEDB', 'sqlite:" + ArchiveFolder.Path() + "'; ***"));
    EXPECT_TRUE(Contains(archived, "records archived")) << "no log was found";
    EXPECT_FALSE(showsSecrets(archived)) << archived;

    Warehouse.Run("UPDATE dwm_tables SET where_clause = 'town = 3' WHERE table_name = 'sales'");
    const std::string failed = Traces(Arguments("pink-Salmon"));
    EXPECT_TRUE(Contains(failed, "town"));
    EXPECT_FALSE(showsSecrets(failed)) << failed;
    EXPECT_FALSE(showsSecrets(Traces(Arguments("'pink-Salmon"))));

    Words arguments = Arguments("pink-Salmon");
    arguments.insert(arguments.end(),
                     {"-nonsense", "-statusfile", Files / "a", "b", "c", "\"d e\""});
    EXPECT_FALSE(showsSecrets(Traces(arguments)));
}

TEST_F(Secrets, LeaveTheProcessBeforeAnybodyCanLook) {
    Warehouse.MakeLock(true, CurrentUserName());
    for (const char* program : {MORVANE_PROGRAM, MORVANE_HEADLESS_PROGRAM}) {
        TerminalProgram process(program, Arguments("pink-Salmon"));
        process.ReadUntil("Do you wish to continue? [yes/no] ");
        const std::string arguments = process.About("cmdline");
        EXPECT_TRUE(Contains(arguments, "archivist"));
        EXPECT_FALSE(Contains(arguments, "Herring"));
        EXPECT_FALSE(Contains(arguments, "Salmon"));
        EXPECT_TRUE(Contains(process.About("limits"), "Max core file size        0  "));
        process.Type("no\n");
        process.ReadToEnd();
        EXPECT_EQ(process.Wait(), 0);
    }
}

}  // namespace
}  // namespace morvane::testing
