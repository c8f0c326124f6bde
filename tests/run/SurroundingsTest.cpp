#include <filesystem>

#include "Fork.h"
#include "RunFixture.h"
#include "core/modFileFunctions.h"

namespace morvane::testing {
namespace {

using Words = std::vector<std::string>;

// A run of the built program wherever it finds itself.
class Surrounded : public ::testing::Test {
  protected:
    Surrounded() { FillStar(Warehouse); }

    Words Arguments() const {
        return {"-mac",          Warehouse.Server(),
                "-db",           "dw",
                "-ntaut",        "-chkmd",
                "-mark",         "-grep",
                "-del",          "-log",
                Files / "logs",  "-statusfile",
                Files / "status"};
    }
    std::string Outcome() const { return ReadWholeFile(Files / "status") + Products(Warehouse); }

    TestWarehouse Warehouse;
    TempFolder Files;
};

constexpr const char* kDone = "ok\r\n1|pen 3|cap";

TEST_F(Surrounded, RunsWithoutAHomeATimeZoneOrALocale) {
    Surroundings surroundings;
    surroundings.Variables = {{"LC_ALL", "zz_ZZ.UTF-8"}, {"LANG", "zz_ZZ"},
                              {"TZ", std::nullopt},      {"HOME", "/nowhere/at/all"},
                              {"TERM", std::nullopt},    {"XDG_RUNTIME_DIR", std::nullopt}};
    TerminalProgram program(MORVANE_PROGRAM, Arguments(), surroundings);
    const std::string output = program.ReadToEnd();
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_EQ(Outcome(), kDone) << output;
}

TEST_F(Surrounded, KeepsWithinANarrowTerminal) {
    Surroundings surroundings;
    surroundings.Columns = 20;
    TerminalProgram program(MORVANE_PROGRAM, Arguments(), surroundings);
    std::istringstream lines(program.ReadToEnd());
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_EQ(Outcome(), kDone);
    int drawn = 0;
    for (std::string line; std::getline(lines, line, '\r'); ++drawn) {
        EXPECT_TRUE(line.size() < 20 || line.starts_with("Finished on ")) << line;
    }
    EXPECT_GT(drawn, 5);
}

TEST_F(Surrounded, RunsThoughNobodyReadsItsOutput) {
    for (const Streams streams : {Streams::Broken, Streams::Closed}) {
        EXPECT_EQ(RunWithoutReader(MORVANE_PROGRAM, {"-help"}, streams), 0);
        EXPECT_EQ(RunWithoutReader(MORVANE_PROGRAM, Arguments(), streams), 0);
        EXPECT_EQ(Outcome(), kDone);
    }
}

TEST_F(Surrounded, WritesNoMessageIntoAFileThatTookThePlaceOfAClosedStream) {
    Warehouse.Run("UPDATE dwm_tables SET table_name = 'gone' WHERE table_name = 'product'");
    EXPECT_EQ(RunWithoutReader(MORVANE_PROGRAM, Arguments(), Streams::Closed), 0);
    EXPECT_EQ(ReadWholeFile(Files / "status"), "failure\r\n");
    const std::filesystem::directory_iterator log(Files / "logs");
    const std::string text = ReadWholeFile(log->path().string());
    const std::size_t said = text.find("gone");
    EXPECT_NE(said, std::string::npos) << text;
    EXPECT_EQ(text.find("gone", said + 1), std::string::npos) << text;
}

}  // namespace
}  // namespace morvane::testing
