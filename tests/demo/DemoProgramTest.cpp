// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "base/modFileFunctions.h"
#include "demo/DemoWarehouse.h"
#include "support/SqliteFile.h"
#include "support/TempFolder.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

class DemoProgram : public ::testing::Test {
  protected:
    TempFolder folder_;

    // Runs the program and keeps its output. `before` is shell code that is executed first.
    int Run(const std::string& arguments, const std::string& before = "") {
        TempFolder output;
        const std::string command = before + " '" + std::string(MORVANE_DEMO_PROGRAM) + "' " +
                                    arguments + " >" + (output / "out") + " 2>&1";
        const int status = std::system(command.c_str());
        output_ = ReadWholeFile(output / "out");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    void Write(const std::string& name, const std::string& text) {
        std::ofstream(folder_ / name) << text;
    }

    std::string output_;
};

TEST_F(DemoProgram, MakesAMissingFolderAndListsItsTables) {
    EXPECT_EQ(Run(folder_ / "new/folder"), 0);
    EXPECT_EQ(ListFiles(folder_ / "new/folder"), "retail.db retail_archive.db");
    EXPECT_TRUE(Contains(output_, "sales                  180000 rows\n"));
    const SqliteFile archive(folder_ / "new/folder/retail_archive.db");
    EXPECT_EQ(archive.Text("PRAGMA integrity_check"), "ok");
    EXPECT_GT(std::filesystem::file_size(archive.Path()), 0U);
}

TEST_F(DemoProgram, TouchesExistingFilesOnlyWithForce) {
    for (const std::string name : {"retail.db", "retail_archive.db"}) {
        Write(name, "mine");
        EXPECT_EQ(Run(folder_.Path()), 1);
        EXPECT_TRUE(Contains(output_, name + " already exists"));
        EXPECT_EQ(ReadWholeFile(folder_ / name), "mine");
        std::filesystem::remove(folder_ / name);
    }
    // The journal of an old database must not be applied to the new one.
    Write("retail.db", "mine");
    Write("retail.db-journal", "old pages");
    Write("retail.db-wal", "old pages");
    EXPECT_EQ(Run("--force " + folder_.Path()), 0) << output_;
    EXPECT_EQ(ListFiles(folder_.Path()), "retail.db retail_archive.db");
    EXPECT_EQ(SqliteFile(folder_ / "retail.db").Text("PRAGMA quick_check"), "ok");
}

TEST_F(DemoProgram, RefusesInvalidArguments) {
    const std::string target = folder_ / "none";
    for (const char* options : {"--scale", "--scale 0", "--scale 1.5", "--scale 10001",
                                "--scale 99999999999999999999", "--fast", "other"}) {
        EXPECT_EQ(Run(target + " " + options), 1) << options;
        EXPECT_TRUE(output_.starts_with("morvane-demo: ")) << output_;
        EXPECT_FALSE(std::filesystem::exists(target)) << options;
    }
    EXPECT_EQ(Run(""), 1);
    Write("file", "");
    EXPECT_EQ(Run(folder_ / "file/below"), 1);
    std::filesystem::create_directory(folder_ / "retail.db");
    EXPECT_EQ(Run("--force " + folder_.Path()), 1);
    EXPECT_TRUE(Contains(output_, "it is a folder"));
}

// A file size limit stands in for a full disk. The first is reached while rows are written, the
// second while indexes are created.
TEST_F(DemoProgram, LeavesNothingAfterAFailure) {
    for (const std::string blocks : {"2000", "64000"}) {
        EXPECT_EQ(Run(folder_.Path(), "trap '' XFSZ; ulimit -f " + blocks + ";"), 1);
        EXPECT_TRUE(Contains(output_, "Cannot write " + folder_ / "retail.db"));
    }
    int questions = 0;
    EXPECT_THROW(
        demo::MakeDemoWarehouse(folder_.Path(), 1, false, [&] { return ++questions == 20; }),
        demo::DemoError);
    EXPECT_EQ(questions, 20);
    EXPECT_EQ(ListFiles(folder_.Path()), "");
}

}  // namespace
}  // namespace morvane::testing
