#include "Oracle.h"
#include "RunOnSite.h"
#include "SmallDisk.h"
#include "core/modFileFunctions.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

constexpr std::uintmax_t kPage = 4096;
constexpr std::uintmax_t kMostRoom = 100 * kPage;

// A warehouse with some pages of rows to be archived and of unused products, some part of
// which is on a small disk.
class FullDisk : public ::testing::Test {
  protected:
    FullDisk();

    RunSettings SettingsOn(const Site& site) const { return site.EveryTask(true, false); }
    // Whether a run completes on a fresh copy whose warehouse's disk has so much room.
    bool CompletesWithRoom(std::uintmax_t room);
    void CompleteWithRoomAgain(const Site& site);

    TempFolder Folder{TempFolder::Place::InMemory};
    Site Original{Folder / "original"};
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
    Judge = std::make_unique<Oracle>(ReadContents(Original), ReadContents(site));
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

bool FullDisk::CompletesWithRoom(std::uintmax_t room) {
    SCOPED_TRACE(std::to_string(room) + " bytes free");
    const TempFolder folder(TempFolder::Place::InMemory);
    const Site site(folder / "site");
    const SmallDisk disk(site.WarehouseFolder());
    site.CopyFrom(Original);
    disk.LeaveRoom(room);
    FaultPlan none;
    const RunOutcome outcome = RunOnSite(site, SettingsOn(site), none, 0, false);
    if (!outcome.Result) {
        EXPECT_EQ(outcome.Status, "failure");
        EXPECT_TRUE(Contains(outcome.Log, "disk is full"));
        EXPECT_TRUE(Contains(outcome.Log, "Morvane Tool stopped On"));
    }
    disk.MakeRoom();
    CompleteWithRoomAgain(site);
    return outcome.Result;
}

TEST_F(FullDisk, OfTheWarehouseLosesNothingWhateverItsRoom) {
    if (const SmallDisk disk(Folder.Path()); !disk.WhyNot().empty()) {
        GTEST_SKIP() << disk.WhyNot();
    }
    std::uintmax_t room = 0;
    while (room < kMostRoom && !CompletesWithRoom(room) && !HasFailure()) {
        room += kPage;
    }
    EXPECT_GT(room, 4 * kPage) << "the run stops at different places";
    EXPECT_LT(room, kMostRoom) << "the run completes once there is room";
}

TEST_F(FullDisk, OfTheLogStopsTheRunBeforeItChangesAnything) {
    const Site site(Folder / "site");
    site.CopyFrom(Original);
    std::filesystem::create_directory(site.Logs());
    const SmallDisk disk(site.Logs());
    if (!disk.WhyNot().empty()) {
        GTEST_SKIP() << disk.WhyNot();
    }
    for (const std::uintmax_t room : {0 * kPage, 1 * kPage, 15 * kPage}) {
        disk.LeaveRoom(room);
        FaultPlan plan;
        const RunOutcome outcome = RunOnSite(site, SettingsOn(site), plan, 0, false);
        EXPECT_FALSE(outcome.Result);
        EXPECT_EQ(outcome.Status, "failure");
        EXPECT_TRUE(Contains(outcome.ErrorText, "No space left on device"));
        EXPECT_TRUE(plan.Points.empty()) << "it connects to nothing";
        EXPECT_EQ(ListFiles(site.Logs()), "filler");
    }
    disk.MakeRoom();
    CompleteWithRoomAgain(site);
}

}  // namespace
}  // namespace morvane::testing
