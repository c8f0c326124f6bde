// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "RunOnSite.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

constexpr std::uintmax_t kPage = 4096;
constexpr std::uintmax_t kMostRoom = 100 * kPage;

// A disk of a few megabytes in memory, mounted on a folder that is there, for this process and its
// children alone.
class SmallDisk {
  public:
    explicit SmallDisk(std::string folder) : folder_(std::move(folder)) {
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", folder_.c_str(), "tmpfs", 0, "size=4m") != 0) {
            WhyNot = "no disk can be mounted: " + std::generic_category().message(errno);
        }
    }
    ~SmallDisk() {
        if (WhyNot.empty()) {
            umount2(folder_.c_str(), MNT_DETACH);
        }
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    // Leaves so much room, which a file of its own takes or gives.
    void LeaveRoom(std::uintmax_t bytes) const {
        MakeRoom();
        const std::uintmax_t taken = std::filesystem::space(folder_).available - bytes;
        const int file = open(Filler().c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
        EXPECT_EQ(posix_fallocate(file, 0, static_cast<off_t>(taken)), 0);
        close(file);
    }
    void MakeRoom() const { std::filesystem::remove(Filler()); }

    std::string WhyNot;  // nothing could be mounted; empty when the disk is there

  private:
    std::string Filler() const { return folder_ + "/filler"; }

    std::string folder_;
};

// A warehouse with some pages of rows to be archived and of unused products.
class FullDisk : public ::testing::Test, protected OnSite {
  protected:
    FullDisk() {
        SqliteFile(Original.Warehouse())
            .Run(
                "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 400)"
                " INSERT INTO shipments SELECT i, 31, 2, '2018-01-01 00:00:00' FROM n;"
                "INSERT INTO product SELECT rowid + 10, 1, 0, 0 FROM shipments");
        RunUndisturbed(true, false);
    }

    static RunOutcome Run(const Site& site, FaultPlan& plan, int minutes = 0) {
        return RunOnSite(site, site.EveryTask(true, false), plan, minutes, true);
    }
    void CompleteWithRoomAgain(const Site& site) const {
        const Contents disturbed = ReadContents(site);
        EXPECT_EQ(Judge->FindDamage(disturbed), Oracle::Findings());
        FaultPlan none;
        ExpectCompletion(site, Run(site, none, 1), disturbed);
    }
    // Whether a run completes on a fresh copy whose warehouse's disk has so much room.
    bool CompletesWithRoom(std::uintmax_t room) const;
};

bool FullDisk::CompletesWithRoom(std::uintmax_t room) const {
    SCOPED_TRACE(std::to_string(room) + " bytes free");
    const TempFolder folder;
    const Site site(folder / "site");
    const SmallDisk disk(site.WarehouseFolder());
    site.CopyFrom(Original);
    disk.LeaveRoom(room);
    FaultPlan none;
    const RunOutcome outcome = Run(site, none);
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
    if (const SmallDisk disk(Folder.Path()); !disk.WhyNot.empty()) {
        GTEST_SKIP() << disk.WhyNot;
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
    if (!disk.WhyNot.empty()) {
        GTEST_SKIP() << disk.WhyNot;
    }
    for (const std::uintmax_t room : {0 * kPage, 1 * kPage, 15 * kPage}) {
        disk.LeaveRoom(room);
        FaultPlan plan;
        const RunOutcome outcome = Run(site, plan);
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
