// SPDX-License-Identifier: Apache-2.0
#include "base/Text.h"
#include "support/Golden.h"
#include "tasks/ArchiveTest.h"

namespace morvane::testing {
namespace {

constexpr const char* kRowsArchived =
    "1|2018-01-01 00:00:00|10.25|a|2024-03-05 14:07:09 "
    "2|2019-06-30 12:30:00|NULL|it's|2024-03-05 14:07:09 "
    "3|2019-12-31 23:59:59|0.5|NULL|2024-03-05 14:07:09";

const std::string kEnd =
    "-------------------------------\nEnd of Archiving of Fact Tables\n"
    "-------------------------------\n\n";

// Through a linked server, and through OPENROWSET with a login.
struct EitherWay : public ArchiveTest, public ::testing::WithParamInterface<bool> {
    EitherWay() { ConnectArchive(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Archiving, EitherWay, ::testing::Bool(), [](const auto& way) {
    return std::string(way.param ? "ByLinkedServer" : "ByRowset");
});

TEST_P(EitherWay, MovesTheRowsThatMeetTheConditionAndLogsIt) {
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(archive.Text("SELECT * FROM sales ORDER BY id"), kRowsArchived);
    EXPECT_EQ(Kept(), "4 5");
    EXPECT_TRUE(Contains(log.Text,
                         "***\nFact Table: sales\nCondition: sold < '20200101'\n"
                         "- Table created in Archive database\n"
                         "- 3 records archived\n***\n\n" +
                             kEnd));
    EXPECT_EQ(state.ErrorText, "");
    EXPECT_EQ(Join(progress.Log, "; "),
              "range 0..1; value 0 to 0; comment Archiving Table : sales; value 1 to 0; comment ");
}

TEST_P(EitherWay, AzureSqlDatabaseIsRefusedBeforeAnythingIsCreated) {
    state.WarehouseConnection->SetProperty("Engine Edition", "5");  // Azure SQL Database
    EXPECT_FALSE(Archive());
    EXPECT_TRUE(Contains(state.ErrorText, "Azure SQL Database")) << state.ErrorText;
    EXPECT_EQ(Kept(), "1 2 3 4 5");
    EXPECT_EQ(archive.Text("SELECT count(*) FROM sqlite_schema"), "0");
}

TEST_P(EitherWay, SendsTheExpectedStatements) {
    warehouse.AddFact("returns", "id int, why varchar(10)", "  why like 'x%'  ");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    const std::string lines = ReplaceAll(StatementLines(), ArchiveServer(), "ARCHIVE");
    EXPECT_TRUE(MatchesGolden(lines, GetParam() ? "archive_by_linked_server.statements"
                                                : "archive_by_rowset.statements"));
}

TEST_P(EitherWay, RecreatesTheIndexesOfALargeTable) {
    warehouse.Run(
        "WITH RECURSIVE r(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM r WHERE i < 60000)"
        "  INSERT INTO sales SELECT 10 + i, '2018-01-01 00:00:00', i, NULL FROM r;"
        "CREATE INDEX ix_amount ON sales(amount); CREATE TABLE later(a int)");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(archive.Text("SELECT count(*) FROM sales"), "60003");
    EXPECT_EQ(Kept(), "4 5");
    EXPECT_EQ(warehouse.Text("SELECT sql FROM sqlite_schema WHERE name = 'ix_amount' AND rowid > "
                             "(SELECT rowid FROM sqlite_schema WHERE name = 'later')"),
              "CREATE INDEX ix_amount ON sales(amount)");
    EXPECT_EQ(warehouse.Text("PRAGMA integrity_check"), "ok");
}

TEST_P(EitherWay, ALaterRunAddsToTheExistingTable) {
    ASSERT_TRUE(Archive()) << state.ErrorText;
    const std::string definition = archive.Text("SELECT sql FROM sqlite_schema");
    warehouse.Run("INSERT INTO sales VALUES(1,'2017-01-01 00:00:00',1,'again')");
    clock.Moment.Date = std::chrono::year(2024) / 3 / 6;
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_FALSE(Contains(log.Text, "Table created"));
    EXPECT_TRUE(Contains(log.Text, "- 1 records archived"));
    EXPECT_EQ(Archived(), "1 1 2 3") << "the same key twice, told apart by the day";
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_TRUE(Contains(log.Text, "- 0 records archived\n***\n\n" + kEnd));
    EXPECT_EQ(Archived(), "1 1 2 3");
    EXPECT_EQ(Kept(), "4 5");
    EXPECT_EQ(archive.Text("SELECT sql FROM sqlite_schema"), definition);
}

TEST_F(ArchiveTest, TheArchiveTableHasTheDateAsItsLastColumnAndInItsKey) {
    const std::string schema = warehouse.Text("SELECT sql FROM sqlite_schema");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(warehouse.Text("SELECT sql FROM sqlite_schema"), schema);
    const std::string columns = "SELECT name, lower(type), \"notnull\", dflt_value, pk FROM ";
    EXPECT_EQ(archive.Text(columns + "pragma_table_info('sales')"),
              "id|int|1|NULL|1 sold|datetime|0|NULL|0 amount|decimal(18,4)|0|1.5|0 "
              "note|varchar(20)|0|NULL|0 "
              "date_of_archiving|datetime|1|datetime('now', 'localtime')|2");
    const std::string sql = archive.Text("SELECT sql FROM sqlite_schema WHERE name = 'sales'");
    EXPECT_TRUE(Contains(sql, "pk_sales"));
    EXPECT_EQ(archive.Text("SELECT id FROM sales WHERE note = 'IT''S'"), "2") << "the collation";
}

TEST_F(ArchiveTest, TablesWithoutAConditionOrWithoutFactsAreLeftAlone) {
    SetCondition("   ");
    warehouse.AddFact("plain", "id int");
    warehouse.AddFact("empty", "id int", "id > 0");
    warehouse.AddDimension("shop", "id int");
    warehouse.Run(
        "INSERT INTO plain VALUES(1); UPDATE dwm_tables SET where_clause = 'id = 1' WHERE"
        " table_type = 'DIMENSION'; UPDATE dwm_tables SET is_selected = 0,"
        " table_type = 'Fact', table_name = '  empty  ' WHERE table_name = 'empty'");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(archive.Text("SELECT name FROM sqlite_schema WHERE type = 'table'"), "empty");
    EXPECT_EQ(Kept() + " " + Kept("plain"), "1 2 3 4 5 1");
    EXPECT_EQ(progress.Maximum, 3);
    EXPECT_EQ(progress.Log.at(progress.Log.size() - 2), "value 3 to 0") << "all advance the bar";
    EXPECT_FALSE(Contains(log.Text, "Fact Table: sales"));
    EXPECT_TRUE(Contains(log.Text, "Fact Table: empty\n"));
}

TEST_F(ArchiveTest, WithoutFactTablesTheBarIsFullAndTheBlockIsWhole) {
    warehouse.Run("DELETE FROM dwm_tables");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(Join(progress.Log, "; "), "range 0..1; value 0 to 1; value 1 to 0; comment ");
    EXPECT_TRUE(Contains(log.Text, "Archive Database: hist\n\n" + kEnd));
}

TEST_F(ArchiveTest, ACancelledTaskStopsBeforeTheNextTableAndWritesNoEnd) {
    warehouse.AddFact("returns", "id int", "id = 1");
    warehouse.Run("INSERT INTO returns VALUES(1)");
    progress.CancelAtPoll = 2;
    EXPECT_FALSE(Archive());
    EXPECT_EQ(outcome, Outcome::Cancelled);
    EXPECT_EQ(Archived(), "1 2 3");
    EXPECT_EQ(Kept("returns"), "1");
    EXPECT_FALSE(HasArchiveTable("returns"));
    EXPECT_EQ(progress.Polls, 2) << "one poll a table";
    EXPECT_EQ(state.ErrorText, "");
    const std::string last = "- 3 records archived\n***\n\n";
    EXPECT_EQ(log.Text.find(last) + last.size(), log.Text.size()) << log.Text;
}

TEST_F(ArchiveTest, AFailureLeavesTheTablesBeforeItArchivedAndThoseAfterItAlone) {
    warehouse.AddFact("returns", "id int", "no such thing");
    warehouse.AddFact("visits", "id int", "id = 1");
    warehouse.Run("INSERT INTO returns VALUES(1); INSERT INTO visits VALUES(1)");
    EXPECT_FALSE(Archive());
    EXPECT_EQ(Archived(), "1 2 3");
    EXPECT_EQ(Kept() + "," + Kept("returns") + "," + Kept("visits"), "4 5,1,1");
    EXPECT_EQ(Archived("returns"), "");
    EXPECT_FALSE(HasArchiveTable("visits"));
    const std::string error = "An error occurred during archiving of fact tables.\n\n" + kEnd;
    EXPECT_EQ(log.Text.find(error) + error.size(), log.Text.size()) << log.Text;
    EXPECT_EQ(state.ErrorText.substr(state.ErrorText.size() - 2), "\r\n");

    SetCondition("id = 1", "returns");
    ASSERT_TRUE(Archive()) << "the link is gone, and the archive table is there: "
                           << state.ErrorText;
    EXPECT_EQ(Archived("returns") + Archived("visits"), "11");
}

}  // namespace
}  // namespace morvane::testing
