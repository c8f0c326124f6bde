// SPDX-License-Identifier: Apache-2.0
#include "nightly/Nightly.h"

#include "nightly/OldFiles.h"
#include "nightly/TomlFile.h"
#include "support/ErrorOf.h"

namespace morvane::testing {

namespace {

using namespace std::chrono_literals;
using Words = std::vector<std::string>;

constexpr LocalMoment kNow{std::chrono::year(2024) / 3 / 5, 14h + 7min + 9s};

std::string Section(const std::string& keys) {
    return "[a]\nserver = \"h\"\ndatabase = \"d\"\nlog = \"l\"\ntasks = [\"mark\"]\n" + keys;
}

}  // namespace

TEST(Nightly, TheOneLineFileIsSplitIntoWordsAndItsCommentsAreSkipped) {
    const std::map<std::string, Words> cases{
        {"", {}},
        {" -a\tb\r\n-c", {"-a", "b", "-c"}},
        {"# -del is off\n  # neither\n-a # -b", {"-a", "#", "-b"}},
        {"-p \" $x  'q' #\" \"\"", {"-p", " $x  'q' #", ""}},
        {"a\"b c\"d \"open", {"a", "b c", "d", "open"}},
        {"-p \"a\n#b\"", {"-p", "a #b"}},
    };
    for (const auto& [content, words] : cases) {
        EXPECT_EQ(SplitConfigFile(content), words) << content;
    }
}

TEST(Nightly, PasswordsLeaveTheWordsAndValuesThatLookLikeOptionsAreRefused) {
    const MorvaneWords read =
        ReadWords({"-usr", "u", "-PWD", "p", "/bkpwd", "b", "-log", "/del", "-del", "stray"},
                  SlashPaths::Yes);
    EXPECT_EQ(read.Others, (Words{"-usr", "u", "-log", "/del", "-del", "stray"}));
    EXPECT_EQ(read.Settings.Password + read.Settings.ArchivePassword, "pb");
    EXPECT_EQ(WithoutDeletion({"-log", "/del", "-DEL", "-datom", "-mark"}),
              (Words{"-log", "/del", "-mark"}));
    EXPECT_EQ(DeletionAlone({"-chkmd", "-log", "-mark", "/mark", "/del", "-datom"}),
              (Words{"-log", "-mark", "/del", "-datom"}));

    EXPECT_EQ(ErrorOf([] { ReadWords({"-log"}); }), "-log: it needs a value");
    EXPECT_EQ(ErrorOf([] {
                  ReadWords({"-log", "-del"});
              }),
              "-log: morvane would read the value \"-del\" as an option");
    EXPECT_NE(WhyNoValue("/var/log", SlashPaths::No), "");
    EXPECT_EQ(WhyNoValue("/var/log", SlashPaths::Yes), "");
    EXPECT_NE(WhyNoValue("a\"b"), "");
    const std::string secret = ErrorOf([] { ReadWords({"-pwd", "-secret"}); });
    EXPECT_EQ(secret.find("secret"), std::string::npos) << secret;
}

TEST(Nightly, SectionsBecomeJobsInTheOrderOfTheFile) {
    const std::vector<Job> jobs = ReadTomlJobs(
        "# all keys\n[z]\nserver = \"h,1433\"\ndatabase = \"my db\"\nuser = \"u\"\n"
        "password_file = \"pw\"\narchive_server = \"g\"\narchive_database = \"old\"\n"
        "archive_windows_authentication = true\nwindows_authentication = false\n"
        "tasks = [\"archive\", \"delete\"]\natomic = true\nlog = \"logs\"\n"
        "status_file = \"s\"\nresult_file = \"r\"\nmax_delete = \"2.5%\"\n"
        "check_references = true\nuntil = \"05:00\"\nkeep = 30\non_result = \"mail\"\n"
        "metrics = \"m.prom\"\n" +
            Section("max_delete = 7"),
        "f");
    ASSERT_EQ(jobs.size(), 2U);
    const Job& job = jobs[0];
    Words words = job.Words;
    std::ranges::sort(words);
    EXPECT_EQ(words, (Words{"-bkdb", "-bkmac", "-bkntaut", "-clsf", "-datom", "-db", "-del", "-log",
                            "-mac", "-usr", "g", "h,1433", "logs", "my db", "old", "u"}));
    EXPECT_EQ(job.Name + job.PasswordFile + job.StatusFile + job.ResultFile, "zpwsr");
    EXPECT_TRUE(job.Options.MaxDelete->Allows(25, 1000));
    EXPECT_FALSE(job.Options.MaxDelete->Allows(26, 1000));
    EXPECT_TRUE(job.Options.CheckReferences);
    EXPECT_EQ(job.Options.Until, 5h);
    EXPECT_EQ(job.Options.KeepDays, 30);
    EXPECT_EQ(job.Options.OnResult + job.Options.MetricsFile, "mailm.prom");
    EXPECT_TRUE(jobs[1].Options.MaxDelete->Allows(7, 0));
    EXPECT_FALSE(jobs[1].Options.MaxDelete->Allows(8, 1000));
    const JobOptions both = Override(job.Options, jobs[1].Options);
    EXPECT_TRUE(both.MaxDelete->Allows(7, 7));
    EXPECT_EQ(both.Until, 5h);
}

TEST(Nightly, ErrorsInTheFileAreReportedWithLineAndColumn) {
    const std::map<std::string, std::string> cases{
        {"server = \"h\"", "f:1:1: server is outside of a section"},
        {"[a]\nlog = \"l\"", "f:1:2: [a] has no server"},
        {Section("sever = 1"), "f:6:1: unknown key sever"},
        {Section("max-delete = 1"), "f:6:1: unknown key max-delete"},
        {Section("[a.b]"), "f:6:4: unknown key b"},
        {Section("user = 1"), "f:6:8: user must be a string"},
        {Section("user = \" \""), "f:6:8: user is empty"},
        {Section("user = \"-u\""), "f:6:8: user: morvane would read the value \"-u\" as an option"},
        {Section("atomic = \"yes\""), "f:6:10: atomic must be true or false"},
        {Section("keep = 0"), "f:6:8: keep must be a positive number of days, not \"0\""},
        {Section("until = \"5:00\""),
         "f:6:9: until must be a time of day such as 05:00, not \"5:00\""},
        {Section("until = \"24:00\""),
         "f:6:9: until must be a time of day such as 05:00, not \"24:00\""},
        {Section("max_delete = \"-1\""),
         "f:6:14: max_delete must be a number of rows or a percentage such as 10%, not \"-1\""},
        {Section("max_delete = \"101%\""),
         "f:6:14: max_delete must be a number of rows or a percentage such as 10%, not \"101%\""},
        {"[a]\nserver = \"h\"\ndatabase = \"d\"\nlog = \"l\"\ntasks = [\"purge\"]",
         "f:5:10: unknown task purge; the tasks are check, archive, mark, report and delete"},
        {"[a]\nserver = \"h\"\ndatabase = \"d\"\nlog = \"l\"\ntasks = \"mark\"",
         "f:5:9: tasks must be a list of tasks"},
    };
    for (const auto& [content, message] : cases) {
        EXPECT_EQ(ErrorOf([&, toml = content] { ReadTomlJobs(toml, "f"); }), message) << content;
    }
    // The text of these messages is that of toml++.
    for (const std::string& content : {Section(Section("")), std::string("[a]\n\n\nx = = 1")}) {
        const std::string error = ErrorOf([&] { ReadTomlJobs(content, "f"); });
        EXPECT_TRUE(error.starts_with("f:6:") || error.starts_with("f:4:")) << error;
    }
}

TEST(Nightly, OptionsCanBeAnywhereAndInvalidCommandLinesAreRefused) {
    const NightlyCommand command = ParseNightlyCommand(
        {"--keep=3", "--config", "f", "a", "--max-delete", "5", "b", "--check-references"});
    EXPECT_EQ(command.Words, (Words{"a", "b"}));
    EXPECT_EQ(command.Options.KeepDays, 3);
    EXPECT_TRUE(command.Options.MaxDelete && command.Options.CheckReferences);
    EXPECT_EQ(ParseNightlyCommand({"c", "s", "-del"}).Words, (Words{"c", "s", "-del"}));
    const std::vector<Words> faulty{{},
                                    {"c"},
                                    {"-c", "s"},
                                    {"c", "s", "--all"},
                                    {"--config", "f"},
                                    {"--config", "f", "a", "--all"},
                                    {"--config", "f", "-del"},
                                    {"c", "s", "--purge"},
                                    {"c", "s", "--keep"},
                                    {"c", "s", "--keep=x"},
                                    {"c", "s", "--check-references=no"}};
    for (const Words& words : faulty) {
        EXPECT_THROW(ParseNightlyCommand(words), NotStarted) << Join(words, " ");
    }
}

TEST(Nightly, TimesAreLocalAndOldFilesAreRecognizedByTheirFullNames) {
    EXPECT_EQ(IsoDateTime(NextMoment(kNow, 14h + 7min + 10s)), "2024-03-05 14:07:10");
    EXPECT_EQ(IsoDateTime(NextMoment(kNow, 14h + 7min + 9s)), "2024-03-06 14:07:09");
    const std::map<std::string, bool> names{
        {"Morvane_Log05-03-202414-07-08.txt", true},
        {"SummaryReport29-02-202423-59-59.html", true},
        {"DetailedReport05-03-202314-07-10.html", true},
        {"TableFilterReport05-03-202400-00-00.html", true},
        {"Morvane_Log05-03-202414-07-09.txt", false},  // not older
        {"Morvane_Log30-02-202414-07-08.txt", false},  // no such day
        {"Morvane_Log05-03-202414-07-08.html", false},
        {"Morvane_Log5-03-202414-07-08.txt", false},
        {"my Morvane_Log05-03-202414-07-08.txt", false},
        {"Morvane_Log05-03-202414-07-08.txt.bak", false},
        {"MonthlyReport05-03-202414-07-08.html", false},
        {"05-03-202414-07-08.txt", false},
        {".txt", false},
    };
    for (const auto& [name, old] : names) {
        EXPECT_EQ(IsOldRunFile(name, OnScale(kNow)), old) << name;
    }
}

TEST(Nightly, TwoRunsMakeOneResultWhoseMetricsEscapeTheirLabels) {
    const auto result = [](const std::string& outcome, const std::string& tables) {
        return JsonObject::parse(R"({"start":")" + outcome + R"(","outcome":")" + outcome +
                                 R"(","tables":[)" + tables +
                                 R"(],"errors":[],"log":null,"reports":[")" + outcome + R"("]})");
    };
    JsonObject merged = Merge(
        result(
            "done",
            R"({"table":"a\"\\\n","archived":1,"marked":2,"deleted":null,"relinked":null,"seconds":1})"),
        result(
            "failed",
            R"({"table":"a\"\\\n","archived":null,"marked":3,"deleted":3,"relinked":0,"seconds":0.5},)"
            R"({"table":"b","archived":null,"marked":null,"deleted":9,"relinked":null,"seconds":2})"));
    EndWith(merged, "cancelled", {"why"});
    EXPECT_EQ(merged["tables"][0]["seconds"], 1.5);
    EXPECT_EQ(merged["errors"].size() + merged["reports"].size() + merged["tables"].size(), 5U);
    EXPECT_EQ(merged["start"], "done");
    const std::string text = MetricsText({{"w\"", 5, 1.5, merged}});
    const std::string expected = R"(morvane_success{warehouse="w\""} 0
morvane_end_timestamp_seconds{warehouse="w\""} 5
morvane_duration_seconds{warehouse="w\""} 1.5
morvane_archived_rows{warehouse="w\"",table="a\"\\\n"} 1
morvane_marked_rows{warehouse="w\"",table="a\"\\\n"} 3
morvane_deleted_rows{warehouse="w\"",table="a\"\\\n"} 3
morvane_deleted_rows{warehouse="w\"",table="b"} 9
morvane_relinked_rows{warehouse="w\"",table="a\"\\\n"} 0
)";
    std::string samples;
    for (const std::string& line : Split(text, '\n')) {
        samples += line.empty() || line.starts_with('#') ? "" : line + "\n";
    }
    EXPECT_EQ(samples, expected);
}

}  // namespace morvane::testing
