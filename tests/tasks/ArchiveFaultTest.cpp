// SPDX-License-Identifier: Apache-2.0
#include "support/Texts.h"
#include "tasks/ArchiveTest.h"

namespace morvane::testing {
namespace {

using ArchiveFault = ArchiveTest;

TEST_F(ArchiveFault, AConditionThatDoesNotCompileMovesNothing) {
    for (const char* condition :
         {"sold <", "sold < '20200101", "(sold < '20200101'", "sold < '20200101')", "colour = 3",
          "shop.colour = 1", "sold < nofunction(1)", "sold < 'yesterday'",
          "sold < '20200101'; delete from sales", "exists (select 1 from nowhere)"}) {
        SCOPED_TRACE(condition);
        SetCondition(condition);
        ExpectFailureWithAllRowsInPlace("");
        EXPECT_NE(state.ErrorText, "");
    }
    SetCondition(kOld);
    EXPECT_TRUE(Archive()) << "on the same connections: " << state.ErrorText;
    EXPECT_EQ(Archived(), "1 2 3");
}

TEST_F(ArchiveFault, AConditionMayQueryTheFactTableItself) {
    SetCondition("sold < (select max(sold) from sales) and id <> 2 or id = 5");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(Archived() + "," + Kept(), "1 3 5,2 4");
}

TEST_F(ArchiveFault, AnArchiveTableWithOtherColumnsIsAnError) {
    for (const char* columns :
         {"id int, date_of_archiving datetime", "id int, a, b, c, d, date_of_archiving datetime"}) {
        SCOPED_TRACE(columns);
        archive.Run("DROP TABLE IF EXISTS sales; CREATE TABLE sales(" + std::string(columns) + ")");
        ExpectFailureWithAllRowsInPlace("values");
    }
}

TEST_F(ArchiveFault, TableNamesAreNotCaseSensitive) {
    warehouse.Run("UPDATE dwm_tables SET table_name = 'SALES'");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(Archived() + "," + Kept(), "1 2 3,4 5");
    archive.Run("ALTER TABLE sales RENAME TO x; ALTER TABLE x RENAME TO Sales");
    warehouse.Run("UPDATE dwm_tables SET table_name = 'sALES', where_clause = 'ID = 4'");
    ASSERT_TRUE(Archive()) << state.ErrorText;
    EXPECT_FALSE(Contains(log.Text, "Table created"));
    EXPECT_EQ(Archived() + "," + Kept(), "1 2 3 4,5");
}

TEST_F(ArchiveFault, TheSameKeyTwiceInOneSecondIsRefusedAndDeletesNothing) {
    ASSERT_TRUE(Archive()) << state.ErrorText;
    warehouse.Run(
        "INSERT INTO sales VALUES(1,'2017-01-01 00:00:00',1,'again'),"
        "(9,'2017-01-01 00:00:00',1,'new')");
    EXPECT_FALSE(Archive());
    EXPECT_TRUE(Contains(state.ErrorText, "UNIQUE"));
    EXPECT_EQ(Kept(), "1 4 5 9");
    EXPECT_EQ(Archived(), "1 2 3") << "none of the second run's";
    clock.Moment.TimeOfDay += std::chrono::seconds(1);
    EXPECT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(Archived() + "," + Kept(), "1 1 2 3 9,4 5");
}

// Rows that were not copied must not be deleted.
TEST_F(ArchiveFault, RowsThatArriveAfterTheCopyStopTheDelete) {
    bool arrived = false;
    onStatement = [&](const std::string& sql) {
        if (sql == "BEGIN" && !arrived) {
            arrived = true;
            warehouse.Run("INSERT INTO sales VALUES(6,'2019-01-01 00:00:00',1,'late')");
        }
    };
    EXPECT_FALSE(Archive());
    ASSERT_TRUE(arrived);
    EXPECT_TRUE(
        Contains(state.ErrorText, "4 rows of sales meet the condition now, and 3 were archived"));
    EXPECT_TRUE(Contains(log.Text, "An error occurred"));
    EXPECT_EQ(Kept(), "1 2 3 4 5 6");
    EXPECT_EQ(Archived(), "1 2 3");
    clock.Moment.TimeOfDay += std::chrono::seconds(1);
    EXPECT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(Archived() + "," + Kept(), "1 1 2 2 3 3 6,4 5");
}

TEST_F(ArchiveFault, OnlyAPasswordWithASingleQuoteIsRefused) {
    ConnectArchive(false, "it's");
    SetCondition(kOld);
    ExpectFailureWithAllRowsInPlace("the password of the archive, since it holds a single quote");
    ConnectArchive(false, "it''s; ) select *, {ts ");
    EXPECT_TRUE(Archive()) << state.ErrorText;
    EXPECT_EQ(Archived(), "1 2 3");
}

}  // namespace
}  // namespace morvane::testing
