// SPDX-License-Identifier: Apache-2.0
#include "dialogs/SustainQuery.h"

#include "db/StatementTrace.h"
#include "dialogs/UpdatableRows.h"
#include "support/ErrorOf.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {

// The query of the query box, and the rows that it shows and saves.
class SustainTest : public ::testing::Test {
  protected:
    TestWarehouse warehouse;
    std::unique_ptr<Connection> connection;
    std::vector<std::string> sent;

    SustainTest() {
        warehouse.Run(
            "CREATE TABLE item(id int, shop int, name varchar(20), is_sustainable bit,"
            " is_deletable bit, PRIMARY KEY(id, shop));"
            "INSERT INTO item VALUES(1, 1, ' c ', 0, 0), (1, 2, 'a', 1, 0),"
            "(2, 1, 'b', NULL, 0), (2, 2, NULL, 0, 0);"
            "CREATE TABLE f(id int, day int); INSERT INTO f VALUES(1, 10), (1, 20)");
        warehouse.AddDimension("[odd one]", "[the key] int PRIMARY KEY, name varchar(20)");
        warehouse.AddDimension("loose", "id int, name varchar(20), pic varbinary(9)");
        warehouse.Run("INSERT INTO loose(name) VALUES('x'), ('x'), ('y'), (NULL)");
        connection = TraceStatements(warehouse.Connect(),
                                     [&](std::string_view text) { sent.emplace_back(text); });
    }

    UpdatableQuery Made(const std::string& sql) {
        std::string errorText;
        const auto query = ParseSelect(sql, errorText);
        EXPECT_TRUE(query) << sql << ": " << errorText;
        return query ? SustainQuery(*connection, *query) : UpdatableQuery();
    }
    std::string Rebuilt(const std::string& sql) { return Made(sql).Sql; }
    // The key as "column@field ...", followed by "read-only" if nothing can be saved.
    std::string Key(const std::string& sql) {
        const UpdatableQuery query = Made(sql);
        std::string text;
        for (const KeyField& key : query.Key) {
            text += key.Column + "@" + std::to_string(key.Field) + " ";
        }
        return text + (query.WhyReadOnly.empty() ? "" : "read-only");
    }
    static std::string Refusal(const std::string& sql) {
        std::string errorText;
        return ParseSelect(sql, errorText) ? "" : errorText;
    }
    UpdatableRows Open(const std::string& sql) { return {*connection, Made(sql)}; }
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

TEST_F(SustainTest, ACommaBetweenFromAndTheConditionMakesAJoin) {
    EXPECT_FALSE(IsJoinQuery("SELECT a, b FROM t"));
    EXPECT_TRUE(IsJoinQuery("SELECT * FROM t1, t2 WHERE t1.a = t2.a"));
    EXPECT_FALSE(IsJoinQuery("SELECT * FROM t1 JOIN t2 ON t1.a = t2.a"));
    EXPECT_FALSE(IsJoinQuery("select * from t\nwhere a in (1, 2)"));
    EXPECT_FALSE(IsJoinQuery("select * from t\tOrder\n By a, b"));
    EXPECT_FALSE(IsJoinQuery("select * from t group  by a, b"));
    EXPECT_TRUE(
        IsJoinQuery("select * from t having a, b"
                    " where c"))
        << "the condition is searched first";
    EXPECT_TRUE(IsJoinQuery("a, b")) << "without FROM the whole text counts";
}

TEST_F(SustainTest, TheFlagIsTheFirstItemAfterDistinctAndTop) {
    EXPECT_EQ(Rebuilt("Select * from item"), "Select  is_sustainable, * from item");
    EXPECT_EQ(Rebuilt("SELECT\n\tTop  5\r\n * from item ; "),
              "Select TOP 5 is_sustainable, * from item");
    EXPECT_EQ(Rebuilt("select top (5) percent * from item"),
              "Select TOP (5) PERCENT  is_sustainable, * from item");
    EXPECT_EQ(Rebuilt("select all top 5 with Ties * from item order by id"),
              "Select all TOP 5 WITH TIES  is_sustainable, * from item order by id");
    EXPECT_EQ(Rebuilt("select distinct top 5 name  from item where name = 'a;  from b'"),
              "Select distinct TOP 5 is_sustainable, name  from item where name = 'a;  from b'");
    EXPECT_EQ(Rebuilt("select top merge join f from item"),
              "Select  is_sustainable, item.id, item.shop, top merge join f from item");
    EXPECT_EQ(Rebuilt("select /* what; */ * from item -- don't"),
              "Select  is_sustainable, * from item");
}

TEST_F(SustainTest, OnlyASingleQueryIsExecuted) {
    for (const char* sql :
         {"", "delete from item", "select", "select distinct from item", "exec x",
          "with a as (select 1) select * from a", "select * from item; drop table item",
          "select * from item drop table item", "select * from item delete from item",
          "select * into copy from item", "select ']' from item /* ' */ ; drop table item --'",
          "select [a]]'] from t; drop table t",
          // The text in the open quote would become a statement after the hidden key.
          "select name from item \"x ; delete from item --",
          "select name from item where name = 'x", "select name from [item"}) {
        EXPECT_NE(Refusal(sql), "") << sql;
    }
    EXPECT_EQ(Refusal("select 'x; drop table' as [;update;], \"delete\" from item;;"), "");
    EXPECT_EQ(Refusal("select id from item inner merge join f on f.id = item.id"), "");
}

TEST_F(SustainTest, AMissingKeyIsAddedUnlessThatChangesTheResult) {
    EXPECT_EQ(Rebuilt("select name from item"),
              "Select  is_sustainable, item.id, item.shop, name from item");
    EXPECT_EQ(Key("select name from item"), "id@1 shop@2 ");
    EXPECT_EQ(Rebuilt("select i.ID, name from dbo.[item] As i where shop = 1"),
              "Select  is_sustainable, i.shop, i.ID, name from dbo.[item] As i where shop = 1");
    EXPECT_EQ(Key("select i.ID, name from dbo.[item] i"), "ID@2 shop@1 ");
    EXPECT_EQ(Rebuilt("select name from [odd one]"),
              "Select  is_sustainable, [odd one].[the key], name from [odd one]");
    EXPECT_FALSE(Contains(Made("select name from item FROM f").Sql, "FROM."))
        << "FROM is not an alias; the server refuses the query";
    // An alias with the name of a key column is not the key.
    EXPECT_EQ(Key("select 7 as id, shop from item"), "id@1 shop@3 ");
    EXPECT_EQ(Key("select shop id, id shop from item"), "id@1 shop@2 ");
    for (const char* sql : {"select distinct name from item", "select name from item group by name",
                            "select max(name), name from item"}) {
        EXPECT_EQ(Made(sql).HiddenFields, 0U) << sql;
        EXPECT_EQ(Key(sql), std::string("name@") + (sql[7] == 'm' ? "2 " : "1 ")) << sql;
    }
}

TEST_F(SustainTest, FindsTheFieldsOfTheKey) {
    EXPECT_EQ(Key("select * from item"), "id@1 shop@2 ");
    EXPECT_EQ(Key("select upper(name), item.* from item"), "id@2 shop@3 ");
    EXPECT_EQ(Key("select f.*, item.* from item join f on f.id = item.id"), "id@1 shop@2 ");
    EXPECT_EQ(Made("select f.*, item.* from item join f on f.id = item.id").HiddenFields, 2U);
    EXPECT_EQ(Key("select * from item join f on f.id = item.id"), "id@1 shop@2 ");
    EXPECT_EQ(Key("select * from loose"), "id@1 name@2 is_deletable@5 ")
        << "without a primary key, the columns that can be compared";
}

TEST_F(SustainTest, RowsThatAreNotThoseOfOneTableCannotBeSaved) {
    warehouse.Run("CREATE VIEW v AS SELECT * FROM item");
    for (const char* sql : {"select * from (select * from item) x",
                            "select * from item union select * from item", "select * from v",
                            "select 1", "select * from item for xml", "select upper(day) from f"}) {
        EXPECT_EQ(Key(sql).substr(Key(sql).find("read")), "read-only") << sql;
    }
}

TEST_F(SustainTest, SortingReplacesTheOrder) {
    EXPECT_EQ(OrderedBy("Select * from t;", "name"), "Select * from t ORDER BY name");
    EXPECT_EQ(OrderedBy("Select * from t order\nby a desc, b -- x", "a]b"),
              "Select * from t ORDER BY [a]]b]");
    EXPECT_EQ(
        OrderedBy("Select row_number() over (order by a) from t where x = ' order by '", "order"),
        "Select row_number() over (order by a) from t where x = ' order by ' ORDER BY [order]");
}

TEST_F(SustainTest, FlagsAndAddedKeysAreNotShown) {
    EXPECT_EQ(Shown(Open("select * from item")), "id=1 shop=1 name=c is_deletable=0 ");
    EXPECT_EQ(Shown(Open("select name, 1 as is_selected from item")), "name=c ");
    EXPECT_EQ(Shown(Open("select 1 as is_sustainable, name from item")), "name=c checked")
        << "the last field with this name gives the mark";
    UpdatableQuery plain;
    plain.Sql = "select name, 1 as is_sustainable from item";
    EXPECT_EQ(Shown({*connection, plain}), "name= checked")
        << "the cells of the first field are empty";
}

TEST_F(SustainTest, OnlyChangedRowsAreWritten) {
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
    EXPECT_EQ(Flags("item"), "0 1 0 0") << "the saved value is the new old value";
}

TEST_F(SustainTest, NothingIsSavedIfAnotherUserHasChangedARow) {
    UpdatableRows rows = Open("select * from item");
    warehouse.Run("UPDATE item SET is_sustainable = 1 WHERE id = 2 AND shop = 2");
    rows.SetChecked(0, true);
    rows.SetChecked(3, true);
    EXPECT_TRUE(Contains(SaveError(rows), "id = 2, shop = 2, is_sustainable = 0"));
    EXPECT_EQ(Flags("item"), "0 1 NULL 1");
    EXPECT_TRUE(rows.Checked(0)) << "the marks are kept";
}

TEST_F(SustainTest, ARecordShownTwiceNeedsEqualMarksAndIsWrittenOnce) {
    UpdatableRows rows = Open(
        "select name, day from item join f on f.id = item.id"
        " where item.shop = 1 order by day");
    ASSERT_EQ(rows.Count(), 2U);
    rows.SetChecked(1, true);
    EXPECT_NE(SaveError(rows), "no error");
    EXPECT_EQ(Flags("item"), "0 1 NULL 0");
    rows.SetChecked(0, true);
    EXPECT_EQ(SaveError(rows), "no error");
    EXPECT_EQ(Flags("item"), "1 1 NULL 0");
}

TEST_F(SustainTest, WithoutAKeyOnlyUniqueRecordsAreSaved) {
    UpdatableRows rows = Open("select name from loose order by name");
    rows.SetChecked(0, true);
    rows.SetChecked(3, true);
    EXPECT_EQ(SaveError(rows), "no error") << "NULL and y are unique";
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

TEST_F(SustainTest, UnsavedMarksFollowTheirRecords) {
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
    EXPECT_TRUE(again.Checked(1) != again.Checked(2)) << "one of two equal records";
}

}  // namespace morvane::testing
