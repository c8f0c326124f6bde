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

TEST(FileSpace, IsReservedAndReleasedWithoutChangingTheContent) {
    constexpr std::int64_t kBytes = 4 << 20;
    const TempFolder folder;
    const std::string path = folder / "data";
    // Stays open, because Windows frees the space when the last handle is closed.
    TextFile file(path, TextFile::Flush::EveryLine);
    file.WriteLine("content");
    EXPECT_EQ(ReserveFileSpace(file.Stream(), path, std::int64_t{1} << 60),
              std::errc::no_space_on_device);
    ASSERT_FALSE(ReserveFileSpace(file.Stream(), path, kBytes));
    EXPECT_EQ(ReadWholeFile(path), "content\r\n");
    if (TakenBytes(path) < kBytes) {
        GTEST_SKIP() << "the file system of " << folder.Path() << " reserves no space";
    }
    ReleaseUnusedSpace(file.Stream());
    file.Close();
    EXPECT_LT(TakenBytes(path), kBytes);
    EXPECT_EQ(ReadWholeFile(path), "content\r\n");
}

}  // namespace
}  // namespace morvane::testing
