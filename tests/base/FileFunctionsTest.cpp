// SPDX-License-Identifier: Apache-2.0
#include "base/modFileFunctions.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <filesystem>

#include "support/ErrorOf.h"
#include "support/TempFolder.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

TEST(Folders, AreCreatedWithMissingParents) {
    const TempFolder folder;
    EnsureFolder(folder / "a/b \u00e9/c");
    EnsureFolder(folder / "a/b \u00e9/c");
    EnsureFolder(folder / "a/d/");
    EnsureFolder("");
    EXPECT_TRUE(FolderExists(folder / "a/b \u00e9/c"));
    EXPECT_TRUE(FolderExists(folder / "a/d"));
    EXPECT_EQ(ListFiles(folder / "a"), "b \u00e9 d");
}

TEST(Folders, CannotBeCreatedBelowARegularFile) {
    const TempFolder folder;
    TextFile(folder / "file").Close();
    for (const char* path : {"file", "file/a/b"}) {
        EXPECT_EQ(ErrorOf([&] { EnsureFolder(folder / path); }),
                  "Cannot make the folder \"" + (folder / "file") + "\": File exists");
    }
    EXPECT_FALSE(FolderExists(folder / "file"));
}

TEST(ParentFolder, EndsBeforeTheLastSeparator) {
    EXPECT_EQ(ParentFolder("/a/b/c.txt"), "/a/b");
    EXPECT_EQ(ParentFolder("/a/b/"), "/a/b");
    EXPECT_EQ(ParentFolder("/a") + ParentFolder("c.txt"), "");
}

#ifdef _WIN32

TEST(Folders, AcceptBothSlashesAndDrives) {
    EXPECT_EQ(ParentFolder("C:\\a\\b.txt"), "C:\\a");
    EXPECT_EQ(ParentFolder("C:/a\\b/c"), "C:/a\\b");
    EXPECT_EQ(ParentFolder("C:\\a"), "C:");
    const TempFolder folder;
    EnsureFolder(folder / "a\\b/c\\d");
    EXPECT_TRUE(FolderExists(folder / "a/b\\c/d"));
    EnsureFolder(folder.Path().substr(0, 2));
    EnsureFolder(folder.Path().substr(0, 3));
}

#endif

TEST(TextFiles, ContainTheBytesWrittenAndReplaceAnOlderFile) {
    const TempFolder folder;
    const std::string path = folder / "out.txt";
    for (const std::string& text : {std::string(300'000, 'x'), std::string("a\0\xFF\n", 4)}) {
        TextFile file(path);
        file.WriteLine(text);
        file.Write("end");
        file.Close();
        EXPECT_EQ(ReadWholeFile(path), text + "\r\nend");
    }
    TextFile log(path, TextFile::Flush::EveryLine);
    log.WriteLine("first");
    EXPECT_EQ(ReadWholeFile(path), "first\r\n") << "before it is closed";
}

TEST(TextFiles, ReportWhyTheyCannotBeRead) {
    const TempFolder folder;
    EXPECT_EQ(ErrorOf([&] { ReadWholeFile(folder / "missing"); }),
              "Cannot open the file \"" + (folder / "missing") + "\": No such file or directory");
#ifdef _WIN32
    const std::string refusal = "Cannot open the file \"" + folder.Path() + "\": Permission denied";
#else
    const std::string refusal = "Cannot read the file \"" + folder.Path() + "\": Is a directory";
#endif
    EXPECT_EQ(ErrorOf([&] { ReadWholeFile(folder.Path()); }), refusal);
}

#ifndef _WIN32  // Windows has no /dev/full and no pipes in folders

TEST(TextFiles, ReportAFullDiskAtTheLatestOnClose) {
    for (const int lines : {1, 100'000}) {
        TextFile file("/dev/full", TextFile::Flush::AtClose, NamedBy::User);
        EXPECT_EQ(ErrorOf([&] {
                      for (int i = 0; i < lines; ++i) {
                          file.WriteLine("a report's row");
                      }
                      file.Close();
                  }),
                  "Cannot write the file \"/dev/full\": No space left on device");
    }
}

// A blocking open of a pipe would wait forever.
TEST(TextFiles, RejectSpecialFilesWithoutBlocking) {
    const TempFolder folder;
    const std::string victim = folder / "victim";
    const auto write = [](const std::string& path, NamedBy namedBy) {
        return ErrorOf([&] {
            TextFile file(path, TextFile::Flush::AtClose, namedBy);
            file.Write("text");
            file.Close();
        });
    };
    ASSERT_EQ(write(victim, NamedBy::Program), "no error");
    ASSERT_EQ(write(folder / "second", NamedBy::User), "no error");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo((folder / "read pipe").c_str(), 0600), 0);
    const int reader = open((folder / "read pipe").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_EQ(mknod((folder / "socket").c_str(), S_IFSOCK | 0600, 0), 0);
    std::filesystem::create_symlink(victim, folder / "link");
    std::filesystem::create_hard_link(folder / "second", folder / "hard link");
    constexpr const char* kFine = "no error";
    constexpr const char* kNotRegular = "it is not a regular file";
    const struct {
        std::string Path;
        const char* ByProgram;
        const char* ByUser;
    } cases[]{
        {folder / "pipe", kNotRegular, kNotRegular},
        {folder / "read pipe", kNotRegular, kNotRegular},
        {folder / "socket", kNotRegular, kNotRegular},
        {"/dev/null", kNotRegular, kFine},
        {folder.Path(), "Is a directory", "Is a directory"},
        {folder / "link", "it is a symbolic link", kFine},
        {folder / "hard link", "it has another name too", kFine},
        {victim, kFine, kFine},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(Contains(write(c.Path, NamedBy::Program), c.ByProgram)) << c.Path;
        EXPECT_TRUE(Contains(write(c.Path, NamedBy::User), c.ByUser)) << c.Path;
        EXPECT_EQ(ReadWholeFile(victim), "text");
    }
    close(reader);
}

#endif

}  // namespace
}  // namespace morvane::testing
