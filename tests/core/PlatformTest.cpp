#include "core/Platform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "core/modFileFunctions.h"
#include "support/TempFolder.h"

namespace morvane {
namespace {

std::int64_t TakenBytes(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_blocks * 512;
}

class FileSpace : public ::testing::Test {
  protected:
    void SetUp() override {
        TextFile file(path_);
        file.Write("content");
        file.Close();
    }

    testing::TempFolder folder_;
    std::string path_ = folder_ / "data";
};

TEST_F(FileSpace, IsTakenAndGivenBackWithoutTouchingTheContent) {
    constexpr std::int64_t kBytes = 4 << 20;
    ASSERT_TRUE(ReserveFileSpace(path_, kBytes));
    EXPECT_EQ(ReadWholeFile(path_), "content");
    if (TakenBytes(path_) < kBytes) {
        GTEST_SKIP() << "the file system of " << folder_.Path() << " reserves no space";
    }
    ReleaseUnusedSpace(path_);
    EXPECT_LT(TakenBytes(path_), kBytes);
    EXPECT_EQ(ReadWholeFile(path_), "content");
}

TEST_F(FileSpace, ThatTheDiskDoesNotHaveIsRefusedAndNothingOfItKept) {
    const std::int64_t before = TakenBytes(path_);
    EXPECT_FALSE(ReserveFileSpace(path_, std::int64_t{1} << 60));
    EXPECT_EQ(TakenBytes(path_), before);
    EXPECT_EQ(ReadWholeFile(path_), "content");
}

TEST_F(FileSpace, OfAFileThatIsNotThereIsNoReasonToStop) {
    EXPECT_TRUE(ReserveFileSpace(folder_ / "missing", 1000));
    ReleaseUnusedSpace(folder_ / "missing");
    EXPECT_EQ(testing::ListFiles(folder_.Path()), "data");
}

TEST(CurrentUser, HasAName) {
    EXPECT_FALSE(CurrentUserName().empty());
}

}  // namespace
}  // namespace morvane
