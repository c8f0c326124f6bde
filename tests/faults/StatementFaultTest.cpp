// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <iostream>
#include <memory>

#include "Oracle.h"
#include "base/Platform.h"
#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "support/FileSizeLimit.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

// MORVANE_FAULTS=all injects faults at every point. By default the tests use a sample, since each
// point takes two runs: every 4th point that changes something and every 23rd of the others, and
// still fewer under the sanitizers.
constexpr std::size_t kSampleOfChanges = 4 * MORVANE_TEST_THINNING;
constexpr std::size_t kSampleOfQuestions = 23 * MORVANE_TEST_THINNING;

bool EveryFaultIsWanted() {
    const char* wish = std::getenv("MORVANE_FAULTS");
    return wish != nullptr && std::string_view(wish) == "all";
}

constexpr std::size_t kSales = 15;  // before any is archived

constexpr std::array kWays{Way{"LinkedServerNormalDeletion", true, false, false, false},
                           Way{"RowsetAtomicDeletion", false, true, true, false},
                           Way{"AttendedRowsetNormalDeletion", false, false, false, true}};
constexpr std::array kFaultNames{"None",       "Refused",     "AnswerLost",
                                 "ServerLost", "OutOfMemory", "Killed"};

// Indexes of a way and a fault. Attended runs are only combined with faults that the process and
// its connection survive.
using Case = std::pair<std::size_t, std::size_t>;

std::vector<Case> Cases() {
    std::vector<Case> cases;
    for (std::size_t way = 0; way < kWays.size(); ++way) {
        for (std::size_t fault = 1; fault < (kWays[way].Attended ? 3 : kFaultNames.size());
             ++fault) {
            cases.emplace_back(way, fault);
        }
    }
    return cases;
}

// A site, its copy after an undisturbed run, and the oracle made of both.
class OnSite : public ::testing::Test {
  protected:
    OnSite() { Original.Warehouse.Run(ReadWholeFile(MORVANE_SITE_SQL)); }

    void RunUndisturbed(const Way& way) {
        Cleaned.CopyFrom(Original);
        FaultPlan plan;
        RunState state;
        Undisturbed = Cleaned.Run(way, plan, state, true);
        EXPECT_TRUE(Undisturbed.Result) << Undisturbed.ErrorText;
        Points = plan.Points;
        Judge = std::make_unique<Oracle>(ReadContents(Original), ReadContents(Cleaned));
        FindingsBefore = Original.Findings();
        FindingsAfter = Cleaned.Findings();
    }

    // Expects that a disturbed run did no damage and that `runAgain` does all that was left to do.
    void ExpectCompletion(const Site& site, const std::function<RunOutcome()>& runAgain) {
        const Contents disturbed = ReadContents(site);
        EXPECT_EQ(Judge->FindDamage(disturbed), Oracle::Findings());
        const bool inBothPlaces =
            disturbed.Archive.contains("sales") && disturbed.Warehouse.at("sales").size() == kSales;
        EXPECT_EQ(inBothPlaces, ExpectKnownFindings(site.Findings()));
        const RunOutcome outcome = runAgain();
        EXPECT_TRUE(outcome.Result) << outcome.ErrorText;
        EXPECT_EQ(outcome.Status, "ok");
        EXPECT_FALSE(site.IsLocked());
        if (Judge->NothingIsDeleted(disturbed)) {
            EXPECT_EQ(outcome.Reports, Undisturbed.Reports);
        }
        const Contents now = ReadContents(site);
        EXPECT_EQ(Judge->FindDamage(now), Oracle::Findings());
        EXPECT_EQ(Judge->FindDifferences(disturbed, now), Oracle::Findings());
        EXPECT_EQ(site.Findings(), FindingsAfter);
        SawRowsInBothPlaces |= inBothPlaces;
    }

    // Expects no findings but those before and after an undisturbed run, marks that are not
    // complete, rows in both places, and marked rows whose own elements are deleted already.
    // Returns whether rows of sales are in both places.
    bool ExpectKnownFindings(const std::vector<std::string>& findings) const {
        std::vector<std::string> known = FindingsBefore;
        known.insert(known.end(), FindingsAfter.begin(), FindingsAfter.end());
        bool inBothPlaces = false;
        for (const std::string& finding : findings) {
            inBothPlaces = inBothPlaces || finding.starts_with("in_archive sales ");
            const bool ofFacts = Contains(finding, " sales ") || Contains(finding, " shipments ") ||
                                 Contains(finding, " stock ");
            const bool passing = finding.starts_with("marked_in_use ") ||
                                 finding.starts_with("in_archive ") ||
                                 (finding.starts_with("orphans ") && !ofFacts);
            EXPECT_TRUE(passing || std::find(known.begin(), known.end(), finding) != known.end())
                << finding;
        }
        return inBothPlaces;
    }

    Site Original;
    Site Cleaned;
    RunOutcome Undisturbed;
    std::vector<FaultPoint> Points;
    std::unique_ptr<Oracle> Judge;
    // Of the program's own verification.
    std::vector<std::string> FindingsBefore;
    std::vector<std::string> FindingsAfter;
    bool SawRowsInBothPlaces = false;
};

class DisturbedRun : public OnSite, public ::testing::WithParamInterface<Case> {
  protected:
    DisturbedRun() {
        Original.Warehouse.MakeLock(TheWay.Locked, CurrentUserName());
        RunUndisturbed(TheWay);
    }

    bool Lasts() const { return TheFault == Fault::ServerLost || TheFault == Fault::OutOfMemory; }

    bool IsDisturbedAt(std::size_t point) const {
        const bool changes = Points[point].Changes;
        if (TheFault == Fault::AnswerLost && !changes) {
            return false;  // losing the answer to a query is the same as refusing it
        }
        // Each kind of fault starts at another point, so that together they cover more.
        const std::size_t shifted = point + static_cast<std::size_t>(TheFault);
        return EveryFaultIsWanted() ||
               shifted % (changes ? kSampleOfChanges : kSampleOfQuestions) == 0;
    }

    void DisturbAt(std::size_t point) {
        const Site site;
        site.CopyFrom(Original);
        FaultPlan plan(TheFault, point);
        RunState state;
        ExpectReport(point, site.Run(TheWay, plan, state, false), site);
        EXPECT_TRUE(plan.Kills() || plan.Happened());
        ExpectCompletion(site, [&] {
            const bool asks = site.IsLocked() && !(TheWay.Attended && state.LockHeld);
            FaultPlan none;
            RunState fresh;
            const RunOutcome next = TheWay.Attended ? site.Run(TheWay, plan, state, true)
                                                    : site.Run(TheWay, none, fresh, true);
            EXPECT_EQ(next.Asked, asks) << "a run asks only if another one holds the lock";
            return next;
        });
    }

    void ExpectReport(std::size_t point, const RunOutcome& outcome, const Site& site) const;

    const Way TheWay = kWays.at(GetParam().first);
    const Fault TheFault = static_cast<Fault>(GetParam().second);
};

// Expects that the run reported its fault and released the lock.
void DisturbedRun::ExpectReport(std::size_t point, const RunOutcome& outcome,
                                const Site& site) const {
    if (TheFault == Fault::Killed) {
        EXPECT_TRUE(outcome.Died);
        EXPECT_EQ(outcome.Status, "running");
        return;
    }
    EXPECT_TRUE(Contains(outcome.Log, "Morvane Tool stopped On"));
    const std::string& stage = Points[point].Stage;
    const bool isInRelease =
        std::all_of(Points.begin() + static_cast<std::ptrdiff_t>(point), Points.end(),
                    [](const FaultPoint& later) { return later.Stage == "lock"; });
    if (isInRelease && !Lasts()) {
        // The release is repeated on a new connection.
        EXPECT_TRUE(outcome.Result) << outcome.ErrorText;
        EXPECT_EQ(outcome.Status, "ok");
        EXPECT_FALSE(site.IsLocked());
        return;
    }
    // If creating the lock's table succeeds but its answer is lost, the lock looks like another's.
    if (outcome.Log.find("Nobody could be asked") != std::string::npos) {
        EXPECT_EQ(Points[point].Statement + " " + stage, "COMMIT lock");
        EXPECT_TRUE(site.IsLocked());
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
        EXPECT_TRUE(stage == "lock" || !site.IsLocked()) << "the lock is not released";
    }
}

TEST_P(DisturbedRun, LosesNothingAndTheNextRunCompletes) {
    std::map<std::string, std::array<int, 2>> counts;  // points and faults by stage
    for (std::size_t point = 0; point < Points.size() && !HasFailure(); ++point) {
        SCOPED_TRACE("point " + std::to_string(point) + ", " + Points[point].Stage + ": " +
                     Points[point].Statement);
        const bool disturbed = IsDisturbedAt(point);
        ++counts[Points[point].Stage][0];
        counts[Points[point].Stage][1] += disturbed ? 1 : 0;
        if (disturbed) {
            DisturbAt(point);
        }
    }
    EXPECT_TRUE(SawRowsInBothPlaces || !EveryFaultIsWanted())
        << "no fault fell between copy and delete";
    for (const char* stage : {"lock", "check", "archive", "mark", "reports", "delete"}) {
        const auto [points, faults] = counts[stage];
        EXPECT_GT(points, 3) << "every task sends statements";
        // scripts/faults.sh adds these lines up.
        std::cout << "counts: " << TheWay.Name << " " << kFaultNames.at(GetParam().second) << " "
                  << stage << " " << points << " " << faults << "\n";
    }
}

std::string NameOf(const ::testing::TestParamInfo<Case>& info) {
    return kWays.at(info.param.first).Name + std::string(kFaultNames.at(info.param.second));
}

INSTANTIATE_TEST_SUITE_P(Each, DisturbedRun, ::testing::ValuesIn(Cases()), NameOf);

// The table of the lock and the archived rows do not fit on the disk. The archive is made as large
// as the warehouse, so that the limit concerns both.
TEST_F(OnSite, AFullDiskLosesNothingAndTheNextRunCompletes) {
    constexpr std::uintmax_t kPage = 4096;
    Original.Warehouse.Run(
        "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 800)"
        " INSERT INTO shipments SELECT i, 31, 2, '2018-01-01 00:00:00' FROM n");
    const std::uintmax_t size = std::filesystem::file_size(Original.Warehouse.File());
    Original.Archive.Run("CREATE TABLE filler AS SELECT randomblob(" +
                         std::to_string(size - 2 * kPage) + ") AS x, NULL AS date_of_archiving");
    RunUndisturbed(kWays[0]);
    bool completed = false;
    std::uintmax_t pages = 0;
    for (; !completed && pages < 100 && !HasFailure(); ++pages) {
        SCOPED_TRACE(std::to_string(pages) + " more pages");
        const Site site;
        site.CopyFrom(Original);
        const auto run = [&](bool later) {
            FaultPlan none;
            RunState state;
            return site.Run(kWays[0], none, state, later);
        };
        {
            const FileSizeLimit limit(size + pages * kPage);
            const RunOutcome outcome = run(false);
            completed = outcome.Result;
            EXPECT_EQ(outcome.Status, completed ? "ok" : "failure");
            EXPECT_TRUE(completed || Contains(outcome.Log, "disk I/O error"));
            EXPECT_TRUE(Contains(outcome.Log, "Morvane Tool stopped On"));
        }
        ExpectCompletion(site, [&] { return run(true); });
    }
    EXPECT_TRUE(completed);
    EXPECT_GT(pages, 4U) << "the run fails at several points";
}

// Damages the databases after a run.
TEST_F(OnSite, TheOracleFindsDamage) {
    RunUndisturbed(kWays[0]);
    const Contents result = ReadContents(Cleaned);
    EXPECT_EQ(Judge->FindDamage(ReadContents(Original)), Oracle::Findings());
    EXPECT_EQ(Judge->FindDamage(result), Oracle::Findings());
    EXPECT_EQ(Judge->FindDifferences(ReadContents(Original), result), Oracle::Findings());
    const std::array<std::array<std::string, 3>, 5> cases{{
        {"archive", "DELETE FROM shipments WHERE rowid = 1", "shipments is lost:"},
        {"archive", "INSERT INTO shipments SELECT * FROM shipments", "shipments came from"},
        {"archive", "ALTER TABLE shipments ADD x int", "The archive has a table CREATE"},
        {"warehouse", "UPDATE contract SET end_date = '2018' WHERE contract_key = 11",
         "contract is half changed"},
        {"warehouse", "UPDATE dwm_tables SET is_selected = 0", "dwm_tables is half"},
    }};
    for (const auto& [file, sql, finding] : cases) {
        (file == "archive" ? Cleaned.Archive : Cleaned.Warehouse).Run(sql);
        EXPECT_TRUE(Contains(Join(Judge->FindDamage(ReadContents(Cleaned)), "\n"), finding)) << sql;
    }
    EXPECT_EQ(Judge->FindDifferences(result, ReadContents(Cleaned)).size(), 3U);
}

}  // namespace
}  // namespace morvane::testing
