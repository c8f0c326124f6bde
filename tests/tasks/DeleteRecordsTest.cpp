// SPDX-License-Identifier: Apache-2.0
#include "tasks/modDeleteRecords.h"

#include "base/Text.h"
#include "support/Golden.h"
#include "tasks/TaskTest.h"

namespace morvane::testing {
namespace {

// A plain dimension "shop" with rows 2 and 3 of 4 marked, and a slowly-moving dimension "client"
// with three elements, of which all, some and no versions are marked.
class Deletion : public TaskTest {
  protected:
    Deletion() {
        warehouse.AddDimension("shop", "id int");
        warehouse.AddSlowMovingDimension("client", "id int, code varchar(20), region int");
        warehouse.Run(
            "INSERT INTO shop(id, is_deletable) VALUES (1,0),(2,1),(3,1),(4,NULL);"
            "INSERT INTO client VALUES"
            "(1,'all',7,'2020-01-01','2021-01-01',0,0,1),"
            "(2,'all',7,'2021-01-01','2099-12-31',1,0,1),"
            "(3,'some',7,'2020-01-01','2021-01-01',0,0,1),"
            "(4,'some',7,'2021-01-01','2099-12-31',1,0,0),"
            "(5,'none',7,'2020-01-01','2099-12-31',1,0,0)");
        warehouse.AddRelation("sales", "shop", "shop", "id");
        warehouse.AddRelation("sales", "client", "client", "id", true, "code, region");
    }

    bool Delete(bool atomic) {
        state.ErrorText.clear();
        return DeleteRecords(state, progress, Factory(), atomic) == Outcome::Done;
    }
    void ExpectRefused(bool atomic, const std::string& error = "") {
        const std::string before = Ids("client");
        EXPECT_FALSE(Delete(atomic));
        EXPECT_NE(state.ErrorText, "");
        EXPECT_TRUE(Contains(state.ErrorText, error));
        EXPECT_EQ(Ids("client"), before);
    }
    std::string Ids(const std::string& table) const {
        return warehouse.Text("SELECT id FROM " + table + " ORDER BY id");
    }
};

TEST_F(Deletion, SendsTheExpectedStatements) {
    ASSERT_TRUE(Delete(false)) << state.ErrorText;
    EXPECT_TRUE(MatchesGolden(statements, "deletion.statements"));
    EXPECT_EQ(Join(progress.Log, "; "),
              "range 0..2; value 0 to 0; comment Deleting records from Dimension table : shop;"
              " comment Deleting records from Dimension table : client; value 2 to 0; comment ");
}

TEST_F(Deletion, SendsTheExpectedStatementsIfAtomic) {
    ASSERT_TRUE(Delete(true)) << state.ErrorText;
    EXPECT_TRUE(MatchesGolden(statements, "atomic_deletion.statements"));
}

TEST_F(Deletion, FillsTheBarIfNoDimensionIsSelected) {
    warehouse.Run("UPDATE dwm_tables SET is_selected = 0");
    ASSERT_TRUE(Delete(false)) << state.ErrorText;
    EXPECT_EQ(Ids("shop"), "1 2 3 4");
    EXPECT_EQ(Join(progress.Log, "; "), "range 0..1; value 0 to 1; value 1 to 0; comment ");
}

TEST_F(Deletion, ProcessesATableOnceForEachKindOfItsRelations) {
    warehouse.AddRelation("returns", "client", "client", "id", false, "code, region");
    ASSERT_TRUE(Delete(true)) << state.ErrorText;
    EXPECT_EQ(Ids("client"), "4 5");
}

TEST_F(Deletion, StopsBeforeTheNextTableWhenCancelled) {
    progress.CancelAtPoll = 2;
    EXPECT_EQ(DeleteRecords(state, progress, Factory(), false), Outcome::Cancelled);
    EXPECT_EQ(state.ErrorText, "");
    EXPECT_EQ(Ids("shop"), "1 4");
    EXPECT_EQ(Ids("client"), "1 2 3 4 5");
}

TEST_F(Deletion, NeedsAnElementKey) {
    warehouse.Run("UPDATE dwm_star_relations SET original_primary_key = NULL");
    ExpectRefused(false);
    ExpectRefused(true);
}

TEST_F(Deletion, NeedsHistoryColumnsForMarkedVersionsOnly) {
    warehouse.Run("ALTER TABLE client DROP COLUMN end_date; UPDATE client SET is_deletable = 0");
    EXPECT_TRUE(Delete(false)) << state.ErrorText;
    warehouse.Run("UPDATE client SET is_deletable = 1 WHERE id = 1");
    ExpectRefused(false, "\"end_date\"");
    warehouse.Run(
        "ALTER TABLE client ADD COLUMN end_date date;"
        "UPDATE client SET start_date = '1/2/2020' WHERE id = 1");
    ExpectRefused(false, "start_date of client holds '1/2/2020'");
}

// Atomic deletion writes the key values into its statement.
TEST_F(Deletion, NeverTakesAKeyValueForAnotherConditionIfAtomic) {
    for (const char* code :
         {"''none'' OR ''1''=''1", "none'' --", "some''; DELETE FROM client; --", "a''''b"}) {
        warehouse.Run("DELETE FROM client WHERE id = 9; INSERT INTO client VALUES(9,'" +
                      std::string(code) + "',7,'2020-01-01','2099-12-31',1,0,1)");
        ExpectRefused(true);
    }
    warehouse.Run(
        "UPDATE dwm_star_relations SET original_primary_key = 'region, code';"
        "UPDATE client SET code = 'x', region = 'region' WHERE id = 9");
    ExpectRefused(true);
}

TEST_F(Deletion, StopsIfVersionsWereAddedOrDeletedSinceTheCountIfAtomic) {
    std::string change = "INSERT INTO client VALUES(9,'all',7,'2099-12-31',NULL,1,0,0)";
    onStatement = [&](const std::string& sql) {
        sql == "deletion BEGIN" ? warehouse.Run(change) : void();
    };
    EXPECT_FALSE(Delete(true));
    EXPECT_TRUE(Contains(state.ErrorText, "more rows than the element had"));
    EXPECT_EQ(Ids("client"), "1 2 3 4 5 9");
    warehouse.Run("DELETE FROM client WHERE id = 9");
    change = "DELETE FROM client WHERE id = 1";
    EXPECT_FALSE(Delete(true));
    EXPECT_TRUE(Contains(state.ErrorText, "finds 1 of the 2 rows"));
    EXPECT_EQ(Ids("client"), "2 3 4 5");
}

// In text columns too, and with the dates that an earlier version has passed on.
TEST_F(Deletion, LinksVersionsByDay) {
    for (const std::string type : {"datetime", "varchar(30)"}) {
        warehouse.Run(
            "DROP TABLE client; CREATE TABLE client(id int, code int, region int,"
            " start_date " +
            type + ", end_date " + type +
            ", is_current bit, is_deletable bit); INSERT INTO client VALUES"
            "(1,1,1,'2020-01-01','2021-01-01T10:00:00',0,1),"
            "(2,1,1,'2021-01-01','2022-01-01T08:30:00',0,1),"
            "(3,1,1,'2022-01-01','2099-12-31',1,0)");
        ASSERT_TRUE(Delete(false)) << state.ErrorText;
        EXPECT_EQ(warehouse.Text("SELECT id, date(start_date) FROM client"), "3|2020-01-01");
    }
}

// The first version of an element is marked, the second one is not, and a third one belongs to
// another element.
struct History {
    std::string KeyType;
    std::string Key;
    std::string OtherKey;
    std::string KeyAgain = Key;  // the same value in another form
    std::string DateType = "date";
    std::string First = "'2020-01-01'";
    std::string Second = "'2021-01-01'";
    std::string PassedOn = "2020-01-01";
};

class HistoryDeletion : public Deletion {
  protected:
    // Expects that the second version takes over the start of the first one.
    void ExpectPassedOn(const History& h, const std::string& dateOrder) {
        SCOPED_TRACE(h.KeyType + " " + h.Key + " " + h.DateType + " " + h.First + " " + dateOrder);
        warehouse.Run(
            "UPDATE dwm_star_relations SET original_primary_key = 'region, code';"
            "DROP TABLE client; CREATE TABLE client(id int, region int, code " +
            h.KeyType + ", start_date " + h.DateType + ", end_date " + h.DateType +
            ", is_current bit, is_deletable bit); INSERT INTO client VALUES" + "(1,7," + h.Key +
            "," + h.First + "," + h.Second + ",0,1)," + "(2,7," + h.KeyAgain + "," + h.Second +
            ",'2099-12-31',1,0)," + "(3,7," + h.OtherKey + "," + h.Second + ",'2099-12-31',1,0)");
        ASSERT_EQ(DeleteRecords(state, progress, InSessions(dateOrder), false), Outcome::Done)
            << state.ErrorText;
        EXPECT_EQ(warehouse.Text("SELECT id, start_date FROM client"),
                  "2|" + h.PassedOn + " 3|" + ReplaceAll(h.Second, "'", ""));
    }
};

// A key value must not match an element whose key only looks the same.
TEST_F(HistoryDeletion, ComparesKeysByTypeAndValue) {
    const History cases[] = {
        {"varbinary(9)", "x'4142'", "'0x4142'"},
        {"varbinary(9)", "'0x4142'", "x'4142'"},
        {"varchar(9)", "x'41'", "'A'"},
        {"varchar(9)", "'007'", "'7'"},
        {"", "7", "'7'"},
        {"", "'7'", "7"},
        {"", "x'37'", "'7'"},
        {"float", "1.0 / 3", "0.333"},
        {"datetime", "'2020-01-01'", "'2020-01-01 00:00:01'", "'2020-01-01 00:00:00'"},
        {"datetime", "'20200101'", "'20200102'", "'2020-01-01'"},
        {"datetime", "'2020-01-01 00:00:00.000'", "'2020-01-01 00:00:00.001'"},
        {"datetime", "'2020-01-01 10:20:30.5'", "'2020-01-01 10:20:30'"},
        {"smalldatetime", "'2020-01-01T10:20:00'", "'2020-01-01 10:21:00'", "'2020-01-01 10:20'"},
        {"datetime2(6)", "'2020-01-01 10:20:30.000000'", "'2020-01-01 10:20:31'"},
        {"date", "'20200101'", "'2020-01-02'"},
    };
    for (const History& history : cases) {
        ExpectPassedOn(history, "mdy");
        warehouse.Run("INSERT INTO client VALUES(4,7," + history.Key +
                      ",'2019-01-01','2020-01-01',0,1);"
                      "UPDATE client SET is_deletable = 1 WHERE id = 2");
        const bool refused = history.Key == "'0x4142'";  // text in a binary column
        EXPECT_EQ(Delete(true), !refused) << history.Key << state.ErrorText;
        EXPECT_EQ(Ids("client"), refused ? "2 3 4" : "3") << history.Key;
    }
}

// A date that is passed on takes the form of its column, or keeps its own in a text column. Texts
// are read as dates in the order of the session.
TEST_F(HistoryDeletion, PassesADateOnInTheFormOfItsColumn) {
    const std::array<std::string, 4> cases[] = {
        {"datetime", "2024-01-11 00:00:00", "2024-01-12 08:30:00", "2024-01-11 00:00:00"},
        {"datetime", "2024-01-11", "2024-01-12", "2024-01-11 00:00:00"},
        {"datetime", "20240111", "20240112", "2024-01-11 00:00:00"},
        {"date", "2024-01-11", "2024-01-12", "2024-01-11"},
        {"date", "20240111", "20240112", "2024-01-11"},
        {"smalldatetime", "2024-01-11T00:00:00", "2024-01-12T00:00:00", "2024-01-11 00:00:00"},
        {"datetime2", "2024-01-11 00:00:00.000", "2024-01-12", "2024-01-11 00:00:00"},
        {"varchar(30)", "2024-01-11", "2024-01-12T10:00:00", "2024-01-11"},
        {"varchar(30)", "20240111", "20240112", "20240111"},
        {"text", "2024-01-11 00:00:00", "2024-01-12 00:00:00", "2024-01-11 00:00:00"},
    };
    for (const auto& [type, first, second, passedOn] : cases) {
        const History history{"int",   "1", "2", "1", type, "'" + first + "'", "'" + second + "'",
                              passedOn};
        ExpectPassedOn(history, "mdy");
        if (type.find("date") != std::string::npos) {
            ExpectPassedOn(history, "dmy");
        }
    }
}

}  // namespace
}  // namespace morvane::testing
