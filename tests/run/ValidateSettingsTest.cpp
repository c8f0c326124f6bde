// SPDX-License-Identifier: Apache-2.0
#include "run/ValidateSettings.h"

#include "run/CommandLine.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

// The problems of a command line, joined by "|". The usage text is shown as "usage".
std::string Told(std::string_view commandLine, const std::string& fault = {}) {
    RunSettings settings;
    RunState state;
    ParseCommandLine(commandLine, kMaxArgs, SlashPaths::Yes, settings, state);
    const bool valid = ValidateSettings(settings, state, fault);
    EXPECT_EQ(valid, state.ErrorText.empty());
    return ReplaceAll(ReplaceAll(state.ErrorText, UsageText(), "usage"), "\r\n", "|");
}

TEST(ValidateSettings, ReportsEveryProblemInOrder) {
    EXPECT_EQ(Told("-mac \"  \" -clsf -statusfile \"\" -config \"\""),
              "|Machine must be specified|Database must be specified|"
              "Username must be specified for connecting to the database|"
              "Archive machine must be specified|Archive database must be specified|"
              "Username must be specified for connecting to the Archive database|"
              "When in Config Mode Please specify the Config File Name|"
              "When in Status Mode Please specify the Status File Name|"
              "Log Directory name must be specified|usage");
    EXPECT_EQ(Told("-help"), "|usage") << "help makes no checks";

    RunState present;
    EXPECT_FALSE(ValidateSettings({}, present));
    EXPECT_FALSE(Contains(present.ErrorText, UsageText())) << "windows show no usage";
}

TEST(ValidateSettings, LoginsAndALogDirectoryAreNeeded) {
    const std::string noLog = "|Log Directory name must be specified|usage";
    const std::string archive = "-mac m -db d -ntaut -log l -bkmac am -bkdb ad ";
    for (const auto& [line, expected] : std::vector<std::pair<std::string, std::string>>{
             {"-mac m -db d -ntaut -log l", ""},
             {"-mac m -db d -usr u -log l", ""},  // an empty password is allowed
             {"-mac m -db d -usr u -log \" \"", noLog},
             {"-mac m -db d -usr u", noLog},
             {archive + "-bkntaut", ""},  // without -clsf the archive is not checked
             {archive + "-clsf -bkusr u", ""},
             {archive + "-clsf -bkntaut",
              "|It is not possible to use Windows NT Authentication for both the Data Warehouse "
              "database and the archive database.|usage"}}) {
        EXPECT_EQ(Told(line), expected) << line;
    }
    EXPECT_EQ(Told("-mac m -db d -ntaut -log l", "Too much"), "|Too much|usage");
}

}  // namespace
}  // namespace morvane::testing
