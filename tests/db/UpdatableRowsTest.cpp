#include "db/UpdatableRows.h"

#include "db/StatementTrace.h"
#include "db/SustainQuery.h"
#include "support/ErrorOf.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {

class UpdatableRowsTest : public ::testing::Test {
  protected:
    TestWarehouse warehouse;
    std::unique_ptr<Connection> connection;
    std::vector<std::string> sent;

    UpdatableRowsTest() {
        warehouse.Run(
            "CREATE TABLE item(id int, shop int, name varchar(20), is_sustainable bit,"
            " is_deletable bit, PRIMARY KEY(id, shop))");
        warehouse.Run(
            "INSERT INTO item VALUES(1, 1, ' c ', 0, 0), (1, 2, 'a', 1, 0),"
            "(2, 1, 'b', NULL, 0), (2, 2, NULL, 0, 0)");
        warehouse.AddDimension("loose", "name varchar(20)");
        warehouse.Run(
            "INSERT INTO loose VALUES('x', 0, 0), ('x', 0, 0), ('y', 0, 0), (NULL, 0, 0)");
        warehouse.Run("CREATE TABLE f(item int, day int); INSERT INTO f VALUES(1, 10), (1, 20)");
        connection = TraceStatements(warehouse.Connect(),
                                     [&](std::string_view text) { sent.emplace_back(text); });
    }

    UpdatableRows Open(const std::string& sql) {
        std::string errorText;
        return {*connection, SustainQuery(*connection, ParseSelect(sql, errorText).value())};
    }
    std::string Flags(const std::string& table) {
        return warehouse.Text("SELECT is_sustainable FROM " + table + " ORDER BY rowid");
    }
    std::string SaveError(UpdatableRows& rows) {
        return ErrorOf([&] { rows.Save(*connection); });
    }
    static std::string Shown(const UpdatableRows& rows) {
        std::string text;
        for (std::size_t column = 0; column < rows.ColumnCount(); ++column) {
            text += rows.ColumnName(column) + "=" + rows.Cell(0, column) + " ";
        }
        return text + (rows.Checked(0) ? "checked" : "");
    }
};

TEST_F(UpdatableRowsTest, FlagsAndAddedKeysAreNotShown) {
    EXPECT_EQ(Shown(Open("select * from item")), "id=1 shop=1 name=c is_deletable=0 ");
    EXPECT_EQ(Shown(Open("select name, 1 as is_selected from item")), "name=c ");
    EXPECT_EQ(Shown(Open("select 1 as is_sustainable, name from item")), "name=c checked")
        << "the last field of the name gives the mark";
    UpdatableQuery plain;
    plain.Sql = "select name, 1 as is_sustainable from item";
    EXPECT_EQ(Shown({*connection, plain}), "name= checked") << "the first field is no cell";
}

TEST_F(UpdatableRowsTest, ChangedRowsAloneAreWrittenByTheirKeyWhateverTheOrder) {
    UpdatableRows rows = Open("select name from item order by id desc, shop desc");
    EXPECT_EQ(rows.Cell(1, 0), "b");
    rows.SetChecked(0, true);
    sent.clear();
    rows.Save(*connection);
    EXPECT_EQ(Flags("item"), "0 1 0 1") << "NULL counts as changed";
    EXPECT_EQ(sent.size(), 4U);  // with BEGIN and COMMIT
    sent.clear();
    rows.Save(*connection);
    EXPECT_TRUE(sent.empty());
    rows.SetChecked(0, false);
    rows.Save(*connection);
    EXPECT_EQ(Flags("item"), "0 1 0 0") << "what was saved is the old value now";
}

TEST_F(UpdatableRowsTest, ARowChangedBySomeoneElseSavesNone) {
    UpdatableRows rows = Open("select * from item");
    warehouse.Run("UPDATE item SET is_sustainable = 1 WHERE id = 2 AND shop = 2");
    rows.SetChecked(0, true);
    rows.SetChecked(3, true);
    EXPECT_TRUE(Contains(SaveError(rows), "id = 2, shop = 2, is_sustainable = 0"));
    EXPECT_EQ(Flags("item"), "0 1 NULL 1");
    EXPECT_TRUE(rows.Checked(0)) << "the list stays as it was left";
}

TEST_F(UpdatableRowsTest, RowsOfOneRecordMustAgreeAndAreWrittenOnce) {
    UpdatableRows rows = Open(
        "select name, day from item join f on f.item = item.id"
        " where item.shop = 1 order by day");
    ASSERT_EQ(rows.Count(), 2U);
    rows.SetChecked(1, true);
    EXPECT_NE(SaveError(rows), "no error");
    EXPECT_EQ(Flags("item"), "0 1 NULL 0");
    rows.SetChecked(0, true);
    EXPECT_EQ(SaveError(rows), "no error");
    EXPECT_EQ(Flags("item"), "1 1 NULL 0");
}

TEST_F(UpdatableRowsTest, WithoutAKeyARecordThatIsNotTheOnlyOneIsRefused) {
    UpdatableRows rows = Open("select name from loose order by name");
    rows.SetChecked(0, true);
    rows.SetChecked(3, true);
    EXPECT_EQ(SaveError(rows), "no error") << "NULL and y stand alone";
    EXPECT_EQ(Flags("loose"), "0 0 1 1");
    rows.SetChecked(1, true);
    EXPECT_NE(SaveError(rows), "no error");
    rows.SetChecked(2, true);
    EXPECT_NE(SaveError(rows), "no error");
    EXPECT_EQ(Flags("loose"), "0 0 1 1");

    UpdatableRows derived = Open("select * from (select * from loose) l");
    EXPECT_EQ(derived.Count(), 4U);
    derived.SetChecked(0, true);
    EXPECT_TRUE(Contains(SaveError(derived), "cannot be saved"));
}

TEST_F(UpdatableRowsTest, MarksNotSavedFollowTheirRecords) {
    UpdatableRows before = Open("select name from item order by id, shop");
    before.SetChecked(0, true);
    before.SetChecked(1, false);
    UpdatableRows after = Open("select name from item order by id desc, shop desc");
    after.CarryOver(before);
    EXPECT_TRUE(after.Checked(3));
    EXPECT_FALSE(after.Checked(2) || after.Checked(1) || after.Checked(0));

    UpdatableRows twins = Open("select name from loose order by name");
    twins.SetChecked(1, true);
    UpdatableRows again = Open("select name from loose order by name desc");
    again.CarryOver(twins);
    EXPECT_TRUE(again.Checked(1) != again.Checked(2)) << "one of two alike, as before";
}

}  // namespace morvane::testing
