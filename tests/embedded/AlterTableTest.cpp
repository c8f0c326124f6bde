// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "core/DatabaseError.h"
#include "core/Transaction.h"
#include "support/FileSizeLimit.h"
#include "support/TestWarehouse.h"

namespace morvane {
namespace {

using testing::TestWarehouse;

class AlterTable : public ::testing::Test {
  protected:
    AlterTable() {
        warehouse.Run(
            "CREATE TABLE log(what int);"
            "CREATE TABLE t(id int NOT NULL, code varchar(5) NOT NULL COLLATE NOCASE DEFAULT 'x',"
            " n decimal(9,2), CONSTRAINT pk_t PRIMARY KEY(id), CONSTRAINT ck CHECK(n < 100));"
            "INSERT INTO t VALUES(1,'a',1.5),(2,'B',NULL),(3,'c',3);"
            "CREATE INDEX ix_code ON t(code); CREATE UNIQUE INDEX ux_n ON t(n) WHERE n > 0;"
            "CREATE TRIGGER tr AFTER INSERT ON t BEGIN INSERT INTO log VALUES(new.id); END;"
            "CREATE VIEW v AS SELECT code FROM t;"
            "CREATE TRIGGER other AFTER DELETE ON log BEGIN DELETE FROM t WHERE id = old.what; "
            "END");
        connection = warehouse.Connect();
    }

    std::string Rows() const { return warehouse.Text("SELECT * FROM t ORDER BY 1"); }
    std::string Schema() const {
        return warehouse.Text("SELECT name, sql FROM sqlite_schema ORDER BY type, name");
    }
    std::string Columns() const {
        return warehouse.Text(
            "SELECT name, lower(type), \"notnull\", dflt_value, pk FROM pragma_table_info('t')");
    }

    TestWarehouse warehouse;
    std::unique_ptr<Connection> connection;
};

TEST_F(AlterTable, AddsColumnsAtTheEnd) {
    connection->Execute(
        "ALTER TABLE t ADD a datetime NOT NULL DEFAULT {ts '2020-01-01 00:00:00'} WITH VALUES");
    connection->Execute("alter table [dbo].[T] add [b c] varchar(9) DEFAULT 'it''s' WITH VALUES");
    connection->Execute("ALTER TABLE t ADD d int NOT NULL DEFAULT -1");
    connection->Execute("ALTER TABLE DBO.t ADD e int DEFAULT 7");
    connection->Execute("ALTER TABLE t ADD f nvarchar(max)");
    EXPECT_EQ(Rows(),
              "1|a|1.5|2020-01-01 00:00:00|it's|-1|NULL|NULL "
              "2|B|NULL|2020-01-01 00:00:00|it's|-1|NULL|NULL "
              "3|c|3|2020-01-01 00:00:00|it's|-1|NULL|NULL");
    connection->Execute("insert into t(id, code, f) values (4, 'd', 'x')");
    EXPECT_EQ(warehouse.Text("SELECT e, f FROM t WHERE id = 4"), "7|x");
    EXPECT_EQ(warehouse.Text("SELECT what FROM log"), "4") << "the trigger, and only for new rows";
}

TEST_F(AlterTable, UsesLocalTimeForGetdateAsADefault) {
    connection->Execute("ALTER TABLE t ADD a datetime NOT NULL DEFAULT getdate() WITH VALUES");
    EXPECT_EQ(warehouse.Text("SELECT count(*), count(DISTINCT a) FROM t WHERE"
                             " abs(julianday(a) - julianday('now', 'localtime')) < 0.01"
                             " AND length(a) = 19"),
              "3|1");
    warehouse.Run("INSERT INTO t(id) VALUES(9)");
    EXPECT_EQ(warehouse.Text("SELECT count(*) FROM t WHERE id = 9 AND length(a) = 19"), "1");
}

TEST_F(AlterTable, ReplacesThePrimaryKeyAndKeepsEverythingElse) {
    const std::string rows = Rows();
    const std::string others =
        "SELECT sql FROM sqlite_schema WHERE name <> 't' AND sql IS NOT NULL"
        " ORDER BY name";
    const std::string schema = warehouse.Text(others);
    connection->Execute("ALTER TABLE t DROP CONSTRAINT PK_T");
    EXPECT_EQ(Columns(), "id|int|1|NULL|0 code|varchar(5)|1|'x'|0 n|decimal(9,2)|0|NULL|0");
    connection->Execute(
        "ALTER TABLE t ADD CONSTRAINT pk_t PRIMARY KEY CLUSTERED (code, id) ON [PRIMARY]");
    EXPECT_EQ(Columns(), "id|int|1|NULL|2 code|varchar(5)|1|'x'|1 n|decimal(9,2)|0|NULL|0");
    EXPECT_EQ(Rows(), rows);
    EXPECT_EQ(warehouse.Text(others), schema);
    EXPECT_EQ(warehouse.Text("SELECT code FROM v ORDER BY 1"), "a B c") << "a view still works";
    warehouse.Run("INSERT INTO t VALUES(1,'z',5); INSERT INTO log VALUES(3); DELETE FROM log");
    EXPECT_EQ(warehouse.Text("SELECT id, code FROM t ORDER BY 1, 2"), "2|B")
        << "the triggers of other tables find it: 1 was logged when it came, and 3";
    EXPECT_THROW(connection->Execute("insert into t values (2, 'b', 1)"), DatabaseError)
        << "the collation is part of the key";
    EXPECT_THROW(connection->Execute("insert into t values (5, 'b', 100)"), DatabaseError)
        << "the other constraint";
    connection->Execute("ALTER TABLE t DROP CONSTRAINT ck");
    EXPECT_EQ(connection->Execute("insert into t values (5, 'b', 100)"), 1);
}

TEST_F(AlterTable, FindsPrimaryKeysInEveryForm) {
    warehouse.Run(
        "CREATE TABLE a(i INTEGER PRIMARY KEY AUTOINCREMENT, x int);"
        "CREATE TABLE b(i int CONSTRAINT \"b key\" PRIMARY KEY DESC NOT NULL, x int) WITHOUT ROWID;"
        "CREATE TABLE c(x int, [primary] int DEFAULT (1 + (2)), PRIMARY KEY(x, [primary]));"
        "CREATE TABLE d(x int -- PRIMARY KEY, CONSTRAINT pk_d\n, y text AS ('PRIMARY KEY'));"
        "INSERT INTO a VALUES(5,1); INSERT INTO c VALUES(1,2); INSERT INTO d VALUES(7)");
    connection->Execute("ALTER TABLE a DROP CONSTRAINT PK_a");
    connection->Execute("ALTER TABLE c DROP CONSTRAINT pk_C");
    EXPECT_EQ(warehouse.Text("SELECT * FROM a, c"), "5|1|1|2");
    EXPECT_EQ(warehouse.Text("SELECT sum(pk) FROM pragma_table_info('a')"), "0");
    EXPECT_EQ(warehouse.Text("SELECT sum(pk) FROM pragma_table_info('c')"), "0");
    EXPECT_EQ(connection->DescribeTable("b").PrimaryKey->Name, "b key");
    EXPECT_THROW(connection->Execute("ALTER TABLE b DROP CONSTRAINT [b key]"), DatabaseError)
        << "a table without rowids needs its key";
    EXPECT_THROW(connection->Execute("ALTER TABLE d DROP CONSTRAINT pk_d"), DatabaseError);
    connection->Execute("ALTER TABLE d ADD z int");
    EXPECT_EQ(warehouse.Text("SELECT name FROM pragma_table_xinfo('d')"), "x y z");
    EXPECT_EQ(warehouse.Text("SELECT * FROM d"), "7|PRIMARY KEY|NULL");
}

TEST_F(AlterTable, AFailureLeavesTheTableAsItWas) {
    warehouse.Run("INSERT INTO t VALUES(4,'A',9)");
    const std::string before = Schema() + Rows();
    for (const char* sql :
         {"ALTER TABLE t ADD id int", "ALTER TABLE t ADD x int NOT NULL",
          "ALTER TABLE t ADD CONSTRAINT pk2 PRIMARY KEY (code)", "ALTER TABLE nowhere ADD x int",
          "ALTER TABLE v ADD x int", "ALTER TABLE t DROP CONSTRAINT pk_none",
          "ALTER TABLE t DROP CONSTRAINT id", "ALTER TABLE t ADD x int DEFAULT WITH VALUES"}) {
        SCOPED_TRACE(sql);
        EXPECT_THROW(connection->Execute(sql), DatabaseError);
        EXPECT_EQ(Schema() + Rows(), before);
    }
    connection->Execute("ALTER TABLE t DROP CONSTRAINT pk_t");
    const std::string keyless = Schema() + Rows();
    for (const char* columns : {"code", "n", "none", "id, n"}) {
        SCOPED_TRACE(columns);
        EXPECT_THROW(connection->Execute("ALTER TABLE t ADD CONSTRAINT k PRIMARY KEY (" +
                                         std::string(columns) + ")"),
                     DatabaseError);
        EXPECT_EQ(Schema() + Rows(), keyless);
    }
}

TEST_F(AlterTable, RejectsUnsupportedForms) {
    const std::string before = Schema() + Rows();
    for (const char* sql :
         {"ALTER", "ALTER TABLE", "ALTER TABLE t", "ALTER TABLE t ADD x",
          "ALTER VIEW v AS SELECT 1", "ALTER TABLE t DROP COLUMN n",
          "ALTER TABLE t ADD COLUMN x int", "ALTER TABLE t ALTER COLUMN n int",
          "ALTER TABLE t RENAME TO u", "ALTER TABLE t ADD x int, y int",
          "ALTER TABLE t ADD CONSTRAINT u UNIQUE (n)", "ALTER TABLE t ADD CHECK (n > 0)",
          "ALTER TABLE t ADD PRIMARY KEY (id)", "ALTER TABLE t ADD CONSTRAINT k PRIMARY KEY",
          "ALTER TABLE t ADD CONSTRAINT k PRIMARY KEY (", "ALTER TABLE t DROP CONSTRAINT ck, pk_t",
          "ALTER TABLE t ADD x int) ; DROP TABLE log --"}) {
        SCOPED_TRACE(sql);
        EXPECT_THROW(connection->Execute(sql), DatabaseError);
        EXPECT_EQ(Schema() + Rows(), before);
    }
}

TEST_F(AlterTable, TakesPartInTheTransaction) {
    const std::string before = Schema() + Rows();
    {
        const Transaction transaction(*connection);
        connection->Execute("insert into t values (8, 'x', 8)");
        connection->Execute("ALTER TABLE t ADD a int NOT NULL DEFAULT 1 WITH VALUES");
        EXPECT_THROW(connection->Execute("ALTER TABLE t ADD A int"), DatabaseError);
        connection->Execute("ALTER TABLE t DROP CONSTRAINT pk_t");
        EXPECT_EQ(connection->Execute("update t set a = 2 where id = 8"), 1)
            << "a failure takes only itself back";
    }
    warehouse.Run("DELETE FROM log");
    EXPECT_EQ(Schema() + Rows(), before);
    connection->BeginTrans();
    connection->Execute("ALTER TABLE t ADD a int NOT NULL DEFAULT 1 WITH VALUES");
    connection->CommitTrans();
    EXPECT_EQ(Rows(), "1|a|1.5|1 2|B|NULL|1 3|c|3|1");
}

TEST_F(AlterTable, AFullDiskLeavesTheTableAsItWas) {
    warehouse.Run(
        "WITH n(i) AS (SELECT 100 UNION ALL SELECT i + 1 FROM n WHERE i < 20000)"
        " INSERT INTO t(id) SELECT i FROM n");
    const std::string before = Schema() + warehouse.Text("SELECT count(*), sum(id) FROM t");
    const auto pages = std::stoul(warehouse.Text("PRAGMA page_count"));
    {
        const testing::FileSizeLimit limit(pages * 4096 + 30000);
        EXPECT_THROW(connection->Execute("ALTER TABLE t ADD a int NOT NULL DEFAULT 1 WITH VALUES"),
                     DatabaseError);
    }
    EXPECT_EQ(Schema() + warehouse.Text("SELECT count(*), sum(id) FROM t"), before);
    EXPECT_EQ(warehouse.Text("PRAGMA integrity_check"), "ok");
    connection->Execute("ALTER TABLE t ADD a int NOT NULL DEFAULT 1 WITH VALUES");
}

TEST_F(AlterTable, InvalidatesPreparedStatements) {
    EXPECT_EQ(connection->Execute("update t set n = 1.25 where id = 2"), 1);
    connection->Execute("ALTER TABLE t ADD a int NOT NULL DEFAULT 1 WITH VALUES");
    EXPECT_EQ(connection->Execute("update t set n = 1.25 where id = 2"), 1);
    connection->Execute("create index ix_a on t(a)");
    EXPECT_EQ(warehouse.Text("SELECT count(*) FROM pragma_index_list('t') WHERE name = 'ix_a'"),
              "1");
}

}  // namespace
}  // namespace morvane
