#include "run/ValidateSettings.h"

#include <gtest/gtest.h>

#include "run/CommandLine.h"

namespace morvane::testing {
namespace {

RunSettings ValidSettings() {
    RunSettings settings;
    settings.Machine = "m";
    settings.Database = "d";
    settings.NTAuthentication = true;
    settings.LogGiven = true;
    settings.LogDirectory = "logs";
    return settings;
}

// The messages without their line breaks in front, joined by "|"; "valid" when there are none.
std::string Messages(const RunSettings& settings, RunState state = {}) {
    const bool valid = ValidateSettings(settings, state);
    EXPECT_EQ(valid, state.ErrorText.empty());
    std::string messages = state.ErrorText;
    for (std::size_t at = messages.find("\r\n"); at != std::string::npos;
         at = messages.find("\r\n")) {
        messages.replace(at, 2, at == 0 ? "" : "|");
    }
    return valid ? "valid" : messages;
}

TEST(ValidateSettings, ReportsEveryProblemInOrder) {
    RunSettings settings;
    settings.Machine = "  ";
    settings.ArchiveFactTables = true;
    settings.StatusMode = true;
    RunState state;
    state.ConfigMode = true;
    EXPECT_EQ(Messages(settings, std::move(state)),
              "Machine must be specified|Database must be specified|"
              "Username must be specified for connecting to the database|"
              "Archive machine must be specified|Archive database must be specified|"
              "Username must be specified for connecting to the Archive database|"
              "When in Config Mode Please specify the Config File Name|"
              "When in Status Mode Please specify the Status File Name|"
              "Log Directory name must be specified");
}

TEST(ValidateSettings, NeedsALogDirectoryAndALogin) {
    EXPECT_EQ(Messages(ValidSettings()), "valid");
    RunSettings settings = ValidSettings();
    settings.NTAuthentication = false;
    EXPECT_EQ(Messages(settings), "Username must be specified for connecting to the database");
    settings.UserName = "u";
    EXPECT_EQ(Messages(settings), "valid") << "an empty password is allowed";
    settings.LogDirectory = " ";
    EXPECT_EQ(Messages(settings), "Log Directory name must be specified");
    settings.LogDirectory = "logs";
    settings.LogGiven = false;
    EXPECT_EQ(Messages(settings), "Log Directory name must be specified");
}

TEST(ValidateSettings, LooksAtTheArchiveOnlyWhenArchiving) {
    RunSettings settings = ValidSettings();
    settings.ArchiveNTAuthentication = true;
    EXPECT_EQ(Messages(settings), "valid");
    settings.ArchiveFactTables = true;
    settings.ArchiveMachine = "am";
    settings.ArchiveDatabase = "ad";
    EXPECT_EQ(Messages(settings),
              "It is not possible to use Windows NT Authentication for both the Data Warehouse "
              "database and the archive database.");
    settings.ArchiveNTAuthentication = false;
    settings.ArchiveUserName = "u";
    EXPECT_EQ(Messages(settings), "valid");
}

TEST(ValidateSettings, EndsWithTheUsageWhenNoUserIsPresent) {
    RunState state;
    state.CommandLineMode = true;
    RunSettings settings;
    settings.Help = true;
    EXPECT_FALSE(ValidateSettings(settings, state));
    EXPECT_EQ(state.ErrorText, "\r\n" + std::string(UsageText())) << "help makes no checks";

    state.ErrorText.clear();
    settings = ValidSettings();
    settings.Database = "";
    EXPECT_FALSE(ValidateSettings(settings, state));
    EXPECT_EQ(state.ErrorText, "\r\nDatabase must be specified\r\n" + std::string(UsageText()));

    state.ErrorText.clear();
    EXPECT_FALSE(ValidateSettings(ValidSettings(), state, "Too much"));
    EXPECT_EQ(state.ErrorText, "\r\nToo much\r\n" + std::string(UsageText()));
}

}  // namespace
}  // namespace morvane::testing
