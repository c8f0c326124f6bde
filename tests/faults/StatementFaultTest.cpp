// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include "RunOnSite.h"
#include "base/Platform.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

struct Way {
    const char* Name;
    bool LinkedServer;
    bool AtomicDeletion;
    bool Locked;    // by a run that crashed; otherwise the lock is free
    bool Attended;  // the next run is in the same process and has its connection
};

constexpr std::array kWays{Way{"LinkedServerNormalDeletion", true, false, false, false},
                           Way{"RowsetAtomicDeletion", false, true, true, false},
                           Way{"AttendedRowsetNormalDeletion", false, false, false, true}};
constexpr std::array kFaultNames{"None",       "Refused",     "AnswerLost",
                                 "ServerLost", "OutOfMemory", "Killed"};

struct Case {
    Way TheWay;
    Fault TheFault;

    const char* FaultName() const { return kFaultNames.at(static_cast<std::size_t>(TheFault)); }
    std::string Name() const { return std::string(TheWay.Name) + FaultName(); }
};

void PrintTo(const Case& value, std::ostream* out) {
    *out << value.Name();
}

// A process that died, or whose server went away, does not run again.
std::vector<Case> Cases() {
    std::vector<Case> cases;
    for (const Way& way : kWays) {
        cases.insert(cases.end(), {{way, Fault::Refused}, {way, Fault::AnswerLost}});
        if (!way.Attended) {
            cases.insert(
                cases.end(),
                {{way, Fault::ServerLost}, {way, Fault::OutOfMemory}, {way, Fault::Killed}});
        }
    }
    return cases;
}

// Of the points that a sample keeps: what changes something is more worth while than a question.
constexpr std::size_t kSampleOfChanges = 4;
constexpr std::size_t kSampleOfQuestions = 23;

constexpr std::size_t kSales = 15;  // before any is archived

class DisturbedRun : public ::testing::TestWithParam<Case>, protected OnSite {
  protected:
    DisturbedRun();

    RunSettings SettingsOn(const Site& site) const {
        return site.EveryTask(TheWay.LinkedServer, TheWay.AtomicDeletion);
    }
    bool Lasts() const { return TheFault == Fault::ServerLost || TheFault == Fault::OutOfMemory; }
    bool IsDisturbedAt(std::size_t point) const;
    void DisturbAt(std::size_t point);
    void RunWithFault(const Site& site, std::size_t point, FaultPlan& plan, RunState& state) const;
    bool IsInTheLocksRelease(std::size_t point) const;
    void ExpectFailureIsTold(const FaultPoint& point, const RunOutcome& outcome,
                             const Site& site) const;
    RunOutcome RunAgain(const Site& site, FaultPlan& plan, RunState& state) const;
    void PrintCounts() const;

    const Way TheWay = GetParam().TheWay;
    const Fault TheFault = GetParam().TheFault;
    bool SawRowsInBothPlaces = false;
    std::map<std::string, int> PointsByStage;
    std::map<std::string, int> FaultsByStage;
};

DisturbedRun::DisturbedRun() {
    SqliteFile(Original.Warehouse())
        .Run(
            "CREATE TABLE dwm_multiuse(lock bit, user_name varchar(100));"
            "INSERT INTO dwm_multiuse VALUES(" +
            std::string(TheWay.Locked ? "1" : "0") + ",'" + CurrentUserName() + "')");
    RunUndisturbed(TheWay.LinkedServer, TheWay.AtomicDeletion, TheWay.Locked);
}

bool DisturbedRun::IsDisturbedAt(std::size_t point) const {
    const bool changes = Points[point].Changes;
    if (TheFault == Fault::AnswerLost && !changes) {
        return false;  // to lose the answer to a question is to have it refused
    }
    // Each kind of fault begins elsewhere, so that together they miss less.
    const std::size_t shifted = point + static_cast<std::size_t>(TheFault);
    return EveryFaultIsWanted() || shifted % (changes ? kSampleOfChanges : kSampleOfQuestions) == 0;
}

void DisturbedRun::RunWithFault(const Site& site, std::size_t point, FaultPlan& plan,
                                RunState& state) const {
    if (TheFault == Fault::Killed) {
        const RunOutcome outcome = RunInChild(site, SettingsOn(site), plan, 0, TheWay.Locked);
        EXPECT_TRUE(outcome.Died);
        EXPECT_EQ(outcome.Status, "running");
        return;
    }
    const RunOutcome outcome = RunOnSite(site, SettingsOn(site), plan, 0, TheWay.Locked, &state);
    EXPECT_TRUE(plan.Happened());
    if (!Lasts() && IsInTheLocksRelease(point)) {
        // It is tried once more on a new connection.
        EXPECT_TRUE(outcome.Result) << outcome.ErrorText;
        EXPECT_EQ(outcome.Status, "ok");
        EXPECT_FALSE(IsLocked(site));
        return;
    }
    ExpectFailureIsTold(Points[point], outcome, site);
}

bool DisturbedRun::IsInTheLocksRelease(std::size_t point) const {
    return std::all_of(Points.begin() + static_cast<std::ptrdiff_t>(point), Points.end(),
                       [](const FaultPoint& later) { return later.Stage == "lock"; });
}

void DisturbedRun::ExpectFailureIsTold(const FaultPoint& point, const RunOutcome& outcome,
                                       const Site& site) const {
    EXPECT_TRUE(Contains(outcome.Log, "Morvane Tool stopped On"));
    // When the table of the lock was made but nobody said so, it looks like somebody else's.
    if (outcome.Log.find("Nobody could be asked") != std::string::npos) {
        EXPECT_EQ(point.Statement, "COMMIT");
        EXPECT_EQ(point.Stage, "lock");
        EXPECT_TRUE(IsLocked(site));
        return;
    }
    EXPECT_FALSE(outcome.Result);
    EXPECT_EQ(outcome.Status, "failure");
    const std::string_view told = FaultText(TheFault);
    EXPECT_TRUE(Contains(outcome.ErrorText, told));
    EXPECT_TRUE(Contains(outcome.Log, told));
    if (!Lasts()) {
        EXPECT_EQ(outcome.ErrorText.find(told), outcome.ErrorText.rfind(told))
            << "told twice: " << outcome.ErrorText;
        EXPECT_TRUE(point.Stage == "lock" || !IsLocked(site)) << "the lock is not released";
    }
}

RunOutcome DisturbedRun::RunAgain(const Site& site, FaultPlan& plan, RunState& state) const {
    const bool asks = IsLocked(site) && !(TheWay.Attended && state.LockHeld);
    FaultPlan none;
    const RunOutcome outcome = TheWay.Attended
                                   ? RunOnSite(site, SettingsOn(site), plan, 1, true, &state)
                                   : RunOnSite(site, SettingsOn(site), none, 1, true);
    EXPECT_EQ(outcome.Asked, asks) << "a run asks when another one holds the lock, and only then";
    return outcome;
}

void DisturbedRun::DisturbAt(std::size_t point) {
    const TempFolder folder;
    const Site site(folder / "site");
    site.CopyFrom(Original);
    FaultPlan plan(TheFault, point);
    RunState state;
    state.CommandLineMode = !TheWay.Attended;
    RunWithFault(site, point, plan, state);
    const Contents disturbed = ReadContents(site);
    EXPECT_EQ(Judge->FindDamage(disturbed), Oracle::Findings());
    const auto archived = disturbed.Archive.find("sales");
    SawRowsInBothPlaces = SawRowsInBothPlaces ||
                          (archived != disturbed.Archive.end() && !archived->second.Rows.empty() &&
                           disturbed.Warehouse.at("sales").Rows.size() == kSales);
    const RunOutcome next = RunAgain(site, plan, state);
    ExpectCompletion(site, next, disturbed);
}

// One line a task, for whoever adds them up.
void DisturbedRun::PrintCounts() const {
    for (const auto& [stage, points] : PointsByStage) {
        const auto faults = FaultsByStage.find(stage);
        std::cout << "counts: " << TheWay.Name << " " << GetParam().FaultName() << " " << stage
                  << " " << points << " " << (faults == FaultsByStage.end() ? 0 : faults->second)
                  << "\n";
    }
}

TEST_P(DisturbedRun, LosesNothingAndTheNextRunCompletesIt) {
    for (std::size_t point = 0; point < Points.size() && !HasFailure(); ++point) {
        SCOPED_TRACE("point " + std::to_string(point) + ", " + Points[point].Stage + ": " +
                     Points[point].Statement);
        ++PointsByStage[Points[point].Stage];
        if (IsDisturbedAt(point)) {
            ++FaultsByStage[Points[point].Stage];
            DisturbAt(point);
        }
    }
    for (const char* task : {"lock", "check", "archive", "mark", "reports", "delete"}) {
        EXPECT_GT(PointsByStage[task], 3) << "a task asks the server for more than that";
    }
    if (EveryFaultIsWanted()) {
        EXPECT_TRUE(SawRowsInBothPlaces) << "a fault fell between copy and delete";
    }
    PrintCounts();
}

INSTANTIATE_TEST_SUITE_P(Each, DisturbedRun, ::testing::ValuesIn(Cases()),
                         [](const auto& chosen) { return chosen.param.Name(); });

}  // namespace
}  // namespace morvane::testing
