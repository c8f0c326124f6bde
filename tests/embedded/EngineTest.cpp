// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <functional>
#include <stdexcept>

#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "core/DatabaseError.h"
#include "core/Transaction.h"
#include "db/ConnectionFactory.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/SqliteCallbacks.h"
#include "db/modDatabaseOperations.h"
#include "sql/MaskPasswords.h"
#include "support/ErrorOf.h"
#include "support/TestWarehouse.h"

namespace morvane {
namespace {

using testing::ErrorOf;
using testing::TestWarehouse;

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(Engine, OpensExistingDatabasesAndCreatesNone) {
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

TEST(Engine, DescribesFieldsAsDeclared) {
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
    EXPECT_TRUE(connection->IsIndexed("Keyed")) << "SQLite has no index for this key";
    auto command = connection->CreateCommand();
    command->SetText("DELETE FROM t WHERE b = ?");
    EXPECT_THROW(command->Execute(), DatabaseError) << "a placeholder without a parameter";
}

TEST(Engine, WaitsForALockUntilTheTimeoutOrACancellation) {
    const TestWarehouse warehouse;
    warehouse.Run("CREATE TABLE t(a int)");
    testing::Loader loader(warehouse);
    int tries = 0;
    std::function<bool()> cancelAtTry;  // called at each attempt to lock the file
    auto connection = ConnectionsWith({.CancelRequested = [&] {
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
    for (const auto& action : actions) {
        const auto attempt = [&](int seconds, std::function<bool()> onTry) {
            loader.Release();
            loader.Take();
            tries = 0;
            cancelAtTry = std::move(onTry);
            connection->SetConnectionTimeout(seconds);
            return ErrorOf(action);
        };
        constexpr const char* kInUse = "in use by another process";
        EXPECT_TRUE(Contains(attempt(0, [] { return false; }), kInUse));
        EXPECT_EQ(tries, 0) << "no second attempt without a timeout";
        const auto goAway = [&](bool cancelled) {
            loader.Release();
            return cancelled;
        };
        EXPECT_EQ(attempt(20, [&] { return goAway(false); }), "no error");
        EXPECT_TRUE(Contains(attempt(20, [&] { return tries == 3; }), kInUse));
        EXPECT_EQ(tries, 3) << "the cancellation ends the wait";
        EXPECT_EQ(attempt(20, [&] { return goAway(true); }), "no error")
            << "a wait that begins after the cancellation belongs to the end of the run";
    }
}

TEST(Engine, ChangingTheDatabaseInvalidatesStreamedRows) {
    const TestWarehouse warehouse;
    const testing::SqliteFile other(warehouse.Folder() + "/other.db");
    for (const testing::SqliteFile* file :
         {static_cast<const testing::SqliteFile*>(&warehouse), &other}) {
        file->Run("CREATE TABLE t(a int); INSERT INTO t VALUES(1),(2)");
    }
    const auto connection = warehouse.Connect();
    const auto command = connection->CreateCommand();
    command->SetText("delete from t");
    const auto rows = connection->OpenRecordset("select a from t", RecordsetKind::Streamed);
    connection->SetDefaultDatabase("other");
    EXPECT_THROW(rows->MoveNext(), DatabaseError);
    EXPECT_EQ(command->Execute(), 2);
    EXPECT_EQ(other.Text("SELECT count(*) FROM t") + warehouse.Text("SELECT count(*) FROM t"),
              "02");
    testing::Loader(warehouse).Take();
}

// SQLite limits a UNION to 500 queries.
TEST(Engine, ListsManyDatabasesInNaturalOrder) {
    const TestWarehouse warehouse;
    for (int i = 1; i <= 600; ++i) {
        TextFile(warehouse.Folder() + "/many" + std::to_string(i) + ".db").Close();
    }
    for (const char* name : {"db10", "DB2", "db2", "db02", "Db1", "dz", "db1b", "99", "100"}) {
        TextFile(warehouse.Folder() + "/" + name + ".db").Close();
    }
    std::filesystem::create_directory(warehouse.Folder() + "/folder.db");
    std::vector<std::string> names{"old"};
    FillDatabaseList(names, *warehouse.Connect());
    ASSERT_EQ(names.size(), 610U);
    EXPECT_EQ(Join({names.begin(), names.begin() + 12}, " "),
              "99 100 Db1 db1b DB2 db02 db2 db10 dw dz many1 many2");
    EXPECT_EQ(names.back(), "many600");
}

// Names from the meta tables are inserted into statements unquoted.
TEST(Engine, AcceptsOnlyOneIdentifierAsAName) {
    const TestWarehouse warehouse;
    const auto connection = warehouse.Connect();
    struct Case {
        std::string Text;
        bool Table;
        bool Column;
    };
    const Case cases[] = {
        {"sales", true, true},
        {"  \xc3\xbcs_1$ ", true, true},
        {"[odd ] name", false, false},
        {"[odd ]] name]", true, true},
        {"\"a \"\" b\"", true, true},
        {"dbo.sales", true, false},
        {" [dbo] . [sales] ", true, false},
        {"sales /* nothing */", true, true},
        {"", false, false},
        {"[]", false, false},
        {"1", false, false},
        {"@x", false, false},
        {"a b", false, false},
        {"a, b", false, false},
        {"main.sales", false, false},
        {"dw.dbo.sales", false, false},
        {"sales where 1=1 --", false, false},
        {"sales --", false, false},
        {"sales /*", false, false},
        {"sales; drop table sales", false, false},
        {"(select 1)", false, false},
        {"f(x)", false, false},
        {"[it's]", false, false},
        {std::string("[a\0b]", 5), false, false},
    };
    for (const auto& [text, table, column] : cases) {
        const std::string name = text;
        EXPECT_EQ(ErrorOf([&] { connection->RequireTableName(name); }) == "no error", table)
            << name;
        EXPECT_EQ(ErrorOf([&] { connection->RequireColumnNames("id, " + name); }) == "no error",
                  column || text == "a, b")
            << name;
    }
}

void ThrowAsAsked(sqlite3_context*, int, sqlite3_value** arguments) {
    switch (sqlite3_value_int(arguments[0])) {
        case 0:
            throw std::bad_alloc();
        case 1:
            throw DatabaseError({"refused"}, MaskPasswords("select 1"));
        case 2:
            throw std::out_of_range("too far");
        default:
            throw 3;
    }
}

TEST(Engine, ReportsAnExceptionInAFunctionAsAnError) {
    const embedded::SqliteDatabase database = embedded::SqliteDatabase::InMemory();
    sqlite3_create_function_v2(database.Handle(), "fail", 1, SQLITE_UTF8, nullptr,
                               embedded::Caught<ThrowAsAsked>, nullptr, nullptr, nullptr);
    const char* const errors[] = {"out of memory", "refused", "too far", "unknown reason"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(Contains(
            ErrorOf([&] { database.Run("SELECT fail(" + std::to_string(i) + ")"); }), errors[i]));
    }
}

TEST(Engine, TooManyParenthesesAreAnError) {
    const TestWarehouse warehouse;
    const std::string sql =
        "select " + std::string(100000, '(') + "1" + std::string(100000, ')') + " as a";
    EXPECT_NE(ErrorOf([&] { warehouse.Connect()->OpenRecordset(sql); }), "no error");
}

}  // namespace
}  // namespace morvane
