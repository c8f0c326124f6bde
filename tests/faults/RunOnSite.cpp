// SPDX-License-Identifier: Apache-2.0
#include "RunOnSite.h"

#include <signal.h>
#include <sys/wait.h>

#include "base/Clock.h"
#include "base/modFileFunctions.h"
#include "support/Fork.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"

namespace morvane::testing {

namespace {

std::string ReadIfThere(const std::string& path) {
    return std::filesystem::exists(path) ? ReadWholeFile(path) : "";
}

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

RunOutcome RunOnSite(const Site& site, const RunSettings& settings, FaultPlan& plan,
                     const RunConditions& conditions) {
    RunState ownState;
    ownState.CommandLineMode = true;
    RunState& state = conditions.State == nullptr ? ownState : *conditions.State;
    TestServices world(InjectFaults(plan));
    LocalMoment& moment = world.Clock.Moment;
    moment.TimeOfDay += std::chrono::minutes(conditions.Later ? 1 : 0);
    if (conditions.MayBreakLock) {
        world.Prompt.Answers = {true};
    }
    plan.Stage = [&] { return StageOf(world.Progress); };
    RunOutcome outcome;
    if (conditions.InChildProcess) {
        Child child([&](Child&) { return RunTasks(settings, state, world.Services) ? 0 : 1; });
        const int status = child.Wait();
        outcome.Died = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        outcome.Result = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    } else {
        outcome.Result = RunTasks(settings, state, world.Services);
    }
    plan.Stage = nullptr;
    outcome.Asked = !world.Prompt.Asked.empty();
    outcome.ErrorText = state.ErrorText;
    outcome.Status = ReplaceAll(ReadIfThere(site.StatusFile()), "\r\n", "");
    const std::string stamp = FileStamp(moment.Date, moment.TimeOfDay);
    outcome.Log = ReadIfThere(site.Logs() + "/Morvane_Log" + stamp + ".txt");
    for (const std::string name : {"Summary", "Detailed", "TableFilter"}) {
        outcome.Reports += ReadIfThere(site.Logs() + "/" + name + "Report" + stamp + ".html");
    }
    outcome.Reports = ReplaceAll(outcome.Reports, site.WarehouseFolder(), "WAREHOUSE");
    return outcome;
}

void OnSite::RunUndisturbed(bool linkedServer, bool atomicDeletion, bool mayBreakLock) {
    Cleaned.CopyFrom(Original);
    FaultPlan plan;
    Undisturbed = RunOnSite(Cleaned, Cleaned.EveryTask(linkedServer, atomicDeletion), plan,
                            {.Later = true, .MayBreakLock = mayBreakLock});
    EXPECT_TRUE(Undisturbed.Result) << Undisturbed.ErrorText;
    Points = plan.Points;
    Judge = std::make_unique<Oracle>(ReadContents(Original), ReadContents(Cleaned));
}

void OnSite::ExpectCompletion(const Site& site, const RunOutcome& outcome,
                              const Contents& disturbed) const {
    EXPECT_TRUE(outcome.Result) << outcome.ErrorText;
    EXPECT_EQ(outcome.Status, "ok");
    if (Judge->NothingIsDeleted(disturbed)) {
        EXPECT_EQ(outcome.Reports, Undisturbed.Reports);
    }
    const Contents now = ReadContents(site);
    EXPECT_EQ(Judge->FindDamage(now), Oracle::Findings());
    EXPECT_EQ(Judge->FindDifferences(disturbed, now), Oracle::Findings());
}

bool IsLocked(const Site& site) {
    const SqliteFile warehouse(site.Warehouse());
    return warehouse.Text("SELECT name FROM sqlite_schema WHERE name = 'dwm_multiuse'") != "" &&
           warehouse.Text("SELECT lock FROM dwm_multiuse") == "1";
}

}  // namespace morvane::testing
