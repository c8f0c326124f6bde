#include "Oracle.h"
#include "RunOnSite.h"
#include "SmallDisk.h"
#include "core/modFileFunctions.h"
#include "support/SqliteFile.h"

namespace morvane::testing {
namespace {

constexpr std::uintmax_t kPage = 4096;
constexpr std::uintmax_t kMostRoom = 100 * kPage;

// A warehouse with some pages of rows to be archived and of unused products, of which one part is
// on a small disk.
class FullDisk : public ::testing::Test {
  protected:
    FullDisk();

    RunSettings SettingsOn(const Site& site) const { return site.EveryTask(true, false); }
    // Whether a run completes on a fresh copy in which `part` is a disk with so much room.
    bool CompletesWithRoom(const std::string& part, std::uintmax_t room);
    bool IsWorthAFullDisk(std::size_t point) const;
    void CompleteWithRoomAgain(const Site& site);
    // Gives the disk more and more room, until a run completes on it.
    void TryEveryRoom(const std::string& part);

    TempFolder Folder{TempFolder::Place::InMemory};
    Site Original{Folder / "original"};
    std::vector<FaultPoint> Points;
    Contents Before;
    std::unique_ptr<Oracle> Judge;
};

FullDisk::FullDisk() {
    Original.Fill();
    SqliteFile(Original.Warehouse())
        .Run(
            "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 400)"
            " INSERT INTO shipments SELECT i, 31, 2, '2018-01-01 00:00:00' FROM n;"
            "INSERT INTO product SELECT rowid + 10, 1, 0, 0 FROM shipments");
    const Site site(Folder / "undisturbed");
    site.CopyFrom(Original);
    FaultPlan plan;
    const RunOutcome outcome = RunOnSite(site, SettingsOn(site), plan, 0, false);
    EXPECT_TRUE(outcome.Result) << outcome.ErrorText;
    Points = plan.Points;
    Before = ReadContents(Original);
    Judge = std::make_unique<Oracle>(Before, ReadContents(site));
}

// The rows of a long report are much the same. A sample has the lists of tables and keys alone,
// with which the reports and their parts begin.
bool FullDisk::IsWorthAFullDisk(std::size_t point) const {
    const std::string& statement = Points[point].Statement;
    const bool isRow = statement.find("the next row") == 0;
    return EveryFaultIsWanted() ? !isRow || point % 16 == 0
                                : !isRow && statement.find("dwm_") != std::string::npos;
}

void FullDisk::CompleteWithRoomAgain(const Site& site) {
    const Contents disturbed = ReadContents(site);
    EXPECT_EQ(Judge->FindDamage(disturbed), Oracle::Findings());
    FaultPlan none;
    const RunOutcome next = RunOnSite(site, SettingsOn(site), none, 1, true);
    EXPECT_TRUE(next.Result) << next.ErrorText;
    EXPECT_EQ(next.Status, "ok");
    EXPECT_TRUE(ReportsAreWhole(next.Reports));
    EXPECT_EQ(Judge->FindDifferences(disturbed, ReadContents(site)), Oracle::Findings());
}

bool FullDisk::CompletesWithRoom(const std::string& part, std::uintmax_t room) {
    SCOPED_TRACE(std::to_string(room) + " bytes free");
    const TempFolder folder(TempFolder::Place::InMemory);
    const Site site(folder / "site");
    const SmallDisk disk(folder / "site/" + part);
    site.CopyFrom(Original);
    disk.LeaveRoom(room);
    FaultPlan none;
    const RunOutcome outcome = RunOnSite(site, SettingsOn(site), none, 0, false);
    if (!outcome.Result) {
        EXPECT_EQ(outcome.Status, "failure");
        EXPECT_NE(outcome.Log.find("disk is full"), std::string::npos) << outcome.Log;
        EXPECT_NE(outcome.Log.find("Morvane Tool stopped On"), std::string::npos);
    }
    disk.MakeRoom();
    CompleteWithRoomAgain(site);
    return outcome.Result;
}

void FullDisk::TryEveryRoom(const std::string& part) {
    std::uintmax_t room = 0;
    while (room < kMostRoom && !CompletesWithRoom(part, room) && !HasFailure()) {
        room += kPage;
    }
    EXPECT_GT(room, 4 * kPage) << "the run stops at different places";
    EXPECT_LT(room, kMostRoom) << "the run completes once there is room";
}

std::string ReportNamedIn(const std::string& errorText) {
    for (const std::string report : {"SummaryReport", "DetailedReport", "TableFilterReport"}) {
        if (errorText.find(report) != std::string::npos) {
            return report;
        }
    }
    return "no report";
}

// No report but the one that the run has named is left without its end.
::testing::AssertionResult ReportsAreWholeBut(const Site& site, const std::string& named) {
    for (const auto& file : std::filesystem::directory_iterator(site.Logs())) {
        const std::string name = file.path().filename().string();
        if (file.path().extension() == ".html" && name.find(named) != 0 &&
            ReadWholeFile(file.path().string()).find("</HTML>") == std::string::npos) {
            return ::testing::AssertionFailure() << name << " is cut off";
        }
    }
    return ::testing::AssertionSuccess();
}

#define SKIP_WITHOUT_DISK(disk)          \
    if (!(disk).WhyNot().empty()) {      \
        GTEST_SKIP() << (disk).WhyNot(); \
    }

TEST_F(FullDisk, OfTheWarehouseLosesNothing) {
    SKIP_WITHOUT_DISK(SmallDisk(Folder.Path()));
    TryEveryRoom("warehouse");
}

TEST_F(FullDisk, OfTheArchiveLosesNothing) {
    SKIP_WITHOUT_DISK(SmallDisk(Folder.Path()));
    TryEveryRoom("archive");
}

TEST_F(FullDisk, OfTheLogStopsTheRunBeforeItChangesAnything) {
    const Site site(Folder / "site");
    site.CopyFrom(Original);
    std::filesystem::create_directory(site.Logs());
    const SmallDisk disk(site.Logs());
    SKIP_WITHOUT_DISK(disk);
    for (const std::uintmax_t room : {0 * kPage, 1 * kPage, 15 * kPage}) {
        disk.LeaveRoom(room);
        FaultPlan plan;
        const RunOutcome outcome = RunOnSite(site, SettingsOn(site), plan, 0, false);
        EXPECT_FALSE(outcome.Result);
        EXPECT_EQ(outcome.Status, "failure");
        EXPECT_NE(outcome.ErrorText.find("No space left on device"), std::string::npos)
            << outcome.ErrorText;
        EXPECT_TRUE(plan.Points.empty()) << "it connects to nothing";
        EXPECT_EQ(ListFiles(site.Logs()), "filler");
    }
    disk.MakeRoom();
    CompleteWithRoomAgain(site);
}

// The disk fills up while the reports are made: whatever is written to it then, the run ends there,
// before the deletion, and the log has its room.
TEST_F(FullDisk, OfTheReportsEndsTheRunBeforeTheDeletion) {
    std::set<std::string> failed;
    for (std::size_t point = 0; point < Points.size() && !HasFailure(); ++point) {
        if (Points[point].Stage != "reports" || !IsWorthAFullDisk(point)) {
            continue;
        }
        SCOPED_TRACE("full at " + Points[point].Statement);
        const TempFolder folder(TempFolder::Place::InMemory);
        const Site site(folder / "site");
        site.CopyFrom(Original);
        std::filesystem::create_directory(site.Logs());
        const SmallDisk disk(site.Logs());
        SKIP_WITHOUT_DISK(disk);
        FaultPlan plan;
        plan.OnPoint = [&](std::size_t passed) {
            if (passed == point) {
                disk.LeaveRoom(0);
            }
        };
        const RunOutcome outcome = RunOnSite(site, SettingsOn(site), plan, 0, false);
        EXPECT_FALSE(outcome.Result);
        EXPECT_EQ(outcome.Status, "failure");
        EXPECT_NE(outcome.Log.find("Error Occured in Task ::\tGenerate Reports"), std::string::npos)
            << outcome.Log;
        EXPECT_NE(outcome.Log.find("Morvane Tool stopped On"), std::string::npos);
        EXPECT_TRUE(Judge->NothingIsDeleted(ReadContents(site)));
        EXPECT_FALSE(IsLocked(site));
        const std::string named = ReportNamedIn(outcome.ErrorText);
        failed.insert(named);
        EXPECT_TRUE(ReportsAreWholeBut(site, named));
        disk.MakeRoom();
        CompleteWithRoomAgain(site);
    }
    EXPECT_EQ(failed.size(), 3U) << "each of the three reports is the one that fails";
}

}  // namespace
}  // namespace morvane::testing
