// SPDX-License-Identifier: Apache-2.0
#include "RunOnSite.h"

#include <signal.h>
#include <sys/wait.h>

#include <cstdlib>

#include "base/Clock.h"
#include "base/modFileFunctions.h"
#include "support/Fork.h"
#include "support/Golden.h"
#include "support/SqliteFile.h"

namespace morvane::testing {

namespace {

constexpr const char* kReportEnd = "</HTML>\r\n";

std::string ReadIfThere(const std::string& path) {
    return std::filesystem::exists(path) ? ReadWholeFile(path) : "";
}

// The task that is under way, by its caption's place in the list.
std::string StageOf(const RecordingProgress& progress) {
    static const std::vector<std::string> kTasks{"check", "archive", "mark", "reports", "delete"};
    for (auto line = progress.Log.rbegin(); line != progress.Log.rend(); ++line) {
        if (line->rfind("run ", 0) == 0) {
            return kTasks.at(std::stoul(line->substr(4)));
        }
        if (line->rfind("done ", 0) == 0) {
            break;
        }
    }
    return "lock";
}

LocalMoment MomentOf(int minutes) {
    LocalMoment moment = FixedClock().Moment;
    moment.TimeOfDay += std::chrono::minutes(minutes);
    return moment;
}

std::string ReadLog(const Site& site, const LocalMoment& start) {
    return ReadIfThere(site.Logs() + "/Morvane_Log" + FileStamp(start.Date, start.TimeOfDay) +
                       ".txt");
}

std::string ReadReports(const Site& site, const LocalMoment& start) {
    const std::string stamp = FileStamp(start.Date, start.TimeOfDay);
    std::string all;
    for (const std::string name : {"Summary", "Detailed", "TableFilter"}) {
        all += ReadIfThere(site.Logs() + "/" + name + "Report" + stamp + ".html");
    }
    all = ReplaceAll(ReplaceAll(all, stamp, "STAMP"), LocaleTime(start.TimeOfDay), "TIME");
    all = ReplaceAll(all, LongDate(start.Date), "DATE");
    return ReplaceAll(all, site.WarehouseFolder(), "WAREHOUSE");
}

// Whether every one of the three reports is there and has its end.
::testing::AssertionResult ReportsAreWhole(const std::string& reports) {
    std::size_t ends = 0;
    for (std::size_t at = reports.find(kReportEnd); at != std::string::npos;
         at = reports.find(kReportEnd, at + 1)) {
        ++ends;
    }
    return ::testing::AssertionResult(ends == 3) << ends << " of three reports are whole";
}

void ReadFiles(const Site& site, const LocalMoment& start, RunOutcome& outcome) {
    outcome.Status = ReplaceAll(ReadIfThere(site.StatusFile()), "\r\n", "");
    outcome.Log = ReadLog(site, start);
    outcome.Reports = ReadReports(site, start);
}

}  // namespace

bool EveryFaultIsWanted() {
    const char* wish = std::getenv("MORVANE_FAULTS");
    return wish != nullptr && std::string_view(wish) == "all";
}

RunOutcome RunOnSite(const Site& site, const RunSettings& settings, FaultPlan& plan, int minutes,
                     bool told, RunState* lent) {
    RunState ownState;
    ownState.CommandLineMode = true;
    RunState& state = lent == nullptr ? ownState : *lent;
    TestServices world(InjectFaults(plan));
    world.Clock.Moment = MomentOf(minutes);
    if (told) {
        world.Prompt.Answers = {true};
    }
    plan.Stage = [&] { return StageOf(world.Progress); };
    RunOutcome outcome;
    outcome.Result = RunTasks(settings, state, world.Services);
    outcome.Asked = !world.Prompt.Asked.empty();
    outcome.ErrorText = state.ErrorText;
    ReadFiles(site, world.Clock.Moment, outcome);
    plan.Stage = nullptr;
    return outcome;
}

RunOutcome RunInChild(const Site& site, const RunSettings& settings, FaultPlan& plan, int minutes,
                      bool told) {
    Child child(
        [&](Child&) { return RunOnSite(site, settings, plan, minutes, told).Result ? 0 : 1; });
    const int status = child.Wait();
    RunOutcome outcome;
    outcome.Died = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    outcome.Result = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    ReadFiles(site, MomentOf(minutes), outcome);
    return outcome;
}

void OnSite::RunUndisturbed(bool linkedServer, bool atomicDeletion, bool told) {
    Cleaned.CopyFrom(Original);
    FaultPlan plan;
    Undisturbed =
        RunOnSite(Cleaned, Cleaned.EveryTask(linkedServer, atomicDeletion), plan, 0, told);
    EXPECT_TRUE(Undisturbed.Result) << Undisturbed.ErrorText;
    Points = plan.Points;
    Judge = std::make_unique<Oracle>(ReadContents(Original), ReadContents(Cleaned));
}

void OnSite::ExpectCompletion(const Site& site, const RunOutcome& outcome,
                              const Contents& disturbed) const {
    EXPECT_TRUE(outcome.Result) << outcome.ErrorText;
    EXPECT_EQ(outcome.Status, "ok");
    EXPECT_TRUE(ReportsAreWhole(outcome.Reports));
    if (Judge->NothingIsDeleted(disturbed)) {
        EXPECT_TRUE(outcome.Reports == Undisturbed.Reports) << outcome.Reports;
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
