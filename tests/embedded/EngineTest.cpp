#include <gtest/gtest.h>
#include <sqlite3.h>

#include "core/DatabaseError.h"
#include "core/modFileFunctions.h"
#include "db/ConnectionFactory.h"
#include "support/ErrorOf.h"
#include "support/TestWarehouse.h"

namespace morvane {
namespace {

using testing::ErrorOf;
using testing::TestWarehouse;

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(Engine, OpensOnlyWhatIsThereAndMakesNothing) {
    const TestWarehouse warehouse;
    TextFile text(warehouse.Folder() + "/text.db");
    text.Write(
        "this is no database, but it is long enough to be taken for one at first sight....."
        "..................................................................");
    text.Close();
    auto connection = warehouse.Connect();
    EXPECT_TRUE(Contains(ErrorOf([&] { connection->SetDefaultDatabase("none"); }),
                         "There is no database file"));
    EXPECT_TRUE(Contains(ErrorOf([&] { connection->SetDefaultDatabase("text"); }),
                         "file is not a database"));
    EXPECT_TRUE(Contains(ErrorOf([&] { connection->SetDefaultDatabase("../dw"); }),
                         "is not the name of a database"));
    EXPECT_EQ(connection->DefaultDatabase(), "dw") << "the old database stays";
    EXPECT_EQ(testing::ListFiles(warehouse.Folder()), "dw.db text.db");

    auto elsewhere = CreateConnection("sqlite:/nowhere/at/all");
    elsewhere->SetProperty("Data Source", "sqlite:/nowhere/at/all");
    EXPECT_TRUE(Contains(ErrorOf([&] { elsewhere->Open(); }), "No such file or directory"));
    EXPECT_FALSE(elsewhere->IsOpen());
}

TEST(Engine, DescribesWhatTheContractLeavesOpen) {
    const TestWarehouse warehouse;
    warehouse.Run(
        "CREATE TABLE t(d decimal(18,4), v varchar(30) COLLATE NOCASE, n nvarchar(200), b bit);"
        "INSERT INTO t VALUES(-0.5, 'a', 'é', 1); CREATE TABLE keyed(k INTEGER PRIMARY KEY)");
    auto connection = warehouse.Connect();
    auto rows = connection->OpenRecordset("SELECT *, count(*) FROM t");
    const auto& fields = rows->Fields();
    EXPECT_EQ(fields[1].DefinedSize, 30);
    EXPECT_EQ(fields[1].Comparison, TextComparison::IgnoringCase);
    EXPECT_EQ(fields[2].Comparison, TextComparison::Exact);
    EXPECT_EQ(fields[3].Type, DataType::Boolean);
    EXPECT_EQ(fields[4].Name, "");
    EXPECT_EQ(fields[4].Type, DataType::Integer);
    EXPECT_EQ(rows->ValueOf("D").Text(), "-0.5");
    EXPECT_TRUE(connection->IsIndexed("Keyed")) << "SQLite keeps this key without an index";
    auto command = connection->CreateCommand();
    command->SetText("DELETE FROM t WHERE b = ?");
    EXPECT_THROW(command->Execute(), DatabaseError) << "a place and no parameter";
}

TEST(Engine, DeletesByLiteralsOfEveryKind) {
    const TestWarehouse warehouse;
    warehouse.Run(
        "CREATE TABLE t(a bigint, b varchar(9));"
        "INSERT INTO t VALUES(-1,'x'),(2,'it''s'),(3,''),(4,'4'),(5,'?')");
    auto connection = warehouse.Connect();
    EXPECT_EQ(connection->Execute("DELETE FROM t WHERE a = -1"), 1);
    EXPECT_EQ(connection->Execute("DELETE FROM t WHERE b = 'it''s' AND a = 2"), 1);
    EXPECT_EQ(connection->Execute("DELETE FROM t WHERE b = '' AND a = 3"), 1);
    EXPECT_EQ(connection->Execute("DELETE FROM t WHERE b = 4"), 1) << "a number against a text";
    EXPECT_EQ(connection->Execute("DELETE FROM t WHERE b = 'x' AND a = 99999999999999999999"), 0);
    EXPECT_THROW(connection->Execute("DELETE FROM t WHERE b = 'it's'"), DatabaseError);
    EXPECT_THROW(connection->Execute("DELETE FROM t WHERE b = "), DatabaseError);
    EXPECT_EQ(warehouse.Text("SELECT a FROM t"), "5");
}

TEST(Engine, TellsWhenAnotherProcessHoldsTheFile) {
    const TestWarehouse warehouse;
    warehouse.Run("CREATE TABLE t(a int)");
    auto holder = warehouse.Connect();
    holder->BeginTrans();
    auto connection = CreateConnection(warehouse.Server());
    connection->SetProperty("Data Source", warehouse.Server());
    connection->SetConnectionTimeout(0);
    connection->Open();
    connection->SetDefaultDatabase("dw");
    EXPECT_TRUE(Contains(ErrorOf([&] { connection->Execute("insert into t values (1)"); }),
                         "in use by another process"));
}

TEST(Engine, ABufferedListLeavesTheFileFreeForAWriter) {
    const TestWarehouse warehouse;
    warehouse.Run("CREATE TABLE t(a int); INSERT INTO t VALUES(1),(2)");
    auto reader = warehouse.Connect();
    auto rows = reader->OpenRecordset("SELECT a FROM t");
    auto writer = warehouse.Connect();
    EXPECT_EQ(writer->Execute("DELETE FROM t WHERE a > 0"), 2);
    EXPECT_EQ((*rows)[0].Text(), "1");
    rows->MoveNext();
    EXPECT_EQ((*rows)[0].Text(), "2");
    rows->MoveNext();
    EXPECT_TRUE(rows->Eof());
}

// What users write into conditions, evaluated by the engine itself.
TEST(Engine, EvaluatesTheServersFunctions) {
    const TestWarehouse warehouse;
    auto connection = warehouse.Connect();
    const auto value = [&](const std::string& expression) {
        return connection->OpenRecordset("SELECT " + expression)->Fields()[0].Value.Text();
    };
    EXPECT_EQ(value("len('abé  ')"), "3");
    EXPECT_EQ(value("left('äbc', 2) + '|' + right('abç', 2)"), "äb|bç");
    EXPECT_EQ(value("substring('abcdef', 2, 3)"), "bcd");
    EXPECT_EQ(value("substring('abcdef', 0, 3)"), "ab");
    EXPECT_EQ(value("substring('abcdef', 2, 9223372036854775807)"), "bcdef");
    EXPECT_EQ(value("substring('abcdef', -5, 3)"), "");
    EXPECT_EQ(value("substring('abcdef', -9223372036854775808, 3)"), "");
    EXPECT_EQ(value("charindex('C', 'abcd')"), "3");
    EXPECT_EQ(value("isnull(null, 'x')"), "x");
    EXPECT_EQ(value("convert(varchar(10), '2024-03-05 10:00', 120)"), "2024-03-05");
    EXPECT_EQ(value("convert(char(8), '2024-03-05', 112)"), "20240305");
    EXPECT_EQ(value("cast('12.346' as decimal(9,2))"), "12.35");
    EXPECT_EQ(value("convert(datetime, '20240305')"), "2024-03-05 00:00:00");
    EXPECT_EQ(value("datediff(day, '2024-03-05', dateadd(wk, 1, '2024-03-05'))"), "7");
    EXPECT_EQ(value("case when 'Abc' like 'a[a-c]%' then 1 else 0 end"), "1");
    EXPECT_EQ(value("case when 'abc' like 'a[^b]_' then 1 else 0 end"), "0");
    EXPECT_EQ(value("case when 'abcbd' like '%b_' then 1 else 0 end"), "1");
    EXPECT_EQ(value("case when 'abcbd' like '%b%c' then 1 else 0 end"), "0");
    std::string pattern;  // whose ways to match nobody has the time to try
    for (int i = 0; i < 20; ++i) {
        pattern += "%a";
    }
    EXPECT_EQ(value("case when '" + std::string(200, 'a') + "' like '" + pattern +
                    "b' then 1 else 0 end"),
              "0");
    EXPECT_EQ(value("datediff(minute, getdate(), current_timestamp)"), "0");
    EXPECT_THROW(value("convert(int, 'x')"), DatabaseError);
    EXPECT_THROW(value("convert(datetime, 'x')"), DatabaseError);
    EXPECT_THROW(value("soundex_of('x')"), DatabaseError);
}

}  // namespace
}  // namespace morvane
