// SPDX-License-Identifier: Apache-2.0
#include "base/Platform.h"

#include <gtest/gtest.h>

#include "base/modFileFunctions.h"
#include "support/TempFolder.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/stat.h>
#endif

namespace morvane::testing {
namespace {

#ifdef _WIN32

std::int64_t TakenBytes(const std::string& path) {
    const HANDLE file = CreateFileW(ToPath(path).c_str(), FILE_READ_ATTRIBUTES,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    FILE_STANDARD_INFO info{};
    EXPECT_TRUE(GetFileInformationByHandleEx(file, FileStandardInfo, &info, sizeof(info)));
    CloseHandle(file);
    return info.AllocationSize.QuadPart;
}

#else

std::int64_t TakenBytes(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_blocks * 512;
}

#endif

class FileSpace : public ::testing::Test {
  protected:
    void SetUp() override { file_.WriteLine("content"); }

    TempFolder folder_;
    std::string path_ = folder_ / "data";
    // Kept open, because Windows frees the space when the last handle is closed.
    TextFile file_{path_, TextFile::Flush::EveryLine};
};

TEST_F(FileSpace, IsReservedAndReleasedWithoutChangingTheContent) {
    constexpr std::int64_t kBytes = 4 << 20;
    ASSERT_FALSE(ReserveFileSpace(file_.Stream(), path_, kBytes));
    EXPECT_EQ(ReadWholeFile(path_), "content\r\n");
    if (TakenBytes(path_) < kBytes) {
        GTEST_SKIP() << "the file system of " << folder_.Path() << " reserves no space";
    }
    ReleaseUnusedSpace(file_.Stream());
    file_.Close();
    EXPECT_LT(TakenBytes(path_), kBytes);
    EXPECT_EQ(ReadWholeFile(path_), "content\r\n");
}

TEST_F(FileSpace, BeyondTheFreeSpaceIsRefused) {
    EXPECT_EQ(ReserveFileSpace(file_.Stream(), path_, std::int64_t{1} << 60),
              std::errc::no_space_on_device);
}

}  // namespace
}  // namespace morvane::testing
