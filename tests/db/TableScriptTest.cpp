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

ColumnDefinition Column(std::string type, int length = 0, int precision = 0, int scale = 0) {
    ColumnDefinition column;
    column.Name = "c";
    column.TypeName = std::move(type);
    column.Length = length;
    column.Precision = precision;
    column.Scale = scale;
    return column;
}

TEST(TableScript, SupportsTypesThatTheEmbeddedEngineLacks) {
    EXPECT_EQ(TypeText(Column("varbinary", -1)), "varbinary(max)");
    EXPECT_EQ(TypeText(Column("datetimeoffset", 0, 0)), "datetimeoffset(0)");
    EXPECT_EQ(TypeText(Column("float", 0, 53)), "float");
}

TEST(TableScript, ARowVersionBecomesBinary) {
    TableDefinition table;
    table.Name = "t";
    for (const char* type : {"timestamp", "rowversion"}) {
        ColumnDefinition column = Column(type, 8);
        column.Nullable = false;
        column.Default = "1";
        table.Columns = {column};
        EXPECT_EQ(CreateTableScript(table), "CREATE TABLE t (\r\n\t[c] binary(8) NOT NULL\r\n)");
    }
}

TEST(TableScript, ATableWithoutColumnsIsRefused) {
    TableDefinition table;
    table.Name = "t";
    EXPECT_THROW(CreateTableScript(table), DatabaseError);
}

std::string Described(const TableDefinition& table) {
    std::string text;
    for (const ColumnDefinition& column : table.Columns) {
        text += column.Name + " " + TypeText(column) + (column.Nullable ? "" : " NOT NULL") + " " +
                column.Default + " " + column.Collation + "\n";
    }
    if (table.PrimaryKey) {
        text += table.PrimaryKey->Name + ":";
        for (const std::string& column : table.PrimaryKey->Columns) {
            text += " " + column;
        }
    }
    return text;
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
        std::string name = "c" + std::to_string(std::count(columns.begin(), columns.end(), '\n'));
        columns += name + " " + type + ",\n";
        described += name + " " + type + "  \n";
    }
    source.Run("CREATE TABLE typed(" + columns + "last, odd double precision)");
    ExpectCopied("typed", described + "last   \nodd double precision  \n");
}

TEST_F(TableScriptCopy, KeepsAnUnlimitedLength) {
    source.Connect()->Execute("create table t(a varchar(max), b nvarchar(max) not null)");
    ExpectCopied("t", "a varchar(max)  \nb nvarchar(max) NOT NULL  \n");
}

TEST_F(TableScriptCopy, KeepsDefaultsThatGiveTheSameValues) {
    const std::string defaults =
        "a int DEFAULT 5, b int DEFAULT -5, c varchar(9) DEFAULT 'it''s', d int DEFAULT (2 + 3),"
        " e varchar(9) DEFAULT NULL, f decimal(9,2) DEFAULT 1.50, g varchar(9) DEFAULT (upper('x'))"
        ", h real DEFAULT 1e3, i varchar(30) DEFAULT 'PRIMARY KEY (max) on x', j varchar(9) DEFAULT"
        " ('a' || 'b'), k int";
    source.Run("CREATE TABLE t(" + defaults + "); INSERT INTO t(k) VALUES(1)");
    const TableDefinition original = source.Connect()->DescribeTable("t");
    target.Connect()->Execute(CreateTableScript(original));
    target.Run("INSERT INTO t(k) VALUES(1)");
    EXPECT_EQ(target.Text("SELECT * FROM t"), source.Text("SELECT * FROM t"));
    EXPECT_EQ(Described(target.Connect()->DescribeTable("t")), Described(original));
}

TEST_F(TableScriptCopy, KeepsGetdateDefaults) {
    source.Connect()->Execute(
        "create table t(a datetime default getdate(), b datetime not null default (getdate()), "
        "c datetime default current_timestamp)");
    ExpectCopied("t",
                 "a datetime getdate() \nb datetime NOT NULL getdate() \nc datetime getdate() \n");
    target.Run("INSERT INTO t DEFAULT VALUES");
    EXPECT_EQ(target.Text("SELECT count(*) FROM t WHERE length(a) = 19 AND a = b AND b = c"), "1");
}

TEST_F(TableScriptCopy, KeepsKeysWithTheirNamesAndOrder) {
    source.Run(
        "CREATE TABLE named(a int, b int NOT NULL, CONSTRAINT [Key 1] PRIMARY KEY(b, a DESC));"
        "CREATE TABLE unnamed(a int, b int, PRIMARY KEY(b, a));"
        "CREATE TABLE inlined(a int CONSTRAINT pk_in PRIMARY KEY, b int);"
        "CREATE TABLE rowid(a INTEGER PRIMARY KEY AUTOINCREMENT, b int UNIQUE);"
        "CREATE TABLE keyless(a int NOT NULL, b int, UNIQUE(a))");
    ExpectCopied("unnamed", "a int NOT NULL  \nb int NOT NULL  \nPK_unnamed: b a");
    ExpectCopied("inlined", "a int NOT NULL  \nb int  \npk_in: a");
    ExpectCopied("rowid", "a integer NOT NULL  \nb int  \nPK_rowid: a");
    ExpectCopied("keyless", "a int NOT NULL  \nb int  \n");
    ExpectCopied("named", "a int NOT NULL  \nb int NOT NULL  \nKey 1: b a");
}

TEST_F(TableScriptCopy, KeepsCollationsAndAwkwardNames) {
    source.Run(
        "CREATE TABLE t(a varchar(9) COLLATE NOCASE, b varchar(9) COLLATE BINARY, \"order\" int,"
        " [two words] int DEFAULT 1, \"a]b\" int, PRIMARY KEY(\"order\", [two words]))");
    const TableDefinition original = source.Connect()->DescribeTable("T");
    EXPECT_EQ(original.Columns[0].Collation, "NOCASE");
    EXPECT_EQ(original.Columns[1].Collation, "");
    const auto connection = target.Connect();
    ASSERT_NO_THROW(connection->Execute(CreateTableScript(original)));
    target.Run("INSERT INTO t(a, \"order\") VALUES('x', 1)");
    EXPECT_EQ(target.Text("SELECT \"two words\" FROM t WHERE a = 'X'"), "1");
    EXPECT_EQ(Described(connection->DescribeTable("T")), Described(original));
}

TEST_F(TableScriptCopy, AMissingTableIsNamedInTheError) {
    EXPECT_TRUE(Contains(ErrorOf([&] { source.Connect()->DescribeTable("nowhere"); }), "nowhere"));
}

}  // namespace
}  // namespace morvane::testing
