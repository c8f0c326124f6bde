// SPDX-License-Identifier: Apache-2.0
#include "db/TableScript.h"

#include "base/Text.h"
#include "core/Connection.h"
#include "core/DatabaseError.h"
#include "support/ErrorOf.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

// What the embedded engine cannot store: types of the server alone, and a table without columns.
TEST(TableScript, SupportsTheTypesOfTheServer) {
    TableDefinition table;
    table.Name = "t";
    EXPECT_THROW(CreateTableScript(table), DatabaseError) << "no columns";
    const struct {
        const char* Type;
        int Length;
        int Precision;
        const char* Written;
    } cases[]{{"varbinary", -1, 0, "varbinary(max)"},
              {"datetimeoffset", 0, 0, "datetimeoffset(0)"},
              {"float", 0, 53, "float"},
              {"timestamp", 8, 0, "binary(8)"},
              {"rowversion", 8, 0, "binary(8)"}};
    for (const auto& c : cases) {
        ColumnDefinition column;
        column.Name = "c";
        column.TypeName = c.Type;
        column.Length = c.Length;
        column.Precision = c.Precision;
        column.Nullable = false;
        table.Columns = {column};
        EXPECT_EQ(CreateTableScript(table),
                  "CREATE TABLE t (\r\n\t[c] " + std::string(c.Written) + " NOT NULL\r\n)");
    }
}

std::string Described(const TableDefinition& table) {
    std::string text;
    for (const ColumnDefinition& column : table.Columns) {
        text += column.Name + " " + TypeText(column) + (column.Nullable ? "" : " NOT NULL") + " " +
                column.Default + " " + column.Collation + "\n";
    }
    return table.PrimaryKey
               ? text + table.PrimaryKey->Name + ": " + Join(table.PrimaryKey->Columns, " ")
               : text;
}

// Describes a table, creates it from its script in another database, and compares the descriptions.
class TableScriptCopy : public ::testing::Test {
  protected:
    void ExpectCopied(const std::string& table, const std::string& described) {
        SCOPED_TRACE(table);
        const TableDefinition original = source.Connect()->DescribeTable(table);
        EXPECT_EQ(Described(original), described);
        const auto connection = target.Connect();
        const std::string script = CreateTableScript(original);
        ASSERT_NO_THROW(connection->Execute(script)) << script;
        EXPECT_EQ(Described(connection->DescribeTable(table)), described) << script;
    }

    TestWarehouse source;
    TestWarehouse target;
};

TEST_F(TableScriptCopy, KeepsEveryTypeOfTheEngine) {
    std::string columns;
    std::string described;
    for (const std::string& type :
         Split("bit tinyint smallint int integer bigint real float money smallmoney decimal"
               " decimal(18,4) numeric(9,0) char char(3) varchar varchar(200) text nchar(2)"
               " nvarchar(50) ntext datetime datetime2(3) datetime2(7) smalldatetime date time(0)"
               " uniqueidentifier binary(8) varbinary(16)",
               ' ')) {
        const std::string name = "c" + std::to_string(columns.size());
        columns += name + " " + type + ",\n";
        described += name + " " + type + "  \n";
    }
    source.Run("CREATE TABLE typed(" + columns + "last, odd double precision)");
    ExpectCopied("typed", described + "last   \nodd double precision  \n");
    source.Connect()->Execute("create table t(a varchar(max), b nvarchar(max) not null)");
    ExpectCopied("t", "a varchar(max)  \nb nvarchar(max) NOT NULL  \n");
}

TEST_F(TableScriptCopy, KeepsDefaults) {
    source.Run(
        "CREATE TABLE t(a int DEFAULT 5, b int DEFAULT -5, c varchar(9) DEFAULT 'it''s',"
        " d int DEFAULT (2 + 3), e varchar(9) DEFAULT NULL, f decimal(9,2) DEFAULT 1.50,"
        " g varchar(9) DEFAULT (upper('x')), h real DEFAULT 1e3,"
        " i varchar(30) DEFAULT 'PRIMARY KEY (max) on x', j varchar(9) DEFAULT ('a' || 'b'), k int,"
        " [two words] int DEFAULT 1);INSERT INTO t(k) VALUES(1)");
    ExpectCopied("t", Described(source.Connect()->DescribeTable("t")));
    target.Run("INSERT INTO t(k) VALUES(1)");
    EXPECT_EQ(target.Text("SELECT * FROM t"), source.Text("SELECT * FROM t"));

    source.Connect()->Execute(
        "create table now(a datetime default getdate(), b datetime not null default (getdate()), "
        "c datetime default current_timestamp)");
    ExpectCopied("now",
                 "a datetime getdate() \nb datetime NOT NULL getdate() \nc datetime getdate() \n");
    target.Run("INSERT INTO now DEFAULT VALUES");
    EXPECT_EQ(target.Text("SELECT count(*) FROM now WHERE length(a) = 19 AND a = b AND b = c"),
              "1");
}

TEST_F(TableScriptCopy, KeepsKeysWithTheirNamesAndOrder) {
    source.Run(
        "CREATE TABLE named(a int, b int NOT NULL, CONSTRAINT [Key 1] PRIMARY KEY(b, a DESC));"
        "CREATE TABLE unnamed(\"a]b\" int, \"order\" int, PRIMARY KEY(\"order\", \"a]b\"));"
        "CREATE TABLE inlined(a int CONSTRAINT pk_in PRIMARY KEY, b int);"
        "CREATE TABLE rowid(a INTEGER PRIMARY KEY AUTOINCREMENT, b int UNIQUE);"
        "CREATE TABLE keyless(a int NOT NULL, b int, UNIQUE(a))");
    ExpectCopied("unnamed", "a]b int NOT NULL  \norder int NOT NULL  \nPK_unnamed: order a]b");
    ExpectCopied("inlined", "a int NOT NULL  \nb int  \npk_in: a");
    ExpectCopied("rowid", "a integer NOT NULL  \nb int  \nPK_rowid: a");
    ExpectCopied("keyless", "a int NOT NULL  \nb int  \n");
    ExpectCopied("named", "a int NOT NULL  \nb int NOT NULL  \nKey 1: b a");
}

TEST_F(TableScriptCopy, KeepsCollations) {
    source.Run("CREATE TABLE t(a varchar(9) COLLATE NOCASE, b varchar(9) COLLATE BINARY)");
    ExpectCopied("T", "a varchar(9)  NOCASE\nb varchar(9)  \n");
    target.Run("INSERT INTO t(a) VALUES('x')");
    EXPECT_EQ(target.Text("SELECT a FROM t WHERE a = 'X'"), "x");
}

TEST_F(TableScriptCopy, NamesAMissingTable) {
    EXPECT_TRUE(Contains(ErrorOf([&] { source.Connect()->DescribeTable("nowhere"); }), "nowhere"));
}

}  // namespace
}  // namespace morvane::testing
