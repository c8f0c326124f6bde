// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <sstream>

#include "run/CancelSignals.h"
#include "run/CommandLine.h"
#include "run/Console.h"
#include "run/ConsoleProgress.h"
#include "run/StartUp.h"
#include "support/RunFixture.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

const RunOverview kOverview{"server", "dw", "now", {"Check Meta Data", "Detect And Mark"}};

// The last line on a terminal after this output.
std::string LastLine(const std::string& output) {
    std::string line;
    std::size_t column = 0;
    for (const char c : output) {
        if (c == '\r') {
            column = 0;
        } else if (c == '\n') {
            line.clear();
            column = 0;
        } else {
            line.resize(std::max(line.size(), column + 1), ' ');
            line[column++] = c;
        }
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

TEST(ConsoleProgress, RedrawsOneLineAndErasesItAtTheEnd) {
    std::ostringstream terminal;
    ConsoleProgress progress(terminal, 40, [] { return false; });
    progress.Load(kOverview);
    progress.MarkTaskRunning(0);
    progress.Comment("Checking the Relations Table");
    EXPECT_EQ(LastLine(terminal.str()), "     Check Meta Data: Checking the Rela");
    progress.MarkTaskRunning(1);
    progress.SetProgressRange(0, 3);
    progress.ShowFrame(ProgressFrame::DetectProgFrame);
    progress.ShowRelation("d", "f");
    progress.ProgressVal(progress.ProgressVal() + 2);
    EXPECT_EQ(LastLine(terminal.str()), " 66% Detect And Mark: d <- f");
    EXPECT_FALSE(Contains(terminal.str(), "\n"));

    const std::size_t length = terminal.str().size();
    progress.SetProgressValue(2.001F);
    EXPECT_EQ(terminal.str().size(), length) << "nothing that shows has changed";
    terminal << "^C";
    progress.ShowStopped(Outcome::Failed);
    progress.ShowEndTime("Monday");
    EXPECT_TRUE(terminal.str().ends_with("\rFailed on Monday\n"));
    progress.MarkTaskRunning(0);
    progress.EnableObject(ProgressControl::cmdOK);
    EXPECT_EQ(LastLine(terminal.str()), "");
}

TEST(ConsoleProgress, CutsNoCharacterInTwoAndIsSilentInAPipe) {
    std::ostringstream terminal;
    ConsoleProgress progress(terminal, 10, [] { return false; });
    progress.Load({"", "", "", {"ab\u00e9\u00e9"}});
    progress.MarkTaskRunning(0);
    EXPECT_EQ(terminal.str(), "\r     ab\u00e9\r");

    std::ostringstream pipe;
    ConsoleProgress silent(pipe, 0, [] { return false; });
    silent.Load(kOverview);
    silent.MarkTaskRunning(0);
    EXPECT_EQ(pipe.str(), "");
}

TEST(Console, ShowsInNamesWhatItMustNotSend) {
    std::ostringstream terminal;
    ConsoleProgress progress(terminal, 60, [] { return false; });
    progress.Load(kOverview);
    progress.MarkTaskRunning(0);
    progress.Comment("a\x1b[2J\nb");
    EXPECT_EQ(LastLine(terminal.str()), "     Check Meta Data: a\\x1b[2J\\x0ab");
    std::ostringstream out;
    WriteConsoleText(out, "\r\nNo table \x1b[31m\r\n\tnor \u202e\r!\r\n");
    ConsolePrompt(out, [] {
        return "y";
    }).AskYesNo("Lock", "of \u009bm?\r\nGo on?", DefaultAnswer::No);
    EXPECT_EQ(out.str(),
              "No table \\x1b[31m\n\tnor \\u202e\\x0d!\nLock: of \\u009bm?\nGo on? [yes/no] ");
}

TEST(ConsolePrompt, TakesYesOrNoAndGivesUpAtTheEndOfTheInput) {
    const TempFolder folder;
    std::FILE* keys = std::fopen((folder / "keys").c_str(), "w+b");
    std::fputs("maybe\n\nYES\n n \ny", keys);
    std::rewind(keys);
    const CancelSignals signals;  // resets the signals received in earlier tests
    std::ostringstream out;
    ConsolePrompt prompt(out, ReadLinesFrom(fileno(keys)));
    EXPECT_EQ(prompt.AskYesNo("Lock Profile", "Go on?", DefaultAnswer::No), true);
    EXPECT_EQ(out.str(),
              "Lock Profile: Go on? [yes/no] Lock Profile: Go on? [yes/no] "
              "Lock Profile: Go on? [yes/no] ");
    EXPECT_EQ(prompt.AskYesNo("", "", DefaultAnswer::No), false);
    EXPECT_EQ(prompt.AskYesNo("", "", DefaultAnswer::No), std::nullopt)
        << "an incomplete line is not an answer";
    std::fclose(keys);
    EXPECT_EQ(ConsolePrompt(out, {}).AskYesNo("", "", DefaultAnswer::No), std::nullopt);
}

struct Started : TestServices {
    int Windows = 0;
    std::string WindowMachine;

    Started(std::string_view commandLine, bool withWindow) {
        if (withWindow) {
            Services.ShowMainWindow = [&](RunState& state, const RunSettings& settings) {
                ++Windows;
                WindowMachine = settings.Machine;
                EXPECT_EQ(state.GlobalSettings.Machine, settings.Machine);
            };
        }
        Services.WhyNoWindow = "No window here.";
        StartUp({std::string(commandLine), {}}, Services);
    }
};

TEST(StartUp, ShowsTheWindowWithoutOptionsAndInConfigMode) {
    EXPECT_EQ(Started("", true).Windows, 1);
    EXPECT_TRUE(Contains(Started("-logfile x", true).Errors.str(), "no notice of -logfile"));
    const Started config("-config file -mac m", true);
    EXPECT_EQ(config.Windows, 1);
    EXPECT_EQ(config.WindowMachine, "m");
    EXPECT_EQ(Started("-mark", true).Windows, 0);
}

TEST(StartUp, GivesHelpOnStandardOutputAndComplaintsOnStandardError) {
    const Started help("-help", false);
    EXPECT_EQ(help.Output.str(), std::string(UsageText()) + "\n" + VersionText() + "\n");
    EXPECT_EQ(help.Errors.str(), "");
    EXPECT_EQ(Started("-config file", false)
                  .Errors.str()
                  .find("No window here. Give the settings of a run as options."),
              0U);
    const Started unknown("-help -pwd -s3cret -wrong", false);
    EXPECT_EQ(unknown.Output.str(), "");
    EXPECT_EQ(unknown.Errors.str().find("Unknown options: -wrong\nUsage: Morvane"), 0U);
    EXPECT_FALSE(Contains(Started("-pwd -s3cret", false).Errors.str(), "s3cret"));
}

}  // namespace
}  // namespace morvane::testing
