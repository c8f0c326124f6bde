// SPDX-License-Identifier: Apache-2.0
#include "Site.h"

#include <signal.h>
#include <sys/wait.h>

#include <filesystem>

#include "base/Clock.h"
#include "base/modFileFunctions.h"
#include "support/Fork.h"
#include "support/RunFixture.h"
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

Site::Site(std::string folder) : folder_(std::move(folder)) {
    std::filesystem::create_directories(folder_ + "/warehouse");
    std::filesystem::create_directories(folder_ + "/archive");
}

void Site::Fill() const {
    Warehouse().Run(ReadWholeFile(MORVANE_SITE_SQL));
    Archive().Run("PRAGMA user_version = 1");
}

void Site::CopyFrom(const Site& other) const {
    std::filesystem::copy_file(other.Warehouse().Path(), Warehouse().Path());
    std::filesystem::copy_file(other.Archive().Path(), Archive().Path());
}

bool Site::IsLocked() const {
    return Warehouse().Text("SELECT name FROM sqlite_schema WHERE name = 'dwm_multiuse'") != "" &&
           Warehouse().Text("SELECT lock FROM dwm_multiuse") == "1";
}

RunOutcome Site::Run(const Way& way, FaultPlan& plan, RunState& state, bool later) const {
    const std::string logs = folder_ + "/logs";
    RunSettings settings = EveryTask("sqlite:" + folder_ + "/warehouse", logs);
    AddArchiving(settings, "sqlite:" + folder_ + "/archive", way.LinkedServer);
    settings.AtomicDeletion = way.AtomicDeletion;
    settings.StatusMode = true;
    settings.StatusFileName = folder_ + "/status.txt";
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
    outcome.Status = ReplaceAll(ReadIfThere(settings.StatusFileName), "\r\n", "");
    const std::string stamp = FileStamp(moment.Date, moment.TimeOfDay);
    outcome.Log = ReadIfThere(logs + "/Morvane_Log" + stamp + ".txt");
    for (const std::string name : {"Summary", "Detailed", "TableFilter"}) {
        outcome.Reports += ReadIfThere(logs + "/" + name + "Report" + stamp + ".html");
    }
    outcome.Reports = ReplaceAll(outcome.Reports, folder_, "SITE");
    return outcome;
}

}  // namespace morvane::testing
