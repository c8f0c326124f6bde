// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <functional>

#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "core/DatabaseError.h"
#include "core/Transaction.h"
#include "db/ConnectionFactory.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/SqliteCallbacks.h"
#include "db/modDatabaseOperations.h"
#include "support/ErrorOf.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

// Behaviour of the embedded engine that tests/contract does not cover.
struct Engine : ::testing::Test {
    TestWarehouse warehouse;
    std::unique_ptr<Connection> connection = warehouse.Connect();

    void MakeFile(const std::string& name, const std::string& content = "") const {
        TextFile file(warehouse.Folder() + "/" + name);
        file.Write(content);
        file.Close();
    }
};

TEST_F(Engine, OpensOnlyDatabasesOfItsFolder) {
    MakeFile("text.db", std::string(200, 'x'));
    for (const auto& [name, error] : {std::pair("text", "file is not a database"),
                                      std::pair("../dw", "is not the name of a database")}) {
        EXPECT_TRUE(
            Contains(ErrorOf([&, other = name] { connection->SetDefaultDatabase(other); }), error));
    }
    EXPECT_THROW(connection->SetDefaultDatabase("none"), DatabaseError);
    EXPECT_EQ(ListFiles(warehouse.Folder()), "dw.db text.db") << "none is created";
    const auto elsewhere = CreateConnection("sqlite:/nowhere");
    elsewhere->SetProperty("Data Source", "sqlite:/nowhere");
    EXPECT_TRUE(Contains(ErrorOf([&] { elsewhere->Open(); }), "No such file or directory"));
}

TEST_F(Engine, DescribesFieldsAsDeclared) {
    warehouse.Run(
        "CREATE TABLE t(v varchar(30) COLLATE NOCASE, n nvarchar(200), b bit);"
        "CREATE TABLE keyed(k INTEGER PRIMARY KEY)");
    const auto rows = connection->OpenRecordset("SELECT *, count(*) FROM t");
    const auto& fields = rows->Fields();
    EXPECT_EQ(fields[0].DefinedSize, 30);
    EXPECT_EQ(fields[0].Comparison, TextComparison::IgnoringCase);
    EXPECT_EQ(fields[1].Comparison, TextComparison::Exact);
    EXPECT_EQ(fields[2].Type, DataType::Boolean);
    EXPECT_EQ(fields[3].Name, "");
    EXPECT_EQ(fields[3].Type, DataType::Integer);
    EXPECT_TRUE(connection->IsIndexed("Keyed")) << "SQLite has no index for this key";
}

TEST_F(Engine, WaitsForALockUntilTheTimeoutOrACancellation) {
    warehouse.Run("CREATE TABLE t(a int)");
    Loader loader(warehouse);
    int tries = 0;
    std::function<bool()> cancelAtTry;  // called at each attempt to lock the file
    connection = ConnectionsWith({.CancelRequested = [&] {
        ++tries;
        return cancelAtTry();
    }})(warehouse.Server());
    connection->SetProperty("Data Source", warehouse.Server());
    connection->Open();
    const std::function<void()> actions[] = {
        [&] {
            connection->Close();
            connection->Open();
            connection->SetDefaultDatabase("dw");
        },
        [&] { connection->OpenRecordset("select * from t"); },
        [&] { connection->Execute("insert into t values (1)"); },
        [&] { const Transaction transaction(*connection); },
    };
    const auto attempt = [&](int seconds, const std::function<void()>& action,
                             std::function<bool()> onTry) {
        loader.Release();
        loader.Take();
        tries = 0;
        cancelAtTry = std::move(onTry);
        connection->SetConnectionTimeout(seconds);
        return ErrorOf(action);
    };
    const auto goAway = [&](bool cancelled) {
        loader.Release();
        return cancelled;
    };
    constexpr const char* kInUse = "in use by another process";
    for (const auto& action : actions) {
        EXPECT_TRUE(Contains(attempt(0, action, [] { return false; }), kInUse));
        EXPECT_EQ(tries, 0) << "no second attempt without a timeout";
        EXPECT_EQ(attempt(20, action, [&] { return goAway(false); }), "no error");
        EXPECT_TRUE(Contains(attempt(20, action, [&] { return tries == 3; }), kInUse));
        EXPECT_EQ(tries, 3) << "the cancellation ends the wait";
        EXPECT_EQ(attempt(20, action, [&] { return goAway(true); }), "no error")
            << "after a cancellation, the statements that end the run still wait";
    }
}

#ifndef _WIN32  // there DB2 and db2 are one file

// SQLite limits a UNION to 500 queries.
TEST_F(Engine, ListsManyDatabasesInNaturalOrder) {
    for (int i = 1; i <= 600; ++i) {
        MakeFile("many" + std::to_string(i) + ".db");
    }
    for (const char* name : {"db10", "DB2", "db2", "db02", "Db1", "dz", "db1b", "99", "100"}) {
        MakeFile(std::string(name) + ".db");
    }
    std::filesystem::create_directory(warehouse.Folder() + "/folder.db");
    std::vector<std::string> names{"old"};
    FillDatabaseList(names, *connection);
    ASSERT_EQ(names.size(), 610U);
    EXPECT_EQ(Join({names.begin(), names.begin() + 12}, " "),
              "99 100 Db1 db1b DB2 db02 db2 db10 dw dz many1 many2");
    EXPECT_EQ(names.back(), "many600");
}

#endif

// Names from the meta tables are inserted into statements unquoted.
TEST_F(Engine, AcceptsOnlyOneIdentifierAsAName) {
    const auto isTable = [&](const std::string& name) {
        return ErrorOf([&] { connection->RequireTableName(name); }) == "no error";
    };
    const auto isColumn = [&](const std::string& name) {
        return ErrorOf([&] { connection->RequireColumnNames("id, " + name); }) == "no error";
    };
    for (const char* name :
         {"sales", "  \xc3\xbcs_1$ ", "[odd ]] name]", "\"a \"\" b\"", "sales /* nothing */"}) {
        EXPECT_TRUE(isTable(name) && isColumn(name)) << name;
    }
    for (const char* name : {"dbo.sales", " [dbo] . [sales] "}) {
        EXPECT_TRUE(isTable(name) && !isColumn(name)) << name;
    }
    EXPECT_TRUE(!isTable("a, b") && isColumn("a, b"));
    for (const std::string& name : std::vector<std::string>{
             "", "[]", "1", "@x", "a b", "[odd ] name", "main.sales", "dw.dbo.sales",
             "sales where 1=1 --", "sales --", "sales /*", "sales; drop table sales", "(select 1)",
             "f(x)", "[it's]", std::string("[a\0b]", 5)}) {
        EXPECT_FALSE(isTable(name) || isColumn(name)) << name;
    }
}

TEST_F(Engine, WritesNothingButTemporaryTablesOnAReadingConnection) {
    warehouse.Run(
        "CREATE TABLE t(a varchar(9) COLLATE NOCASE, d datetime);"
        "INSERT INTO t VALUES('x', '2024-03-05 00:00:00'), ('X', NULL)");
    const auto reader = CreateConnection(warehouse.Server());
    reader->SetProperty("Data Source", warehouse.Server());
    reader->SetProperty("Mode", "Read");
    reader->Open();
    reader->SetDefaultDatabase("dw");
    for (const char* sql :
         {"update t set a = 1", "delete from t", "insert into t values (1, 1)", "drop table t",
          "create table u(a int)", "create index i on t(a)", "alter table t add b int"}) {
        EXPECT_NE(ErrorOf([&] { reader->Execute(sql); }), "no error") << sql;
    }
    reader->Execute("select a, d, 1 as n into #copy from t");
    reader->Execute("create index i on #copy (a)");
    EXPECT_EQ(reader->Execute("update [#copy] set n = 2 from [#copy], t where [#copy].a = t.a and"
                              " t.d is not null"),
              2)
        << "with the collation of t";
    const auto rows =
        reader->OpenRecordset("select d, sum(n) as n from #copy group by d order by d desc");
    EXPECT_EQ(rows->Fields()[0].Type, DataType::DBTimeStamp);
    EXPECT_EQ((*rows)[1].Text(), "2");
    reader->Execute("drop table #copy");
    EXPECT_EQ(warehouse.Text("SELECT count(*) FROM sqlite_schema"), "3");
}

void Throw(sqlite3_context*, int, sqlite3_value** arguments) {
    switch (sqlite3_value_int(arguments[0])) {
        case 0:
            throw std::bad_alloc();
        case 1:
            throw DatabaseError({"of the database"});
        case 2:
            throw std::runtime_error("of the program");
        default:
            throw 3;
    }
}

TEST(SqliteCallback, ReportsAnExceptionAsAnError) {
    const embedded::SqliteDatabase database = embedded::SqliteDatabase::InMemory();
    sqlite3_create_function_v2(database.Handle(), "fail", 1, SQLITE_UTF8, nullptr,
                               embedded::Caught<Throw>, nullptr, nullptr, nullptr);
    int number = 0;
    for (const char* text :
         {"out of memory", "of the database", "of the program", "unknown reason"}) {
        const std::string sql = "SELECT fail(" + std::to_string(number++) + ")";
        EXPECT_TRUE(Contains(ErrorOf([&] { database.Run(sql); }), text));
    }
}

}  // namespace
}  // namespace morvane::testing
