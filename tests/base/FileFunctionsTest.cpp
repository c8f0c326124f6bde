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
    const std::string expected =
        "Cannot make the folder \"" + (folder / "file") + "\": File exists";
    EXPECT_EQ(ErrorOf([&] { EnsureFolder(folder / "file/a/b"); }), expected);
    EXPECT_EQ(ErrorOf([&] { EnsureFolder(folder / "file"); }), expected);
    EXPECT_FALSE(FolderExists(folder / "file"));
}

#ifndef _WIN32

TEST(Folders, AreNotCreatedForAPathThatIsTooLong) {
    const TempFolder folder;
    std::string path = folder.Path();
    while (path.size() < 20'000) {
        path += "/a";
    }
    EXPECT_EQ(ErrorOf([&] { EnsureFolder(path); }),
              "Cannot make the folder \"" + path + "\": File name too long");
    EXPECT_EQ(ListFiles(folder.Path()), "");
}

#endif

TEST(Folders, TheParentIsTheTextBeforeTheLastSeparator) {
    EXPECT_EQ(ParentFolder("/a/b/c.txt"), "/a/b");
    EXPECT_EQ(ParentFolder("/a/b/"), "/a/b");
    EXPECT_EQ(ParentFolder("/a"), "");
    EXPECT_EQ(ParentFolder("c.txt"), "");
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
    const std::string bytes("a\0\xFF\n", 4);
    for (const std::string& text : {std::string(300'000, 'x'), bytes}) {
        TextFile file(path);
        file.WriteLine(text);
        file.Write("end");
        file.Close();
        EXPECT_EQ(ReadWholeFile(path), text + "\r\nend");
    }
}

TEST(TextFiles, CanBeReadWhileBeingWritten) {
    const TempFolder folder;
    TextFile file(folder / "log.txt", TextFile::Flush::EveryLine);
    file.WriteLine("first");
    EXPECT_EQ(ReadWholeFile(folder / "log.txt"), "first\r\n");
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

#ifndef _WIN32  // which has no file that is always full, and no pipes among its files

TEST(TextFiles, ReportAFullDiskAtTheLatestOnClose) {
    const std::string expected = "Cannot write the file \"/dev/full\": No space left on device";
    for (const int lines : {1, 100'000}) {
        for (const auto flush : {TextFile::Flush::AtClose, TextFile::Flush::EveryLine}) {
            TextFile file("/dev/full", flush, NamedBy::User);
            EXPECT_EQ(ErrorOf([&] {
                          for (int i = 0; i < lines; ++i) {
                              file.WriteLine("a report's row");
                          }
                          file.Close();
                      }),
                      expected);
        }
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
    ASSERT_EQ(write(victim, NamedBy::Program) + write(folder / "second", NamedBy::User),
              "no errorno error");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo((folder / "read pipe").c_str(), 0600), 0);
    const int reader = open((folder / "read pipe").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_EQ(mknod((folder / "socket").c_str(), S_IFSOCK | 0600, 0), 0);
    std::filesystem::create_directory(folder / "folder");
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
        {folder / "folder", "Is a directory", "Is a directory"},
        {folder / "missing/file", "No such file or directory", "No such file or directory"},
        {folder / "link", "it is a symbolic link", kFine},
        {folder / "hard link", "it has another name too", kFine},
        {victim, kFine, kFine},
    };
    for (const auto& c : cases) {
        for (const auto& [namedBy, expected] :
             {std::pair{NamedBy::Program, c.ByProgram}, std::pair{NamedBy::User, c.ByUser}}) {
            EXPECT_EQ(
                write(c.Path, namedBy),
                expected == kFine ? kFine : "Cannot make the file \"" + c.Path + "\": " + expected);
            EXPECT_EQ(ReadWholeFile(victim), "text");
        }
    }
    EXPECT_EQ(ReadWholeFile(folder / "pipe"), "");
    close(reader);
}

#endif

}  // namespace
}  // namespace morvane::testing
