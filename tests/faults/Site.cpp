// SPDX-License-Identifier: Apache-2.0
#include "Site.h"

#include <signal.h>
#include <sys/wait.h>

#include <filesystem>

#include "base/Clock.h"
#include "base/Text.h"
#include "db/ConnectionFactory.h"
#include "inspect/Verify.h"
#include "support/Fork.h"
#include "support/Texts.h"

namespace morvane::testing {

namespace {

// The running task, or "lock" before and after the tasks.
std::string StageOf(const RecordingProgress& progress) {
    static const std::vector<std::string> kTasks{"check", "archive", "mark", "reports", "delete"};
    for (auto line = progress.Log.rbegin(); line != progress.Log.rend(); ++line) {
        if (line->starts_with("run ")) {
            return kTasks.at(std::stoul(line->substr(4)));
        }
        if (line->starts_with("done ")) {
            break;
        }
    }
    return "lock";
}

}  // namespace

void Site::CopyFrom(const Site& other) const {
    constexpr auto kOverwrite = std::filesystem::copy_options::overwrite_existing;
    std::filesystem::copy_file(other.Warehouse.File(), Warehouse.File(), kOverwrite);
    std::filesystem::copy_file(other.Archive.Path(), Archive.Path(), kOverwrite);
}

bool Site::IsLocked() const {
    return Warehouse.Text("SELECT name FROM sqlite_schema WHERE name = 'dwm_multiuse'") != "" &&
           Warehouse.Text("SELECT lock FROM dwm_multiuse") == "1";
}

std::vector<std::string> Site::Findings() const {
    const auto open = [](const std::string& server, const std::string& database) {
        auto connection = CreateConnection(server);
        connection->SetProperty("Data Source", server);
        connection->SetProperty("Mode", "Read");
        connection->Open();
        connection->SetDefaultDatabase(database);
        return connection;
    };
    const std::string archive = "sqlite:" + ArchiveFolder.Path();
    const auto warehouse = open(Warehouse.Server(), Warehouse.Database());
    const Verdict verdict =
        Verify(*warehouse,
               {.ListKeys = false,
                .Archive = {{archive, false, "u", "p"}, "hist"},
                .OpenArchive = [&](const ArchiveSettings&) { return open(archive, "hist"); }},
               [](const std::string&) {});
    EXPECT_EQ(Join(verdict.NotChecked, "\n"), "");
    std::vector<std::string> findings;
    for (const Finding& finding : verdict.Findings) {
        findings.push_back(finding.Check + " " + finding.Table + " " +
                           std::to_string(finding.Count));
    }
    return findings;
}

RunOutcome Site::Run(const Way& way, FaultPlan& plan, RunState& state, bool later) const {
    RunSettings settings = Settings;
    AddArchiving(settings, "sqlite:" + ArchiveFolder.Path(), way.LinkedServer);
    settings.AtomicDeletion = way.AtomicDeletion;
    TestServices world(InjectFaults(plan));
    LocalMoment& moment = world.Clock.Moment;
    moment.TimeOfDay += std::chrono::minutes(later ? 1 : 0);
    if (later || way.Locked) {
        world.Prompt.Answers = {true};
    }
    state.CommandLineMode = !way.Attended;
    plan.Stage = [&] { return StageOf(world.Progress); };
    RunOutcome outcome;
    if (plan.Kills()) {
        Child child([&](Child&) { return RunTasks(settings, state, world.Services) ? 0 : 1; });
        const int status = child.Wait();
        outcome.Died = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    } else {
        outcome.Result = RunTasks(settings, state, world.Services);
    }
    plan.Stage = nullptr;
    outcome.Asked = !world.Prompt.Asked.empty();
    outcome.ErrorText = state.ErrorText;
    outcome.Status = ReplaceAll(Status(), "\r\n", "");
    const std::string stamp = FileStamp(moment.Date, moment.TimeOfDay);
    outcome.Log = Output("Morvane_Log" + stamp + ".txt");
    for (const std::string name : {"Summary", "Detailed", "TableFilter"}) {
        outcome.Reports += Output(name + "Report" + stamp + ".html");
    }
    return outcome;
}

}  // namespace morvane::testing
