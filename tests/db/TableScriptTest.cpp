#include "db/TableScript.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/Connection.h"
#include "core/DatabaseError.h"

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

TEST(TableScript, WritesEveryTypeWithItsNumbers) {
    EXPECT_EQ(TypeText(Column("int")), "int");
    EXPECT_EQ(TypeText(Column("varchar", 30)), "varchar(30)");
    EXPECT_EQ(TypeText(Column("nvarchar", -1)), "nvarchar(max)");
    EXPECT_EQ(TypeText(Column("varbinary", -1)), "varbinary(max)");
    EXPECT_EQ(TypeText(Column("char", 1)), "char(1)");
    EXPECT_EQ(TypeText(Column("decimal", 0, 18, 4)), "decimal(18,4)");
    EXPECT_EQ(TypeText(Column("numeric", 0, 9)), "numeric(9,0)");
    EXPECT_EQ(TypeText(Column("datetime2", 0, 3)), "datetime2(3)");
    EXPECT_EQ(TypeText(Column("datetimeoffset", 0, 0)), "datetimeoffset(0)");
    EXPECT_EQ(TypeText(Column("datetime")), "datetime");
    EXPECT_EQ(TypeText(Column("float", 0, 53)), "float");
}

TEST(TableScript, ARowVersionBecomesTheBytesThatItHolds) {
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

}  // namespace
}  // namespace morvane::testing
