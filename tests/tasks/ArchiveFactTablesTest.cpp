// SPDX-License-Identifier: Apache-2.0
#include "base/Text.h"
#include "core/LogStream.h"
#include "db/modDatabaseOperations.h"
#include "support/FixedClock.h"
#include "support/Golden.h"
#include "tasks/TaskTest.h"
#include "tasks/modArchiveFactTables.h"

namespace morvane::testing {
namespace {

struct RecordingLog : LogStream {
    std::string Text;
    void WriteLine(std::string_view text) override { Text.append(text).append("\n"); }
};

const std::string kEnd =
    "-------------------------------\nEnd of Archiving of Fact Tables\n"
    "-------------------------------\n\n";
const std::string kError = "An error occurred during archiving of fact tables.\n\n" + kEnd;

// A warehouse with the fact table "sales", whose rows 1 to 3 are older than 2020, and an archive
// database "hist" on another server.
class Archiving : public TaskTest {
  protected:
    Archiving() : archive(archiveFolder / "hist.db") {
        archive.Run("PRAGMA user_version = 1");
        warehouse.AddFact("sales",
                          "id int NOT NULL, sold datetime, amount decimal(18,4) DEFAULT 1.5, note "
                          "varchar(20) COLLATE NOCASE, CONSTRAINT pk_sales PRIMARY KEY(id)",
                          "sold < '20200101'");
        warehouse.Run(
            "INSERT INTO sales VALUES(1,'2018-01-01 00:00:00',10.25,'a'),"
            "(2,'2019-06-30 12:30:00',NULL,'it''s'),(3,'2019-12-31 23:59:59',0.5,NULL),"
            "(4,'2020-01-01 00:00:00',7,'b'),(5,NULL,8,'c')");
        ConnectArchive(true);
    }

    std::string ArchiveServer() const { return "sqlite:" + archiveFolder.Path(); }

    // The login decides how rows are copied: through a linked server or OPENROWSET.
    void ConnectArchive(bool linkedServer, const std::string& password = "secret") {
        std::unique_ptr<Connection> connection;
        EXPECT_TRUE(ConnectDatabase(CreateConnection,
                                    {ArchiveServer(), linkedServer, "clerk", password}, connection,
                                    state.ErrorText, "hist"));
        state.ArchiveConnection = Traced(std::move(connection), "archive  ");
    }

    bool Archive() {
        log.Text.clear();
        statements.clear();
        state.ErrorText.clear();
        outcome = ArchiveFactTables(state, progress, clock, log);
        return outcome == Outcome::Done;
    }

    // The ids in the archive and, after a comma, those that are left in the warehouse.
    std::string Ids(const std::string& table = "sales") const {
        const bool exists = archive.Text(
                                "SELECT count(*) FROM sqlite_schema WHERE lower(name) ="
                                " lower('" +
                                table + "')") == "1";
        const std::string sql = "SELECT id FROM " + table + " ORDER BY id";
        return (exists ? archive.Text(sql) : "no table") + "," + warehouse.Text(sql);
    }
    void SetCondition(const std::string& condition) const {
        warehouse.Run("DELETE FROM dwm_tables WHERE table_name = 'sales'");
        warehouse.AddTable("sales", "FACT", true, condition);
    }
    void ExpectFailure(const std::string& error) {
        EXPECT_FALSE(Archive());
        EXPECT_NE(state.ErrorText, "");
        EXPECT_TRUE(Contains(state.ErrorText, error));
        EXPECT_TRUE(log.Text.ends_with(kError)) << log.Text;
    }

    TempFolder archiveFolder;
    SqliteFile archive;
    FixedClock clock;
    RecordingLog log;
    Outcome outcome = Outcome::Done;
};

class EachArchiving : public Archiving, public ::testing::WithParamInterface<bool> {
  protected:
    EachArchiving() { ConnectArchive(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(By, EachArchiving, ::testing::Bool(), [](const auto& way) {
    return std::string(way.param ? "LinkedServer" : "Rowset");
});

TEST_P(EachArchiving, MovesTheRowsThatMeetTheConditionAndLogsIt) {
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(archive.Text("SELECT * FROM sales ORDER BY id"),
              "1|2018-01-01 00:00:00|10.25|a|2024-03-05 14:07:09 "
              "2|2019-06-30 12:30:00|NULL|it's|2024-03-05 14:07:09 "
              "3|2019-12-31 23:59:59|0.5|NULL|2024-03-05 14:07:09");
    EXPECT_EQ(Ids(), "1 2 3,4 5");
    EXPECT_TRUE(Contains(log.Text,
                         "***\nFact Table: sales\nCondition: sold < '20200101'\n"
                         "- Table created in Archive database\n"
                         "- 3 records archived\n***\n\n" +
                             kEnd));
    EXPECT_EQ(state.ErrorText, "");
    EXPECT_EQ(Join(progress.Log, "; "),
              "range 0..1; value 0 to 0; comment Archiving Table : sales; value 1 to 0; comment ");
}

TEST_P(EachArchiving, RefusesImpossibleArchivesBeforeItCreatesAnything) {
    auto archiveConnection = std::exchange(state.ArchiveConnection, nullptr);
    EXPECT_TRUE(ConnectDatabase(CreateConnection,
                                {warehouse.Server() + "/.", GetParam(), "clerk", ""},
                                state.ArchiveConnection, state.ErrorText, "dw"));
    ExpectFailure("The archive database dw is the warehouse itself. Nothing was archived");
    state.ArchiveConnection = std::move(archiveConnection);
    state.WarehouseConnection->SetProperty("Engine Edition", "5");  // Azure SQL Database
    ExpectFailure("Azure SQL Database");
    EXPECT_EQ(Ids(), "no table,1 2 3 4 5");
}

TEST_P(EachArchiving, SendsTheExpectedStatements) {
    warehouse.AddFact("returns", "id int, why varchar(10)", "  why like 'x%'  ");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_TRUE(MatchesGolden(
        ReplaceAll(statements, ArchiveServer(), "ARCHIVE"),
        GetParam() ? "archive_by_linked_server.statements" : "archive_by_rowset.statements"));
}

// Rows with the same key are told apart by the second of their archiving.
TEST_P(EachArchiving, AddsToTheExistingTable) {
    ASSERT_TRUE(Archive()) << state.ErrorText;
    const std::string definition = archive.Text("SELECT sql FROM sqlite_schema");
    warehouse.Run(
        "INSERT INTO sales VALUES(1,'2017-01-01 00:00:00',1,'again'),"
        "(9,'2017-01-01 00:00:00',1,'new')");
    ExpectFailure("UNIQUE");
    EXPECT_EQ(Ids(), "1 2 3,1 4 5 9");
    clock.Moment.TimeOfDay += std::chrono::seconds(1);
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_FALSE(Contains(log.Text, "Table created"));
    EXPECT_TRUE(Contains(log.Text, "- 2 records archived"));
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_TRUE(Contains(log.Text, "- 0 records archived\n***\n\n" + kEnd));
    EXPECT_EQ(Ids(), "1 1 2 3 9,4 5");
    EXPECT_EQ(archive.Text("SELECT sql FROM sqlite_schema"), definition);
}

TEST_F(Archiving, LeavesTablesWithoutAConditionAndDimensionsAlone) {
    SetCondition("   ");
    warehouse.AddFact("empty", "id int", "id > 0");
    warehouse.AddDimension("shop", "id int");
    warehouse.Run(
        "UPDATE dwm_tables SET where_clause = 'id = 1' WHERE table_type = 'DIMENSION';"
        "UPDATE dwm_tables SET is_selected = 0, table_type = 'Fact', table_name = '  empty  '"
        " WHERE table_name = 'empty'");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(archive.Text("SELECT name FROM sqlite_schema WHERE type = 'table'"), "empty");
    EXPECT_EQ(Ids(), "no table,1 2 3 4 5");
    EXPECT_EQ(progress.Log.front(), "range 0..2");
    EXPECT_EQ(progress.Log.at(progress.Log.size() - 2), "value 2 to 0") << "all advance the bar";
    EXPECT_FALSE(Contains(log.Text, "Fact Table: sales"));
    EXPECT_TRUE(Contains(log.Text, "Fact Table: empty\n"));
}

TEST_F(Archiving, FillsTheBarIfThereAreNoFactTables) {
    warehouse.Run("DELETE FROM dwm_tables");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(Join(progress.Log, "; "), "range 0..1; value 0 to 1; value 1 to 0; comment ");
    EXPECT_TRUE(Contains(log.Text, "Archive Database: hist\n\n" + kEnd));
}

TEST_F(Archiving, StopsBeforeTheNextTableWhenCancelledAndLogsNoEnd) {
    warehouse.AddFact("returns", "id int", "id = 1");
    progress.CancelAtPoll = 2;
    EXPECT_FALSE(Archive());
    EXPECT_EQ(outcome, Outcome::Cancelled);
    EXPECT_EQ(Ids() + "; " + Ids("returns"), "1 2 3,4 5; no table,");
    EXPECT_EQ(state.ErrorText, "");
    EXPECT_TRUE(log.Text.ends_with("- 3 records archived\n***\n\n")) << log.Text;
}

TEST_F(Archiving, MovesNothingIfAConditionDoesNotCompile) {
    warehouse.AddFact("returns", "id int", "id = 1");
    for (const char* condition :
         {"sold <", "sold < '20200101", "(sold < '20200101'", "sold < '20200101')", "colour = 3",
          "shop.colour = 1", "sold < nofunction(1)", "sold < 'yesterday'",
          "sold < '20200101'; delete from sales", "exists (select 1 from nowhere)"}) {
        SCOPED_TRACE(condition);
        SetCondition(condition);
        ExpectFailure("");
        EXPECT_EQ(Ids(), ",1 2 3 4 5");
    }
    SetCondition("sold < (select max(sold) from sales) and id <> 2 or id = 5");
    EXPECT_TRUE(Archive()) << "on the same connections: " << state.ErrorText;
    EXPECT_EQ(Ids(), "1 3 5,2 4");
}

// Rows that were not copied must not be deleted.
TEST_F(Archiving, DeletesNothingIfRowsArriveAfterTheCopy) {
    onStatement = [&](const std::string& sql) {
        if (sql == "main     BEGIN") {
            warehouse.Run("INSERT OR IGNORE INTO sales VALUES(6,'2019-01-01 00:00:00',1,'late')");
        }
    };
    ExpectFailure("4 rows of sales meet the condition now, and 3 were archived");
    EXPECT_EQ(Ids(), "1 2 3,1 2 3 4 5 6");
}

TEST_F(Archiving, RefusesAPasswordWithASingleQuote) {
    ConnectArchive(false, "it's");
    ExpectFailure("the password of the archive, since it holds a single quote");
    EXPECT_EQ(Ids(), ",1 2 3 4 5");
    ConnectArchive(false, "it''s; ) select *, {ts ");
    EXPECT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(Ids(), "1 2 3,4 5");
}

}  // namespace
}  // namespace morvane::testing
