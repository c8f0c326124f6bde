#include "db/SustainQuery.h"

#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {

class SustainQueryTest : public ::testing::Test {
  protected:
    TestWarehouse warehouse;
    std::unique_ptr<Connection> connection;

    SustainQueryTest() {
        warehouse.Run(
            "CREATE TABLE item(id int, shop int, name varchar(20), is_sustainable bit,"
            " is_deletable bit, PRIMARY KEY(id, shop))");
        warehouse.AddDimension("[odd one]", "[the key] int PRIMARY KEY, name varchar(20)");
        warehouse.AddDimension("loose", "id int, name varchar(20), pic varbinary(9)");
        warehouse.Run("CREATE TABLE f(id int, name varchar(20))");
        connection = warehouse.Connect();
    }

    UpdatableQuery Made(const std::string& sql) {
        std::string errorText;
        const auto query = ParseSelect(sql, errorText);
        EXPECT_TRUE(query) << sql << ": " << errorText;
        return query ? SustainQuery(*connection, *query) : UpdatableQuery();
    }
    std::string Rebuilt(const std::string& sql) { return Made(sql).Sql; }
    // "column@field" of each, and why nothing can be saved.
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
};

TEST_F(SustainQueryTest, ACommaBetweenFromAndTheConditionIsAJoin) {
    EXPECT_FALSE(IsJoinQuery("SELECT a, b FROM t"));
    EXPECT_TRUE(IsJoinQuery("SELECT * FROM t1, t2 WHERE t1.a = t2.a"));
    EXPECT_FALSE(IsJoinQuery("SELECT * FROM t1 JOIN t2 ON t1.a = t2.a"));
    EXPECT_FALSE(IsJoinQuery("select * from t\nwhere a in (1, 2)"));
    EXPECT_FALSE(IsJoinQuery("select * from t\tOrder\n By a, b"));
    EXPECT_FALSE(IsJoinQuery("select * from t group  by a, b"));
    EXPECT_TRUE(
        IsJoinQuery("select * from t having a, b"
                    " where c"))
        << "the condition is looked for first";
    EXPECT_TRUE(IsJoinQuery("a, b")) << "without a from, all of it";
}

TEST_F(SustainQueryTest, TheFlagComesFirstBehindTheWordsThatBelongToSelect) {
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

TEST_F(SustainQueryTest, NothingButOneQueryIsExecuted) {
    for (const char* sql :
         {"", "delete from item", "select", "select distinct from item", "exec x",
          "with a as (select 1) select * from a", "select * from item; drop table item",
          "select * from item drop table item", "select * into copy from item",
          "select ']' from item /* ' */ ; drop table item --'",
          "select [a]]'] from t; drop table t",
          // What stands in the open quote would be a statement behind the hidden key.
          "select name from item \"x ; delete from item --",
          "select name from item where name = 'x", "select name from [item"}) {
        EXPECT_NE(Refusal(sql), "") << sql;
    }
    EXPECT_EQ(Refusal("select 'x; drop table' as [;update;], \"delete\" from item;;"), "");
    EXPECT_EQ(Refusal("select id from item inner merge join f on f.id = item.id"), "");
}

TEST_F(SustainQueryTest, AKeyThatIsNotReadIsAddedWhereThatChangesNothing) {
    EXPECT_EQ(Rebuilt("select name from item"),
              "Select  is_sustainable, item.id, item.shop, name from item");
    EXPECT_EQ(Key("select name from item"), "id@1 shop@2 ");
    EXPECT_EQ(Rebuilt("select i.ID, name from dbo.[item] As i where shop = 1"),
              "Select  is_sustainable, i.shop, i.ID, name from dbo.[item] As i where shop = 1");
    EXPECT_EQ(Key("select i.ID, name from dbo.[item] i"), "ID@2 shop@1 ");
    EXPECT_EQ(Rebuilt("select name from [odd one]"),
              "Select  is_sustainable, [odd one].[the key], name from [odd one]");
    EXPECT_FALSE(Contains(Made("select name from item FROM f").Sql, "FROM."))
        << "no alias; the server refuses it";
    // An alias that sounds like the key is not the key.
    EXPECT_EQ(Key("select 7 as id, shop from item"), "id@1 shop@3 ");
    EXPECT_EQ(Key("select shop id, id shop from item"), "id@1 shop@2 ");
    for (const char* sql : {"select distinct name from item", "select name from item group by name",
                            "select max(name), name from item"}) {
        EXPECT_EQ(Made(sql).HiddenFields, 0U) << sql;
        EXPECT_EQ(Key(sql), std::string("name@") + (sql[7] == 'm' ? "2 " : "1 ")) << sql;
    }
}

TEST_F(SustainQueryTest, TheKeyIsFoundWhereTheQueryReadsIt) {
    EXPECT_EQ(Key("select * from item"), "id@1 shop@2 ");
    EXPECT_EQ(Key("select upper(name), item.* from item"), "id@2 shop@3 ");
    EXPECT_EQ(Key("select f.*, item.* from item join f on f.id = item.id"), "id@1 shop@2 ");
    EXPECT_EQ(Made("select f.*, item.* from item join f on f.id = item.id").HiddenFields, 2U);
    EXPECT_EQ(Key("select * from item join f on f.id = item.id"), "id@1 shop@2 ");
    EXPECT_EQ(Key("select * from loose"), "id@1 name@2 is_deletable@5 ")
        << "no primary key: what can be compared";
}

TEST_F(SustainQueryTest, WithoutOneTableBehindItNothingCanBeSaved) {
    warehouse.Run("CREATE VIEW v AS SELECT * FROM item");
    for (const char* sql :
         {"select * from (select * from item) x", "select * from item union select * from item",
          "select * from v", "select 1", "select * from item for xml",
          "select upper(name) from f"}) {
        EXPECT_EQ(Key(sql).substr(Key(sql).find("read")), "read-only") << sql;
    }
}

TEST_F(SustainQueryTest, ASortTakesTheOrdersPlace) {
    EXPECT_EQ(OrderedBy("Select * from t;", "name"), "Select * from t ORDER BY name");
    EXPECT_EQ(OrderedBy("Select * from t order\nby a desc, b -- x", "a]b"),
              "Select * from t ORDER BY [a]]b]");
    EXPECT_EQ(
        OrderedBy("Select row_number() over (order by a) from t where x = ' order by '", "order"),
        "Select row_number() over (order by a) from t where x = ' order by ' ORDER BY [order]");
}

}  // namespace morvane::testing
