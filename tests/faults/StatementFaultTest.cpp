// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <iostream>

#include "RunOnSite.h"
#include "base/Platform.h"
#include "base/Text.h"
#include "support/FileSizeLimit.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

// MORVANE_FAULTS=all injects faults at every point. By default the tests use a sample, since each
// point takes two runs.
bool EveryFaultIsWanted() {
    const char* wish = std::getenv("MORVANE_FAULTS");
    return wish != nullptr && std::string_view(wish) == "all";
}

struct Way {
    const char* Name;
    bool LinkedServer;
    bool AtomicDeletion;
    bool Locked;    // by a crashed run; otherwise the lock is free
    bool Attended;  // the next run happens in the same process, with its connection
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

// A process that was killed or lost its server does not run again.
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

// A sample uses every 4th point that changes something and every 23rd of the others.
constexpr std::size_t kSampleOfChanges = 4;
constexpr std::size_t kSampleOfQuestions = 23;

constexpr std::size_t kSales = 15;  // before any is archived

class DisturbedRun : public OnSite, public ::testing::WithParamInterface<Case> {
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
    void ExpectFailureIsReported(const FaultPoint& point, const RunOutcome& outcome,
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
        return false;  // losing the answer to a query is the same as refusing it
    }
    // Each kind of fault starts at another point, so that together they cover more.
    const std::size_t shifted = point + static_cast<std::size_t>(TheFault);
    return EveryFaultIsWanted() || shifted % (changes ? kSampleOfChanges : kSampleOfQuestions) == 0;
}

void DisturbedRun::RunWithFault(const Site& site, std::size_t point, FaultPlan& plan,
                                RunState& state) const {
    if (TheFault == Fault::Killed) {
        const RunOutcome outcome = RunOnSite(
            site, SettingsOn(site), plan, {.MayBreakLock = TheWay.Locked, .InChildProcess = true});
        EXPECT_TRUE(outcome.Died);
        EXPECT_EQ(outcome.Status, "running");
        return;
    }
    const RunOutcome outcome =
        RunOnSite(site, SettingsOn(site), plan, {.MayBreakLock = TheWay.Locked, .State = &state});
    EXPECT_TRUE(plan.Happened());
    if (!Lasts() && IsInTheLocksRelease(point)) {
        // The release is repeated on a new connection.
        EXPECT_TRUE(outcome.Result) << outcome.ErrorText;
        EXPECT_EQ(outcome.Status, "ok");
        EXPECT_FALSE(IsLocked(site));
        return;
    }
    ExpectFailureIsReported(Points[point], outcome, site);
}

bool DisturbedRun::IsInTheLocksRelease(std::size_t point) const {
    return std::all_of(Points.begin() + static_cast<std::ptrdiff_t>(point), Points.end(),
                       [](const FaultPoint& later) { return later.Stage == "lock"; });
}

void DisturbedRun::ExpectFailureIsReported(const FaultPoint& point, const RunOutcome& outcome,
                                           const Site& site) const {
    EXPECT_TRUE(Contains(outcome.Log, "Morvane Tool stopped On"));
    // If creating the lock's table succeeds but its answer is lost, the lock looks like another's.
    if (outcome.Log.find("Nobody could be asked") != std::string::npos) {
        EXPECT_EQ(point.Statement, "COMMIT");
        EXPECT_EQ(point.Stage, "lock");
        EXPECT_TRUE(IsLocked(site));
        return;
    }
    EXPECT_FALSE(outcome.Result);
    EXPECT_EQ(outcome.Status, "failure");
    const std::string_view reported = FaultText(TheFault);
    EXPECT_TRUE(Contains(outcome.ErrorText, reported));
    EXPECT_TRUE(Contains(outcome.Log, reported));
    if (!Lasts()) {
        EXPECT_EQ(outcome.ErrorText.find(reported), outcome.ErrorText.rfind(reported))
            << "reported twice: " << outcome.ErrorText;
        EXPECT_TRUE(point.Stage == "lock" || !IsLocked(site)) << "the lock is not released";
    }
}

RunOutcome DisturbedRun::RunAgain(const Site& site, FaultPlan& plan, RunState& state) const {
    const bool asks = IsLocked(site) && !(TheWay.Attended && state.LockHeld);
    FaultPlan none;
    const RunOutcome outcome = RunOnSite(
        site, SettingsOn(site), TheWay.Attended ? plan : none,
        {.Later = true, .MayBreakLock = true, .State = TheWay.Attended ? &state : nullptr});
    EXPECT_EQ(outcome.Asked, asks) << "a run asks only if another one holds the lock";
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
    SawRowsInBothPlaces = SawRowsInBothPlaces || (disturbed.Archive.contains("sales") &&
                                                  disturbed.Warehouse.at("sales").size() == kSales);
    const RunOutcome next = RunAgain(site, plan, state);
    ExpectCompletion(site, next, disturbed);
}

// One line per task, which scripts/faults.sh adds up.
void DisturbedRun::PrintCounts() const {
    for (const auto& [stage, points] : PointsByStage) {
        const auto faults = FaultsByStage.find(stage);
        std::cout << "counts: " << TheWay.Name << " " << GetParam().FaultName() << " " << stage
                  << " " << points << " " << (faults == FaultsByStage.end() ? 0 : faults->second)
                  << "\n";
    }
}

TEST_P(DisturbedRun, LosesNothingAndTheNextRunCompletes) {
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
        EXPECT_GT(PointsByStage[task], 3) << "every task sends statements";
    }
    if (EveryFaultIsWanted()) {
        EXPECT_TRUE(SawRowsInBothPlaces) << "a fault fell between copy and delete";
    }
    PrintCounts();
}

INSTANTIATE_TEST_SUITE_P(Each, DisturbedRun, ::testing::ValuesIn(Cases()),
                         [](const auto& chosen) { return chosen.param.Name(); });

// The table of the lock and the archived rows do not fit on the disk. The archive is made as large
// as the warehouse, so that the limit concerns both.
TEST_F(OnSite, AFullDiskLosesNothingAndTheNextRunCompletes) {
    constexpr std::uintmax_t kPage = 4096;
    SqliteFile(Original.Warehouse())
        .Run(
            "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 800)"
            " INSERT INTO shipments SELECT i, 31, 2, '2018-01-01 00:00:00' FROM n");
    const std::uintmax_t size = std::filesystem::file_size(Original.Warehouse());
    SqliteFile(Original.Archive())
        .Run("CREATE TABLE filler AS SELECT randomblob(" + std::to_string(size - 2 * kPage) +
             ") AS x, NULL AS date_of_archiving");
    RunUndisturbed(true, false);
    bool completed = false;
    std::uintmax_t pages = 0;
    for (; !completed && pages < 100 && !HasFailure(); ++pages) {
        SCOPED_TRACE(std::to_string(pages) + " more pages");
        const TempFolder folder;
        const Site site(folder / "site");
        site.CopyFrom(Original);
        FaultPlan none;
        {
            const FileSizeLimit limit(size + pages * kPage);
            const RunOutcome outcome = RunOnSite(site, site.EveryTask(true, false), none, {});
            completed = outcome.Result;
            EXPECT_EQ(outcome.Status, completed ? "ok" : "failure");
            EXPECT_TRUE(completed || Contains(outcome.Log, "disk I/O error"));
            EXPECT_TRUE(Contains(outcome.Log, "Morvane Tool stopped On"));
        }
        const Contents disturbed = ReadContents(site);
        EXPECT_EQ(Judge->FindDamage(disturbed), Oracle::Findings());
        const RunOutcome next = RunOnSite(site, site.EveryTask(true, false), none,
                                          {.Later = true, .MayBreakLock = true});
        ExpectCompletion(site, next, disturbed);
    }
    EXPECT_TRUE(completed);
    EXPECT_GT(pages, 4U) << "the run fails at several points";
}

// Damages the databases after a run.
TEST_F(OnSite, TheOracleFindsDamage) {
    RunUndisturbed(true, false);
    const auto damage = [&] { return Judge->FindDamage(ReadContents(Cleaned)); };
    const Contents result = ReadContents(Cleaned);
    EXPECT_EQ(Judge->FindDamage(ReadContents(Original)), Oracle::Findings());
    EXPECT_EQ(damage(), Oracle::Findings());
    EXPECT_EQ(Judge->FindDifferences(ReadContents(Original), result), Oracle::Findings());
    const struct {
        std::string File;
        const char* Sql;
        const char* Finding;
    } cases[] = {
        {Cleaned.Warehouse(), "DELETE FROM sales WHERE sale_id = 102", "A row of sales is lost:"},
        {Cleaned.Archive(),
         "DELETE FROM shipments WHERE rowid = (SELECT min(rowid) FROM shipments WHERE product_id ="
         " 3)",  // one of two equal rows
         "A row of shipments is lost:"},
        {Cleaned.Warehouse(), "INSERT INTO stock VALUES('west',9,9)", "stock came from nowhere"},
        {Cleaned.Archive(),
         "INSERT INTO sales SELECT 1, 1, 'north', 1, 12, 2, '2021-06-30 12:30:00',"
         " max(date_of_archiving) FROM sales",
         "A row of sales is archived differently:"},
        {Cleaned.Archive(), "ALTER TABLE shipments ADD x int", "has the table shipments as"},
        {Cleaned.Warehouse(), "DELETE FROM brand WHERE brand_id = 3", "brand is half changed"},
        {Cleaned.Warehouse(), "UPDATE contract SET end_date = '2018' WHERE contract_key = 11",
         "contract is half changed"},
        {Cleaned.Warehouse(), "UPDATE dwm_tables SET is_selected = 0", "dwm_tables is half"},
    };
    for (const auto& [file, sql, finding] : cases) {
        SqliteFile(file).Run(sql);
        EXPECT_TRUE(Contains(Join(damage(), "\n"), finding)) << sql;
    }
    EXPECT_GT(Judge->FindDifferences(result, ReadContents(Cleaned)).size(), 8U);
}

}  // namespace
}  // namespace morvane::testing
