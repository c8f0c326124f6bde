#include <cstdlib>
#include <iostream>

#include "Oracle.h"
#include "RunOnSite.h"
#include "core/Platform.h"
#include "support/SqliteFile.h"

namespace morvane::testing {
namespace {

struct Way {
    const char* Name;
    bool LinkedServer;
    bool AtomicDeletion;
    bool Locked;  // by a run that crashed; otherwise the lock is free
};

struct Kind {
    const char* Name;
    Fault What;
};

constexpr std::array kWays{Way{"LinkedServerNormalDeletion", true, false, false},
                           Way{"RowsetAtomicDeletion", false, true, true}};
constexpr std::array kKinds{Kind{"Refused", Fault::Refused}, Kind{"AnswerLost", Fault::AnswerLost},
                            Kind{"ServerLost", Fault::ServerLost}, Kind{"Killed", Fault::Killed}};

// MORVANE_FAULTS=all disturbs a run at every point that it passes. Otherwise a sample of the points
// is enough, since each is a run or two: what changes something, and of the rest every so many.
bool Everywhere() {
    const char* wish = std::getenv("MORVANE_FAULTS");
    return wish != nullptr && std::string(wish) == "all";
}
constexpr std::size_t kSampleOfChanges = 4;
constexpr std::size_t kSampleOfQuestions = 23;

class DisturbedRun : public ::testing::TestWithParam<std::tuple<Way, Kind>> {
  protected:
    DisturbedRun();

    RunSettings SettingsOn(const Site& site) const {
        return site.EveryTask(TheWay.LinkedServer, TheWay.AtomicDeletion);
    }
    bool IsDisturbedAt(std::size_t point) const;
    void DisturbAt(std::size_t point);
    RunOutcome RunWithFault(const Site& site, std::size_t point) const;
    void ExpectFailureIsTold(const FaultPoint& point, const RunOutcome& outcome,
                             const Site& site) const;
    void CompleteAndCompare(const Site& site, const Contents& disturbed);
    void PrintCounts() const;

    const Way TheWay = std::get<0>(GetParam());
    const Fault TheFault = std::get<1>(GetParam()).What;
    TempFolder Folder{TempFolder::Place::InMemory};
    Site Original{Folder / "original"};
    std::vector<FaultPoint> Points;
    Contents Before;
    std::unique_ptr<Oracle> Judge;
    std::string UndisturbedReports;
    bool SawRowsInBothPlaces = false;
    std::map<std::string, int> PointsByStage;
    std::map<std::string, int> FaultsByStage;
};

DisturbedRun::DisturbedRun() {
    Original.Fill();
    SqliteFile(Original.Warehouse())
        .Run(
            "CREATE TABLE dwm_multiuse(lock bit, user_name varchar(100));"
            "INSERT INTO dwm_multiuse VALUES(" +
            std::string(TheWay.Locked ? "1" : "0") + ",'" + CurrentUserName() + "')");
    const TempFolder folder(TempFolder::Place::InMemory);
    const Site site(folder / "undisturbed");
    site.CopyFrom(Original);
    FaultPlan plan;
    const RunOutcome outcome = RunOnSite(site, SettingsOn(site), plan, 0, TheWay.Locked);
    EXPECT_TRUE(outcome.Result) << outcome.ErrorText;
    Points = plan.Points;
    Before = ReadContents(Original);
    Judge = std::make_unique<Oracle>(Before, ReadContents(site));
    UndisturbedReports = outcome.Reports;
}

bool DisturbedRun::IsDisturbedAt(std::size_t point) const {
    const bool changes = Points[point].Changes;
    if (TheFault == Fault::AnswerLost && !changes) {
        return false;  // to lose the answer to a question is to have it refused
    }
    // Each kind of fault begins elsewhere, so that together they miss less.
    const std::size_t shifted = point + static_cast<std::size_t>(TheFault);
    return Everywhere() || shifted % (changes ? kSampleOfChanges : kSampleOfQuestions) == 0;
}

RunOutcome DisturbedRun::RunWithFault(const Site& site, std::size_t point) const {
    FaultPlan plan(TheFault, point);
    if (TheFault == Fault::Killed) {
        RunOutcome outcome = RunInChild(site, SettingsOn(site), plan, 0, TheWay.Locked);
        EXPECT_TRUE(outcome.Died);
        EXPECT_EQ(outcome.Status, "running");
        return outcome;
    }
    RunOutcome outcome = RunOnSite(site, SettingsOn(site), plan, 0, TheWay.Locked);
    EXPECT_TRUE(plan.Happened());
    ExpectFailureIsTold(Points[point], outcome, site);
    return outcome;
}

void DisturbedRun::ExpectFailureIsTold(const FaultPoint& point, const RunOutcome& outcome,
                                       const Site& site) const {
    EXPECT_NE(outcome.Log.find("Morvane Tool stopped On"), std::string::npos) << outcome.Log;
    // When the table of the lock was made but nobody said so, it looks like somebody else's.
    if (outcome.Log.find("Nobody could be asked") != std::string::npos) {
        EXPECT_EQ(point.Statement, "COMMIT");
        EXPECT_EQ(point.Stage, "lock");
        EXPECT_TRUE(IsLocked(site));
        return;
    }
    EXPECT_FALSE(outcome.Result);
    EXPECT_EQ(outcome.Status, "failure");
    const std::size_t told = outcome.ErrorText.find(kFaultText);
    EXPECT_NE(told, std::string::npos) << outcome.ErrorText;
    EXPECT_NE(outcome.Log.find(kFaultText), std::string::npos) << outcome.Log;
    if (TheFault != Fault::ServerLost) {
        EXPECT_EQ(outcome.ErrorText.find(kFaultText, told + 1), std::string::npos)
            << "told twice: " << outcome.ErrorText;
        EXPECT_TRUE(point.Stage == "lock" || !IsLocked(site)) << "the lock is not released";
    }
}

void DisturbedRun::CompleteAndCompare(const Site& site, const Contents& disturbed) {
    const bool locked = IsLocked(site);
    FaultPlan none;
    const RunOutcome outcome = RunOnSite(site, SettingsOn(site), none, 1, true);
    EXPECT_TRUE(outcome.Result) << outcome.ErrorText;
    EXPECT_EQ(outcome.Status, "ok");
    EXPECT_EQ(outcome.Asked, locked) << "a run asks when the lock is set, and only then";
    EXPECT_TRUE(ReportsAreWhole(outcome.Reports));
    if (Judge->NothingIsDeleted(disturbed)) {
        EXPECT_TRUE(outcome.Reports == UndisturbedReports) << outcome.Reports;
    }
    const Contents now = ReadContents(site);
    EXPECT_EQ(Judge->FindDamage(now), Oracle::Findings());
    EXPECT_EQ(Judge->FindDifferences(disturbed, now), Oracle::Findings());
}

void DisturbedRun::DisturbAt(std::size_t point) {
    const TempFolder folder(TempFolder::Place::InMemory);
    const Site site(folder / "site");
    site.CopyFrom(Original);
    RunWithFault(site, point);
    const Contents disturbed = ReadContents(site);
    EXPECT_EQ(Judge->FindDamage(disturbed), Oracle::Findings());
    const auto archived = disturbed.Archive.find("sales");
    SawRowsInBothPlaces =
        SawRowsInBothPlaces ||
        (archived != disturbed.Archive.end() && !archived->second.Rows.empty() &&
         disturbed.Warehouse.at("sales").Rows.size() == Before.Warehouse.at("sales").Rows.size());
    CompleteAndCompare(site, disturbed);
}

// One line a task, for whoever adds them up.
void DisturbedRun::PrintCounts() const {
    for (const auto& [stage, points] : PointsByStage) {
        const auto faults = FaultsByStage.find(stage);
        std::cout << "counts: " << TheWay.Name << " " << std::get<1>(GetParam()).Name << " "
                  << stage << " " << points << " "
                  << (faults == FaultsByStage.end() ? 0 : faults->second) << "\n";
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
    if (Everywhere()) {
        EXPECT_TRUE(SawRowsInBothPlaces) << "a fault fell between copy and delete";
    }
    PrintCounts();
}

INSTANTIATE_TEST_SUITE_P(
    Each, DisturbedRun, ::testing::Combine(::testing::ValuesIn(kWays), ::testing::ValuesIn(kKinds)),
    [](const auto& chosen) {
        return std::string(std::get<0>(chosen.param).Name) + std::get<1>(chosen.param).Name;
    });

}  // namespace
}  // namespace morvane::testing
