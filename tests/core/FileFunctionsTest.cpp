#include "core/modFileFunctions.h"

#include <gtest/gtest.h>

#include "support/ErrorOf.h"
#include "support/TempFolder.h"

namespace morvane::testing {
namespace {

TEST(Folders, AreMadeWithAllTheirMissingParents) {
    const TempFolder folder;
    EnsureFolder(folder / "a/b \u00e9/c");
    EnsureFolder(folder / "a/b \u00e9/c");
    EnsureFolder(folder / "a/d/");
    EnsureFolder("");
    EXPECT_TRUE(FolderExists(folder / "a/b \u00e9/c"));
    EXPECT_TRUE(FolderExists(folder / "a/d"));
    EXPECT_EQ(ListFiles(folder / "a"), "b \u00e9 d");
}

TEST(Folders, BelowARegularFileAreRefusedByItsName) {
    const TempFolder folder;
    TextFile(folder / "file").Close();
    const std::string expected =
        "Cannot make the folder \"" + (folder / "file") + "\": File exists";
    EXPECT_EQ(ErrorOf([&] { EnsureFolder(folder / "file/a/b"); }), expected);
    EXPECT_EQ(ErrorOf([&] { EnsureFolder(folder / "file"); }), expected);
    EXPECT_FALSE(FolderExists(folder / "file"));
}

#ifndef _WIN32

TEST(Folders, OfAPathThatIsTooLongAreNotEvenBegun) {
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

TEST(Folders, AreSeparatedByEitherSlashAndLieOnDrives) {
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

TEST(TextFiles, HoldTheBytesWrittenAndEmptyAnOlderFile) {
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

TEST(TextFiles, CanBeReadLineByLineWhileTheyGrow) {
    const TempFolder folder;
    TextFile file(folder / "log.txt", TextFile::Flush::EveryLine);
    file.WriteLine("first");
    EXPECT_EQ(ReadWholeFile(folder / "log.txt"), "first\r\n");
}

#ifndef _WIN32  // which has no file that is always full

TEST(TextFiles, SayThatTheDiskIsFullAtTheLatestWhenClosed) {
    const std::string expected = "Cannot write the file \"/dev/full\": No space left on device";
    TextFile short_("/dev/full");
    short_.WriteLine("x");
    EXPECT_EQ(ErrorOf([&] { short_.Close(); }), expected);

    TextFile flushed("/dev/full", TextFile::Flush::EveryLine);
    EXPECT_EQ(ErrorOf([&] { flushed.WriteLine("x"); }), expected);

    TextFile long_("/dev/full");
    EXPECT_EQ(ErrorOf([&] {
                  for (int i = 0; i < 100'000; ++i) {
                      long_.WriteLine("a report's row");
                  }
              }),
              expected);
}

#endif

TEST(TextFiles, ThatCannotBeOpenedAreNamedWithTheReason) {
    const TempFolder folder;
    EXPECT_EQ(ErrorOf([&] { TextFile file(folder / "no/such"); }),
              "Cannot make the file \"" + (folder / "no/such") + "\": No such file or directory");
    EXPECT_EQ(ErrorOf([&] { ReadWholeFile(folder / "missing"); }),
              "Cannot open the file \"" + (folder / "missing") + "\": No such file or directory");
#ifdef _WIN32
    const std::string refusal = "Cannot open the file \"" + folder.Path() + "\": Permission denied";
#else
    const std::string refusal = "Cannot read the file \"" + folder.Path() + "\": Is a directory";
#endif
    EXPECT_EQ(ErrorOf([&] { ReadWholeFile(folder.Path()); }), refusal);
}

}  // namespace
}  // namespace morvane::testing
