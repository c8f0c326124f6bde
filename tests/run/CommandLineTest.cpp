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

TEST(CommandLine, DetectsWhetherAUserIsPresent) {
    for (const char* attended : {"", " \t ", "word other", "-logfile copy.txt"}) {
        EXPECT_FALSE(Parse(attended).State.CommandLineMode) << attended;
    }
    for (const char* unattended : {"-mark", "-nonsense"}) {
        EXPECT_TRUE(Parse(unattended).State.CommandLineMode) << unattended;
    }
}

// The settings of a command line and its unknown options.
std::string Read(std::string_view commandLine, SlashPaths slashPaths = SlashPaths::Yes) {
    const Parsed parsed = Parse(commandLine, slashPaths);
    const RunSettings& settings = parsed.Settings;
    std::string text = settings.LogGiven ? "log=" + settings.LogDirectory + ";" : "";
    for (const auto& [name, value] : {std::pair{"mac=", settings.Machine},
                                      {"usr=", settings.UserName},
                                      {"pwd=", settings.Password}}) {
        text += value.empty() ? "" : name + value + ";";
    }
    for (const Task& task : kTasks) {
        text += settings.*task.Flag ? std::string(task.Option) + ";" : "";
    }
    for (const std::string& name : parsed.Report.UnknownNames) {
        text += "?" + name + ";";
    }
    EXPECT_EQ(settings.Help, parsed.Report.UnknownOption);
    return text + (settings.Help ? "help" : "");
}

TEST(CommandLine, SplitsWordsAtBlanksAndQuotes) {
    for (const auto& [line, expected] : std::vector<std::pair<std::string, std::string>>{
             {"-log \"a b\tc\"", "log=a b\tc;"},
             {"-log\t\"a b\"c -mark", "log=a bc;mark;"},
             {"-log \"\" -mark", "log=;mark;"},
             {"-log \"never closed -mark", "log=never closed -mark;"},
             {"-mac ab\"-db\"x d", "mac=ab;?-dbx;help"},
             {"\"\"\"-mac\" m", "mac=m;"},
             // A value that looks like an option is also applied as one.
             {"-usr -mark -log", "log=;usr=-mark;mark;"},
             // An absolute path is not an option if it is the value of one.
             {"-log /mark -mac m /del", "log=/mark;mac=m;del;"},
             {"-log /a /b", "log=/a;?/b;help"},
             {"-mark /b", "mark;?/b;help"},
             {"-usr -log /b", "log=/b;usr=-log;"},
             // Names of unknown options hold no part of a password.
             {"-one -mac m /two", "mac=m;?-one;?/two;help"},
             {"--mac m", "?--mac;help"},
             {"-", "?-;help"},
             {"-pwd -secret -three", "pwd=-secret;?-three;help"},
             {"-bkpwd -pwd -secret", "pwd=-secret;help"},
             {"-pwd=secret --PWDsecret -x:secret", "?-pwd...;?--PWD...;?-x...;help"},
             // Composed from the arguments -pwd and x" -secret".
             {"-pwd \"x\" -secret\"\" -mark -four", "pwd=x;mark;?-four;help"},
             {"-pwd a\"-secret", "pwd=a;help"}}) {
        EXPECT_EQ(Read(line), expected) << line;
    }
    EXPECT_EQ(Read("-log /mark -mac m /del", SlashPaths::No), "log=/mark;mac=m;mark;del;");
}

TEST(CommandLine, IgnoresPlainWordsBeyondTheLimitButRefusesQuotedOnes) {
    const Parsed full = Parse(Words(24));
    EXPECT_TRUE(full.Settings.GenerateReports);
    EXPECT_EQ(full.Report.Note + full.Report.Fault, "");

    const Parsed over = Parse(Words(25) + " \"quoted after it\"");
    EXPECT_TRUE(over.Settings.DetectAndMark);
    EXPECT_FALSE(over.Settings.GenerateReports);
    EXPECT_EQ(over.Report.Note,
              "The command line holds more than 25 words; those after word 25 are ignored.");
    EXPECT_EQ(over.Report.Fault, "");

    for (const char* last : {" \"-grep\"", "\"x"}) {
        const Parsed refused = Parse(Words(24) + last);
        EXPECT_EQ(refused.Settings.Machine, "m");
        EXPECT_TRUE(refused.State.CommandLineMode);
        EXPECT_TRUE(Contains(refused.Report.Fault, "more than 25 words"));
    }
    EXPECT_TRUE(Parse(std::string(52, '"')).State.CommandLineMode) << "no window for a fault";
}

TEST(CommandLine, ParsesComposedArgumentsAsTheyWere) {
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
