// SPDX-License-Identifier: Apache-2.0
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "base/Platform.h"
#include "base/PrivateFile.h"
#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "run/Environment.h"
#include "run/ProcessArguments.h"
#include "support/ErrorOf.h"
#include "support/Fork.h"
#include "support/RunFixture.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

using Words = std::vector<std::string>;

std::string Hidden(Words arguments) {
    arguments.insert(arguments.begin(), "morvane");
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    HidePasswords(static_cast<int>(argv.size()), argv.data());
    return Join({argv.begin() + 1, argv.end()}, " ");
}

TEST(HidePasswords, HidesOnlyTheValuesInAllNotations) {
    const std::vector<std::pair<Words, std::string>> cases{
        {{"-mac", "m", "-pwd", "a b", "-db", "/BKPWD", "c", "-mark"},
         "-mac m -pwd * -db /BKPWD * -mark"},
        {{"-pwd=a", "--pwda", "-db", "d"}, "-pwd* --pwd* -db d"},
        {{"-pwd", "\"a", "b", "c\"", "-db", "d"}, "-pwd * * * -db d"},
        {{"-pwd\"a", "b\"", "-db"}, "-pwd* * -db"},
        {{"-mac m -pwd a b -db d"}, "-mac m -pwd*"},
        {{"-usr", "pwd", "-pwd", "", "-pwd"}, "-usr pwd -pwd  -pwd"},
        {{"-pwd", "\"never closed", "-db"}, "-pwd * *"}};
    for (const auto& [arguments, hidden] : cases) {
        EXPECT_EQ(Hidden(arguments), hidden);
    }
}

// Runs the built program with passwords for the warehouse and the archive.
class Secrets : public RunFixture {
  protected:
    // The arguments without passwords.
    Words Logins() const {
        const std::string archive = "sqlite:" + ArchiveFolder.Path();
        return {"-clsf", "-mark",  "-grep",    "-log",  Files / "logs", "-mac",  Warehouse.Server(),
                "-db",   "dw",     "-usr",     "clerk", "-bkmac",       archive, "-bkdb",
                "hist",  "-bkusr", "archivist"};
    }
    Words Arguments(const Words& more = {}) const {
        Words arguments = Logins();
        arguments.insert(arguments.end(), {"-pwd", "blue-Herring", "-bkpwd", "pink-Salmon"});
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    // All output of a run, on the terminal and in files.
    std::string Traces(const Words& arguments, Surroundings surroundings = {}) const {
        surroundings.Variables["MORVANE_STATEMENT_LOG"] = Files / "statements";
        TerminalProgram process(MORVANE_PROGRAM, arguments, surroundings);
        std::string traces = process.ReadToEnd();
        EXPECT_EQ(process.Wait(), 0);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(Files.Path())) {
            if (entry.is_regular_file()) {
                traces += ReadWholeFile(entry.path().string());
            }
        }
        return traces;
    }
};

bool ShowsSecrets(const std::string& traces) {
    return Contains(traces, "Herring") || Contains(traces, "Salmon");
}

TEST_F(Secrets, AreNotInAnyOutputOfARun) {
    const std::string archived = Traces(Arguments());
    EXPECT_TRUE(
        Contains(archived, "OPENROWSET('SQLOLEDB', 'sqlite:" + ArchiveFolder.Path() + "'; ***"));
    EXPECT_TRUE(Contains(archived, "records archived"));
    EXPECT_FALSE(ShowsSecrets(archived)) << archived;

    Warehouse.Run("UPDATE dwm_tables SET where_clause = 'town = 3' WHERE table_name = 'sales'");
    const std::string failed = Traces(Arguments());
    EXPECT_TRUE(Contains(failed, "town"));
    EXPECT_FALSE(ShowsSecrets(failed)) << failed;

    EXPECT_FALSE(ShowsSecrets(
        Traces(Arguments({"-nonsense", "-statusfile", Files / "a", "b", "c", "\"d e\""}))));
}

TEST_F(Secrets, FromTheEnvironmentAreUsedButNotShown) {
    Surroundings given{
        {{"MORVANE_PASSWORD", "blue-Herring"}, {"MORVANE_ARCHIVE_PASSWORD", "pink-Salmon"}}};
    const std::string archived = Traces(Logins(), given);
    EXPECT_TRUE(Contains(archived, "1 records archived"));
    EXPECT_FALSE(ShowsSecrets(archived)) << archived;

    Warehouse.Run("DROP TABLE dwm_multiuse");
    given.Variables["MORVANE_PASSWORD"] = "";
    given.Variables["MORVANE_PASSWORD_FILE"] = Files / "missing";
    EXPECT_TRUE(Contains(Traces(Logins(), given), "MORVANE_PASSWORD_FILE: Cannot read the file"));
    EXPECT_EQ(Warehouse.Text("SELECT name FROM sqlite_master WHERE name = 'dwm_multiuse'"), "");
}

TEST_F(Secrets, AreRemovedFromTheProcessAtItsStart) {
    Warehouse.MakeLock(true, CurrentUserName());
    const Surroundings given{{{"MORVANE_ARCHIVE_PASSWORD", "pink-Salmon"},
                              {"MORVANE_ARCHIVE_PASSWORD_FILE", "/of/a/Salmon"}}};
    for (const char* program : {MORVANE_PROGRAM, MORVANE_HEADLESS_PROGRAM}) {
        TerminalProgram process(program, Arguments(), given);
        process.ReadUntil("Do you wish to continue? [yes/no] ");
        const std::string arguments = process.About("cmdline");
        EXPECT_TRUE(Contains(arguments, "archivist"));
        EXPECT_FALSE(ShowsSecrets(arguments + process.About("environ")));
        EXPECT_TRUE(Contains(process.About("limits"), "Max core file size        0  "));
        process.Type("no\n");
        process.ReadToEnd();
        EXPECT_EQ(process.Wait(), 0);
    }
    Child child([](Child&) {
        PrepareProcess();
        return prctl(PR_GET_DUMPABLE);
    });
    EXPECT_EQ(child.Wait(), 0);
}

TEST(LoginPasswords, ComeFromAVariableOrFromAFileThatOnlyItsOwnerCanRead) {
    const TempFolder files;
    const std::string secret = files / "secret";
    constexpr const char* kForOthers = "others than its owner may read or change it";
    const struct {
        const char* Variable;
        std::string File;
        const char* Content;
        mode_t Mode;
        const char* Text;
        const char* Fault;
    } cases[]{
        {"plain", "", "", 0600, "plain", ""},
        {"", secret, "first\r\nsecond\r\n", 0600, "first", ""},
        {"", secret, "first", 0400, "first", ""},
        {"", secret, "first", 0640, "", kForOthers},
        {"", secret, "first", 0602, "", kForOthers},
        {"", secret, "\nsecond", 0600, "", "is empty"},
        {"", files / "missing", "", 0600, "", "No such file or directory"},
        {"", "/dev/null", "", 0600, "", "it is not a regular file"},
        {"plain", secret, "first", 0600, "plain", "Both MORVANE_ARCHIVE_PASSWORD and"},
    };
    for (const auto& c : cases) {
        TextFile file(secret);
        file.Write(c.Content);
        file.Close();
        ASSERT_EQ(chmod(secret.c_str(), c.Mode), 0);
        setenv("MORVANE_ARCHIVE_PASSWORD", c.Variable, 1);
        setenv("MORVANE_ARCHIVE_PASSWORD_FILE", c.File.c_str(), 1);
        const LoginPasswords taken = TakeEnvironment().Passwords;
        EXPECT_EQ(std::getenv("MORVANE_ARCHIVE_PASSWORD"), nullptr);
        EXPECT_EQ(std::getenv("MORVANE_ARCHIVE_PASSWORD_FILE"), nullptr);
        EXPECT_EQ(taken.Archive.Text, c.Text);
        EXPECT_TRUE(Contains(taken.Archive.Fault, c.Fault));
        EXPECT_EQ(taken.Archive.Fault.empty(), *c.Fault == '\0');
    }
    if (geteuid() == 0) {
        ASSERT_EQ(chown(secret.c_str(), 65534, 65534), 0);
        EXPECT_TRUE(Contains(ErrorOf([&] { ReadPrivateLine(secret); }), "belongs to another user"));
    }
}

TEST(LoginPasswords, AreForLoginsWithAUserAndNoPassword) {
    const LoginPasswords::Password given{"env", ""};
    EXPECT_EQ(WithPassword({"s", false, "u", ""}, given).Password, "env");
    EXPECT_EQ(WithPassword({"s", false, "u", "own"}, given).Password, "own");
    EXPECT_EQ(WithPassword({"s", false, " ", ""}, given).Password, "");
    EXPECT_EQ(WithPassword({"s", true, "u", ""}, {"", "fault"}).Password, "");
    EXPECT_EQ(ErrorOf([] { WithPassword({"s", false, "u", ""}, {"", "fault"}); }), "fault");
}

}  // namespace
}  // namespace morvane::testing
