// SPDX-License-Identifier: Apache-2.0
#include "tasks/modDeleteRecords.h"

#include <functional>

#include "support/Golden.h"
#include "tasks/TaskTest.h"

namespace morvane::testing {

// A plain dimension "shop" with rows 2 and 3 of 4 marked, and a slowly-moving dimension "client"
// with three elements, of which all, some and no versions are marked.
class DeleteRecordsTest : public TaskTest {
  protected:
    DeleteRecordsTest() {
        warehouse.AddDimension("shop", "id int");
        warehouse.Run("INSERT INTO shop(id, is_deletable) VALUES (1,0),(2,1),(3,1),(4,NULL)");
        warehouse.AddSlowMovingDimension("client", "id int, code varchar(20), region int");
        AddVersion(1, "'all'", "2020-01-01", "2021-01-01", true);
        AddVersion(2, "'all'", "2021-01-01", "2099-12-31", true);
        AddVersion(3, "'some'", "2020-01-01", "2021-01-01", true);
        AddVersion(4, "'some'", "2021-01-01", "2099-12-31", false);
        AddVersion(5, "'none'", "2020-01-01", "2099-12-31", false);
        warehouse.AddRelation("sales", "shop", "shop", "id");
        warehouse.AddRelation("sales", "client", "client", "id", true, "code, region");
    }

    void AddVersion(int id, const std::string& code, const std::string& start,
                    const std::string& end, bool marked) {
        warehouse.Run(
            "INSERT INTO client(id, code, region, start_date, end_date, is_current, "
            "is_deletable) VALUES (" +
            std::to_string(id) + "," + code + ",7,'" + start + "','" + end + "'," +
            (end == "2099-12-31" ? "1," : "0,") + (marked ? "1)" : "0)"));
    }

    bool Delete(bool atomic) {
        return DeleteRecords(state, progress, Factory(), atomic) == Outcome::Done;
    }
    std::string Ids(const std::string& table) const {
        return warehouse.Text("SELECT id FROM " + table + " ORDER BY id");
    }
};

TEST_F(DeleteRecordsTest, SendsTheExpectedStatements) {
    ASSERT_TRUE(Delete(false)) << state.ErrorText;
    EXPECT_TRUE(MatchesGolden(StatementLines(), "deletion.statements"));
}

TEST_F(DeleteRecordsTest, SendsTheExpectedStatementsForAtomicDeletion) {
    ASSERT_TRUE(Delete(true)) << state.ErrorText;
    EXPECT_TRUE(MatchesGolden(StatementLines(), "atomic_deletion.statements"));
}

TEST_F(DeleteRecordsTest, WithoutASelectedDimensionTheBarIsFullAndNothingIsDeleted) {
    warehouse.Run("UPDATE dwm_tables SET is_selected = 0");
    ASSERT_TRUE(Delete(false)) << state.ErrorText;
    EXPECT_EQ(Ids("shop"), "1 2 3 4");
    EXPECT_EQ(progress.Log,
              (std::vector<std::string>{"range 0..1", "value 0 to 1", "value 1 to 0", "comment "}));
}

TEST_F(DeleteRecordsTest, ATableWhoseRelationsDisagreeIsProcessedOnceForEachValue) {
    warehouse.AddRelation("returns", "client", "client", "id", false, "code, region");
    ASSERT_TRUE(Delete(true)) << state.ErrorText;
    EXPECT_EQ(Ids("client"), "4 5");
}

TEST_F(DeleteRecordsTest, ACancelStopsBeforeTheNextTableAndFinishedTablesStayDeleted) {
    progress.CancelAtPoll = 2;
    EXPECT_EQ(DeleteRecords(state, progress, Factory(), false), Outcome::Cancelled);
    EXPECT_EQ(state.ErrorText, "");
    EXPECT_EQ(Ids("shop"), "1 4");
    EXPECT_EQ(Ids("client"), "1 2 3 4 5");
}

TEST_F(DeleteRecordsTest, AFailureTakesItsTableBackWithTheRelinkingAndKeepsTheFinishedOnes) {
    const std::string before = warehouse.Text("SELECT * FROM client");
    warehouse.Run(
        "CREATE TRIGGER refuse BEFORE DELETE ON client WHEN old.id = 2 "
        "BEGIN SELECT raise(ABORT, 'client 2 has debts'); END");
    for (const bool atomic : {false, true}) {
        state.ErrorText.clear();
        EXPECT_FALSE(Delete(atomic));
        EXPECT_NE(state.ErrorText.find("has debts"), std::string::npos);
        EXPECT_EQ(state.ErrorText.find("has debts"), state.ErrorText.rfind("has debts"));
        EXPECT_EQ(Ids("shop"), "1 4");
        EXPECT_EQ(warehouse.Text("SELECT * FROM client"), before);
    }
}

TEST_F(DeleteRecordsTest, WithoutAnElementKeyBothWaysFailAndDeleteNothing) {
    warehouse.Run("UPDATE dwm_star_relations SET original_primary_key = NULL");
    for (const bool atomic : {false, true}) {
        state.ErrorText.clear();
        EXPECT_FALSE(Delete(atomic));
        EXPECT_NE(state.ErrorText, "");
        EXPECT_EQ(Ids("client"), "1 2 3 4 5");
    }
}

class AtomicKeyTest : public DeleteRecordsTest {
  protected:
    // Expects that atomic deletion fails with one more marked element and deletes nothing of
    // "client".
    void ExpectRefused(const std::string& code) {
        warehouse.Run("DELETE FROM client WHERE id = 9");
        AddVersion(9, code, "2020-01-01", "2099-12-31", true);
        state.ErrorText.clear();
        EXPECT_FALSE(Delete(true));
        EXPECT_NE(state.ErrorText, "");
        EXPECT_EQ(Ids("client"), "1 2 3 4 5 9") << code;
    }
};

TEST_F(AtomicKeyTest, AQuotedValueNeverBecomesAnotherCondition) {
    ExpectRefused("'none'' OR ''1''=''1'");
    ExpectRefused("'none'' --'");
    ExpectRefused("'some''; DELETE FROM client; --'");
    ExpectRefused("'a''''b'");
}

TEST_F(AtomicKeyTest, AnUnquotedTextIsRefusedUnlessItIsANumber) {
    warehouse.Run("UPDATE dwm_star_relations SET original_primary_key = 'region, code'");
    warehouse.Run("INSERT INTO client(id, code, region, is_deletable) VALUES (9,'x','region',1)");
    EXPECT_FALSE(Delete(true));
    EXPECT_NE(state.ErrorText, "");
    EXPECT_EQ(Ids("client"), "1 2 3 4 5 9");
}

TEST_F(AtomicKeyTest, AVersionInsertedOrDeletedSinceTheCountStopsTheDeletion) {
    std::function<void()> meanwhile = [this] {
        AddVersion(9, "'all'", "2099-12-31", "2100-01-01", false);
    };
    const auto factory = [&](std::string_view server) {
        return TraceStatements(CreateConnection(server), [&](std::string_view sql) {
            if (sql == "BEGIN") {
                meanwhile();
            }
        });
    };
    EXPECT_EQ(DeleteRecords(state, progress, factory, true), Outcome::Failed);
    EXPECT_NE(state.ErrorText.find("more rows than the element had"), std::string::npos);
    EXPECT_EQ(Ids("client"), "1 2 3 4 5 9");
    warehouse.Run("DELETE FROM client WHERE id = 9");
    meanwhile = [this] { warehouse.Run("DELETE FROM client WHERE id = 1"); };
    EXPECT_EQ(DeleteRecords(state, progress, factory, true), Outcome::Failed);
    EXPECT_NE(state.ErrorText.find("finds 1 of the 2 rows"), std::string::npos);
    EXPECT_EQ(Ids("client"), "2 3 4 5");
}

// A key value must not match an element whose key only looks the same.
TEST_F(DeleteRecordsTest, KeysAreComparedByTypeAndValue) {
    const struct {
        const char* Type;
        const char* Key;
        const char* Other;
        const char* KeyAgain = nullptr;  // the same value in another form
    } cases[] = {
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
    warehouse.Run("UPDATE dwm_star_relations SET original_primary_key = 'region, code'");
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.Type) + " " + c.Key);
        warehouse.Run("DROP TABLE client; CREATE TABLE client(id int, region int, code " +
                      std::string(c.Type) +
                      ", start_date date, end_date date, is_current bit, is_deletable bit)");
        const auto add = [&](int id, const char* key, const std::string& period) {
            warehouse.Run("INSERT INTO client VALUES(" + std::to_string(id) + ",7," + key + "," +
                          period + ")");
        };
        add(1, c.Key, "'2020-01-01','2021-01-01',0,1");
        add(2, c.KeyAgain == nullptr ? c.Key : c.KeyAgain, "'2021-01-01','2099-12-31',1,0");
        add(3, c.Other, "'2021-01-01','2099-12-31',1,0");
        ASSERT_TRUE(Delete(false)) << state.ErrorText;
        EXPECT_EQ(warehouse.Text("SELECT id, start_date FROM client"), "2|2020-01-01 3|2021-01-01");
        add(4, c.Key, "'2019-01-01','2020-01-01',0,1");
        warehouse.Run("UPDATE client SET is_deletable = 1 WHERE id = 2");
        const bool done = Delete(true);
        const bool refused = std::string(c.Key) == "'0x4142'";  // text in a binary column
        EXPECT_EQ(done, !refused) << state.ErrorText;
        EXPECT_EQ(Ids("client"), refused ? "2 3 4" : "3");
        state.ErrorText.clear();
    }
}

TEST_F(DeleteRecordsTest, HistoryColumnsAreOnlyNeededForMarkedVersions) {
    warehouse.Run("ALTER TABLE client DROP COLUMN end_date; UPDATE client SET is_deletable = 0");
    EXPECT_TRUE(Delete(false)) << state.ErrorText;
    warehouse.Run("UPDATE client SET is_deletable = 1 WHERE id = 1");
    EXPECT_FALSE(Delete(false));
    EXPECT_NE(state.ErrorText.find("\"end_date\""), std::string::npos);
    warehouse.Run(
        "ALTER TABLE client ADD COLUMN end_date date;"
        "UPDATE client SET start_date = '1/2/2020' WHERE id = 1");
    state.ErrorText.clear();
    EXPECT_FALSE(Delete(false));
    EXPECT_NE(state.ErrorText.find("start_date of client holds '1/2/2020'"), std::string::npos);
    EXPECT_EQ(Ids("client"), "1 2 3 4 5");
}

}  // namespace morvane::testing
