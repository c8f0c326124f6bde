// SPDX-License-Identifier: Apache-2.0
#include "run/CommandLine.h"
#include "run/ProcessArguments.h"
#include "run/Tasks.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

struct Parsed {
    RunSettings Settings;
    RunState State;
    CommandLineReport Report;
};

Parsed Parse(std::string_view commandLine, SlashPaths slashPaths = SlashPaths::Yes) {
    Parsed parsed;
    parsed.Report =
        ParseCommandLine(commandLine, kMaxArgs, slashPaths, parsed.Settings, parsed.State);
    return parsed;
}

std::string Words(int count) {
    std::string words = "-mac m -ntaut -db d -mark";
    for (int i = 6; i < count; ++i) {
        words += " w";
    }
    return words + " -grep";  // as word number count + 1
}

// ConfigFileTest covers the options that the configuration file has, too.
TEST(CommandLine, AppliesOptionsInAnyCaseAndWithEitherPrefix) {
    const Parsed parsed = Parse(
        "-MAC one /Pwd p -bkpwd ap -BKNTAUT -logfile f -config c -statusfile s -mac two -help",
        SlashPaths::No);
    const RunSettings& settings = parsed.Settings;
    EXPECT_EQ(settings.Machine + settings.Password + settings.ArchivePassword, "twopap");
    EXPECT_EQ(settings.LogFileName + parsed.State.ConfigFileName + settings.StatusFileName, "fcs");
    EXPECT_TRUE(settings.ArchiveNTAuthentication && settings.LogFileGiven && settings.StatusMode);
    EXPECT_TRUE(settings.ConfigMode && parsed.State.ConfigMode);
    EXPECT_TRUE(settings.Help && parsed.Report.HelpAsked && !parsed.Report.UnknownOption);
    EXPECT_FALSE(settings.NTAuthentication || settings.DeleteMarked || settings.LogGiven);
}

TEST(CommandLine, EveryTaskHasAnOptionThatTheUsageNames) {
    for (const Task& task : kTasks) {
        EXPECT_TRUE(Parse('-' + std::string(task.Option)).Settings.*task.Flag) << task.Option;
        EXPECT_TRUE(Contains(UsageText(), "[-" + std::string(task.Option) + "]"));
    }
}

TEST(CommandLine, DetectsWhetherAUserIsPresent) {
    EXPECT_FALSE(Parse("").State.CommandLineMode);
    EXPECT_FALSE(Parse(" \t ").State.CommandLineMode);
    EXPECT_FALSE(Parse("word other").State.CommandLineMode);
    EXPECT_FALSE(Parse("-logfile copy.txt").State.CommandLineMode);
    EXPECT_TRUE(Parse("-mark").State.CommandLineMode);
    EXPECT_TRUE(Parse("-nonsense").State.CommandLineMode);
}

TEST(CommandLine, QuotesEncloseBlanksAndAlwaysStartAWord) {
    EXPECT_EQ(Parse("-log \"a b\tc\"").Settings.LogDirectory, "a b\tc");
    EXPECT_EQ(Parse("-log\t\"a b\"c -mark").Settings.LogDirectory, "a bc");
    EXPECT_EQ(Parse("-log \"\" -mark").Settings.LogDirectory, "");
    EXPECT_EQ(Parse("-log \"never closed -mark").Settings.LogDirectory, "never closed -mark");

    const Parsed split = Parse("-mac ab\"-db\"x d");
    EXPECT_EQ(split.Settings.Machine, "ab");
    EXPECT_TRUE(split.Settings.Help) << "the quoted half is the unknown option -dbx";
    EXPECT_EQ(Parse("\"\"\"-mac\" m").Settings.Machine, "m");
}

TEST(CommandLine, AValueThatLooksLikeAnOptionIsAlsoAppliedAsOne) {
    const Parsed parsed = Parse("-usr -mark -log");
    EXPECT_EQ(parsed.Settings.UserName, "-mark");
    EXPECT_TRUE(parsed.Settings.DetectAndMark);
    EXPECT_TRUE(parsed.Settings.LogGiven);
    EXPECT_EQ(parsed.Settings.LogDirectory, "");
    EXPECT_TRUE(Parse("--mac m").Settings.Help);
    EXPECT_TRUE(Parse("-").Settings.Help);
}

TEST(CommandLine, AnAbsolutePathIsNotAnOptionIfSlashSeparatesFolders) {
    const std::string line = "-log /mark -mac m /del";
    const Parsed path = Parse(line, SlashPaths::Yes);
    EXPECT_EQ(path.Settings.LogDirectory, "/mark");
    EXPECT_FALSE(path.Settings.DetectAndMark);
    EXPECT_TRUE(path.Settings.DeleteMarked) << "no option took this one as its value";

    const Parsed option = Parse(line, SlashPaths::No);
    EXPECT_EQ(option.Settings.LogDirectory, "/mark");
    EXPECT_TRUE(option.Settings.DetectAndMark && option.Settings.DeleteMarked);

    EXPECT_TRUE(Parse("-log /a /b", SlashPaths::Yes).Settings.Help);
    EXPECT_TRUE(Parse("-mark /b", SlashPaths::Yes).Settings.Help) << "-mark takes no value";
    EXPECT_FALSE(Parse("-usr -log /b", SlashPaths::Yes).Settings.Help);
}

TEST(CommandLine, PlainWordsBeyondTheLimitAreIgnoredWithANote) {
    const Parsed full = Parse(Words(24));
    EXPECT_TRUE(full.Settings.GenerateReports);
    EXPECT_TRUE(full.Report.Note.empty() && full.Report.Fault.empty());

    const Parsed over = Parse(Words(25) + " \"quoted after it\"");
    EXPECT_TRUE(over.Settings.DetectAndMark);
    EXPECT_FALSE(over.Settings.GenerateReports);
    EXPECT_EQ(over.Report.Note,
              "The command line holds more than 25 words; those after word 25 are ignored.");
    EXPECT_TRUE(over.Report.Fault.empty());
}

TEST(CommandLine, AQuotedWordBeyondTheLimitIsAFaultButKeepsTheOptionsBeforeIt) {
    for (const std::string& last : {std::string(" \"-grep\""), std::string("\"x")}) {
        const Parsed over = Parse(Words(24) + last);
        EXPECT_EQ(over.Settings.Machine, "m");
        EXPECT_TRUE(over.State.CommandLineMode);
        EXPECT_TRUE(Contains(over.Report.Fault, "more than 25 words"));
    }
    std::string unknownOnly;
    for (int i = 0; i < 26; ++i) {
        unknownOnly += "\"\"";
    }
    EXPECT_TRUE(Parse(unknownOnly).State.CommandLineMode) << "a fault is no reason for a window";
}

TEST(CommandLine, NamesUnknownOptionsButNoPartOfAPassword) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(Parse("-one -mac m /two").Report.UnknownNames, (Names{"-one", "/two"}));
    EXPECT_EQ(Parse("-pwd -secret -three").Report.UnknownNames, Names{"-three"});
    EXPECT_EQ(Parse("-bkpwd -pwd -secret").Report.UnknownNames, Names{});
    EXPECT_EQ(Parse("-pwd=secret --PWDsecret -x:secret").Report.UnknownNames,
              (Names{"-pwd...", "--PWD...", "-x..."}));
    // Composed from the arguments -pwd and x" -secret".
    EXPECT_EQ(Parse("-pwd \"x\" -secret\"\" -mark -four").Report.UnknownNames, Names{"-four"});
    EXPECT_TRUE(Parse("-pwd a\"-secret").Report.UnknownNames.empty());
    EXPECT_TRUE(Parse("-pwd -secret").Report.UnknownOption);
}

TEST(CommandLine, ArgumentsComposedToTextComeBackAsTheyWere) {
    const char* argv[] = {"morvane", "-log", "/a b/\tc", "-usr", "", "-mac", "m,1433;x", "-mark"};
    const std::string line = ComposeCommandLine(8, argv);
    EXPECT_EQ(line, "-log \"/a b/\tc\" -usr \"\" -mac m,1433;x -mark");
    EXPECT_EQ(Parse(line).Settings.LogDirectory + Parse(line).Settings.Machine,
              argv[2] + std::string(argv[6]));
    EXPECT_EQ(ComposeCommandLine(1, argv), "");
}

TEST(CommandLine, FollowsTheProgramsNameAsItWasTyped) {
    EXPECT_EQ(AfterProgramName("morvane.exe"), "");
    EXPECT_EQ(AfterProgramName("C:\\bin\\morvane  \t-mac  \"a\"b "), "-mac  \"a\"b ");
    EXPECT_EQ(AfterProgramName("\"C:\\my tools\\morvane.exe\" -help"), "-help");
    EXPECT_EQ(AfterProgramName("C:\\\"my tools\"\\morvane \"\" -help"), "\"\" -help");
    EXPECT_EQ(AfterProgramName("\"never closed -help"), "");
}

}  // namespace
}  // namespace morvane::testing
