// SPDX-License-Identifier: Apache-2.0
#include "dialogs/SustainQuery.h"

#include "db/StatementTrace.h"
#include "dialogs/UpdatableRows.h"
#include "support/ErrorOf.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {

// The query box of the dimension window, and the rows that it shows and saves.
class Sustain : public ::testing::Test {
  protected:
    TestWarehouse warehouse;
    std::unique_ptr<Connection> connection;
    std::vector<std::string> sent;

    Sustain() {
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
    // The key as "column@field ...".
    std::string Key(const std::string& sql) {
        std::string text;
        for (const KeyField& key : Made(sql).Key) {
            text += key.Column + "@" + std::to_string(key.Field) + " ";
        }
        return text;
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

TEST_F(Sustain, ACommaBetweenFromAndTheConditionMakesAJoin) {
    for (const char* join : {"SELECT * FROM t1, t2 WHERE t1.a = t2.a",
                             "select * from t having a, b where c", "a, b"}) {
        EXPECT_TRUE(IsJoinQuery(join)) << join;
    }
    for (const char* other :
         {"SELECT a, b FROM t", "SELECT * FROM t1 JOIN t2 ON t1.a = t2.a",
          "select * from t\nwhere a in (1, 2)", "select * from t\tOrder\n By a, b",
          "select * from t group  by a, b"}) {
        EXPECT_FALSE(IsJoinQuery(other)) << other;
    }
}

TEST_F(Sustain, TheFlagAndMissingKeysBecomeTheFirstFields) {
    for (const auto& [sql, rebuilt] : std::map<std::string, std::string>{
             {"Select * from item", "Select  is_sustainable, * from item"},
             {"SELECT\n\tTop  5\r\n * from item ; ", "Select TOP 5 is_sustainable, * from item"},
             {"select top (5) percent * from item",
              "Select TOP (5) PERCENT  is_sustainable, * from item"},
             {"select all top 5 with Ties * from item order by id",
              "Select all TOP 5 WITH TIES  is_sustainable, * from item order by id"},
             {"select distinct top 5 name  from item where name = 'a;  from b'",
              "Select distinct TOP 5 is_sustainable, name  from item where name = 'a;  from b'"},
             {"select top merge join f from item",
              "Select  is_sustainable, item.id, item.shop, top merge join f from item"},
             {"select /* what; */ * from item -- don't", "Select  is_sustainable, * from item"},
             {"select i.ID, name from dbo.[item] As i where shop = 1",
              "Select  is_sustainable, i.shop, i.ID, name from dbo.[item] As i where shop = 1"},
             {"select name from [odd one]",
              "Select  is_sustainable, [odd one].[the key], name from [odd one]"}}) {
        EXPECT_EQ(Made(sql).Sql, rebuilt);
    }
    EXPECT_FALSE(Contains(Made("select name from item FROM f").Sql, "FROM."))
        << "FROM is not an alias; the server refuses the query";
}

TEST_F(Sustain, OnlyASingleQueryIsExecuted) {
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

TEST_F(Sustain, FindsTheFieldsOfTheKey) {
    for (const auto& [sql, key] : std::map<std::string, std::string>{
             {"select name from item", "id@1 shop@2 "},
             {"select i.ID, name from dbo.[item] i", "ID@2 shop@1 "},
             // An alias with the name of a key column is not the key.
             {"select 7 as id, shop from item", "id@1 shop@3 "},
             {"select shop id, id shop from item", "id@1 shop@2 "},
             // A hidden key would change these results.
             {"select distinct name from item", "name@1 "},
             {"select name from item group by name", "name@1 "},
             {"select max(name), name from item", "name@2 "},
             {"select * from item", "id@1 shop@2 "},
             {"select upper(name), item.* from item", "id@2 shop@3 "},
             {"select f.*, item.* from item join f on f.id = item.id", "id@1 shop@2 "},
             {"select * from item join f on f.id = item.id", "id@1 shop@2 "},
             // Without a primary key, the columns that can be compared.
             {"select * from loose", "id@1 name@2 is_deletable@5 "}}) {
        EXPECT_EQ(Key(sql), key) << sql;
    }
    EXPECT_EQ(Made("select f.*, item.* from item join f on f.id = item.id").HiddenFields, 2U);
}

TEST_F(Sustain, RowsOfOtherThingsThanOneTableCannotBeSaved) {
    warehouse.Run("CREATE VIEW v AS SELECT * FROM item");
    for (const char* sql : {"select * from (select * from item) x",
                            "select * from item union select * from item", "select * from v",
                            "select 1", "select * from item for xml", "select upper(day) from f"}) {
        EXPECT_NE(Made(sql).WhyReadOnly, "") << sql;
    }
    UpdatableRows derived = Open("select * from (select * from loose) l");
    EXPECT_EQ(derived.Count(), 4U);
    derived.SetChecked(0, true);
    EXPECT_TRUE(Contains(SaveError(derived), "cannot be saved"));
}

TEST_F(Sustain, SortingReplacesTheOrder) {
    EXPECT_EQ(OrderedBy("Select * from t;", "name"), "Select * from t ORDER BY name");
    EXPECT_EQ(OrderedBy("Select * from t order\nby a desc, b -- x", "a]b"),
              "Select * from t ORDER BY [a]]b]");
    const std::string other = "Select row_number() over (order by a) from t where x = ' order by '";
    EXPECT_EQ(OrderedBy(other, "order"), other + " ORDER BY [order]");
}

TEST_F(Sustain, FlagsAndAddedKeysAreNotShown) {
    EXPECT_EQ(Shown(Open("select * from item")), "id=1 shop=1 name=c is_deletable=0 ");
    EXPECT_EQ(Shown(Open("select name, 1 as is_selected from item")), "name=c ");
    EXPECT_EQ(Shown(Open("select 1 as is_sustainable, name from item")), "name=c checked")
        << "the last field with this name is the mark";
    UpdatableQuery plain;
    plain.Sql = "select name, 1 as is_sustainable from item";
    EXPECT_EQ(Shown({*connection, plain}), "name= checked")
        << "the cells of the first field are empty";
}

TEST_F(Sustain, OnlyChangedRowsAreWritten) {
    UpdatableRows rows = Open("select name from item order by id desc, shop desc");
    rows.SetChecked(0, true);
    sent.clear();
    rows.Save(*connection);
    EXPECT_EQ(Flags("item"), "0 1 0 1") << "NULL counts as changed";
    EXPECT_EQ(sent.size(), 4U);  // with BEGIN and COMMIT
    rows.Save(*connection);
    EXPECT_EQ(sent.size(), 4U);
    rows.SetChecked(0, false);
    rows.Save(*connection);
    EXPECT_EQ(Flags("item"), "0 1 0 0") << "the saved value is the new old value";
}

TEST_F(Sustain, NothingIsSavedIfAnotherUserHasChangedARow) {
    UpdatableRows rows = Open("select * from item");
    warehouse.Run("UPDATE item SET is_sustainable = 1 WHERE id = 2 AND shop = 2");
    rows.SetChecked(0, true);
    rows.SetChecked(3, true);
    EXPECT_TRUE(Contains(SaveError(rows), "id = 2, shop = 2, is_sustainable = 0"));
    EXPECT_EQ(Flags("item"), "0 1 NULL 1");
    EXPECT_TRUE(rows.Checked(0)) << "the marks are kept";
}

TEST_F(Sustain, ARecordShownTwiceNeedsEqualMarks) {
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

TEST_F(Sustain, WithoutAKeyOnlyUniqueRecordsAreSaved) {
    UpdatableRows rows = Open("select name from loose order by name");
    rows.SetChecked(0, true);
    rows.SetChecked(3, true);
    EXPECT_EQ(SaveError(rows), "no error") << "NULL and y are unique";
    for (const std::size_t twin : {1U, 2U}) {
        rows.SetChecked(twin, true);
        EXPECT_NE(SaveError(rows), "no error");
    }
    EXPECT_EQ(Flags("loose"), "0 0 1 1");
}

TEST_F(Sustain, UnsavedMarksFollowTheirRecords) {
    UpdatableRows before = Open("select name from loose order by name");
    before.SetChecked(0, true);
    before.SetChecked(1, true);
    UpdatableRows after = Open("select name from loose order by name desc");
    after.CarryOver(before);
    EXPECT_TRUE(after.Checked(3) && !after.Checked(0));
    EXPECT_TRUE(after.Checked(1) != after.Checked(2)) << "one of two equal records";
}

}  // namespace morvane::testing
