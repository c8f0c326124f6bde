// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>

#include "base/modFileFunctions.h"
#include "core/DatabaseError.h"
#include "support/ErrorOf.h"
#include "support/SqliteFile.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

class LinkedServer : public ::testing::Test {
  protected:
    LinkedServer() : archive(folder / "hist.db") {
        warehouse.Run("CREATE TABLE t(id int); INSERT INTO t VALUES(1),(2)");
        archive.Run("CREATE TABLE t(id int)");
        connection = warehouse.Connect();
    }

    void Procedure(const std::string& name, const std::vector<std::string>& values) {
        const auto command = connection->CreateCommand();
        command->SetType(CommandType::StoredProcedure);
        command->SetText(name);
        for (const std::string& value : values) {
            command->AppendParameter({"p", DataType::VarChar, 0, 0, 0, Value(value)});
        }
        command->Execute();
    }
    // Copies two rows, with "hist" on the server as the database that copies may go to.
    std::int64_t CopyTo(const std::string& target, const std::string& host) {
        connection->SetProperty("Copy Server", host);
        connection->SetProperty("Copy Database", "hist");
        const std::int64_t rows =
            connection->Execute("insert into " + target + " select * from t where id < 9");
        connection->SetProperty("Copy Server", "");
        return rows;
    }
    std::int64_t CopyTo(const std::string& target) { return CopyTo(target, server); }
    static std::string Rowset(const std::string& host, const std::string& table) {
        return "OPENROWSET('SQLOLEDB', '" + host + "'; 'u'; 'p', " + table + ")";
    }

    TestWarehouse warehouse;
    TempFolder folder;
    SqliteFile archive;
    const std::string server = "sqlite:" + folder.Path();
    std::unique_ptr<Connection> connection;
};

TEST_F(LinkedServer, ExistsFromAddToDrop) {
    const auto expectError = [](const char* part, const std::function<void()>& action) {
        EXPECT_TRUE(Contains(ErrorOf(action), part));
    };
    const std::string target = "[" + server + "].[hist].[dbo].[T]";
    expectError("linked server", [&] { CopyTo(target); });
    Procedure("sp_addlinkedserver", {server, "SQL Server"});
    expectError("already exists", [&] { Procedure("sp_addlinkedserver", {server, "SQL Server"}); });
    Procedure("SP_AddLinkedSrvLogin", {server, "true"});
    EXPECT_EQ(CopyTo(server + ".hist.dbo.t"), 2);
    EXPECT_EQ(CopyTo(target), 2);
    Procedure("sp_dropserver", {server});
    expectError("linked server", [&] { CopyTo(target); });
    expectError("does not exist", [&] { Procedure("sp_dropserver", {server}); });
    expectError("does not exist", [&] { Procedure("sp_addlinkedsrvlogin", {server, "true"}); });
    expectError("sp_helpserver", [&] { Procedure("sp_helpserver", {server}); });
    EXPECT_EQ(archive.Text("SELECT id FROM t"), "1 2 1 2");
}

TEST_F(LinkedServer, CanBeAFolderOfAnyName) {
    for (const char* name : {"with blank", "dot.ted.name", "it's", "say \"x\"", "a]b[c",
                             "semi;colon", "select -- from", "per%cent?#x", "ünï"}) {
        const std::string path = folder / name;
        std::error_code refused;
        if (!std::filesystem::create_directory(ToPath(path), refused)) {
            EXPECT_EQ(std::filesystem::path::preferred_separator, '\\')
                << "only Windows refuses it";
            continue;
        }
        const SqliteFile file(path + "/hist.db");
        file.Run("CREATE TABLE t(id int)");
        Procedure("sp_addlinkedserver", {"sqlite:" + path, "SQL Server"});
        EXPECT_EQ(CopyTo("sqlite:" + path + ".hist.dbo.t", "sqlite:" + path), 2) << name;
        EXPECT_EQ(file.Text("SELECT id FROM t"), "1 2") << name;
    }
    EXPECT_EQ(archive.Text("SELECT count(*) FROM t"), "0");
}

// An attached file would remain locked, and unqualified names would find its tables.
TEST_F(LinkedServer, LeavesNothingAttached) {
    const std::string rowset = Rowset(server, "hist.dbo.t");
    archive.Run("CREATE TABLE alone(id int); CREATE TABLE strict(id int CHECK(id < 2))");
    for (int round = 0; round < 15; ++round) {  // more than SQLite attaches at a time
        EXPECT_EQ(CopyTo(rowset), 2);
        EXPECT_THROW(CopyTo(rowset + " select nothing from t --"), DatabaseError);
        EXPECT_THROW(CopyTo(Rowset(server, "hist.dbo.strict")), DatabaseError);
    }
    EXPECT_THROW(connection->OpenRecordset("select id from alone"), DatabaseError);
    EXPECT_EQ(archive.Text("SELECT count(*) FROM t"), "30");
    EXPECT_EQ(archive.Text("SELECT count(*) FROM strict"), "0") << "all rows or none";
    std::filesystem::rename(archive.Path(), folder / "moved.db");
    EXPECT_TRUE(Contains(ErrorOf([&] { CopyTo(rowset); }), "There is no database file"));
    EXPECT_EQ(ListFiles(folder.Path()), "moved.db");
}

TEST_F(LinkedServer, OnlyReceivesNewRowsInTheCopyDatabase) {
    SqliteFile(folder / "other.db").Run("CREATE TABLE t(id int); INSERT INTO t VALUES(7)");
    archive.Run("CREATE UNIQUE INDEX one ON t(id); CREATE TABLE only_there(id int)");
    ASSERT_EQ(CopyTo(Rowset(server, "hist.dbo.t")), 2);
    Procedure("sp_addlinkedserver", {server, "SQL Server"});
    const std::string other = Rowset(server, "other.dbo.t");
    const std::string hist = Rowset(server, "hist.dbo.t");
    const std::string copy = "insert into " + hist + " select id + 10 from t where ";
    const std::string attach = "attach database '" + (folder / "other.db") + "' as x";
    std::vector<std::string> statements = {
        "insert into " + other + " select id from t",
        "insert into " + server + ".other.dbo.t select id from t",
        "select * from " + hist,
        "select * from " + server + ".hist.dbo.t",
        "delete from " + hist,
        "delete from t where id in (select id from " + hist + ")",
        "update " + hist + " set id = 9",
        "insert into t select id from " + hist,
        copy + "id in (select id from " + other + ")",
        copy + "id in (select id from " + hist + ")",
        copy + "1=0 union all select id from " + server + ".hist.dbo.t",
        copy + "exists (select id from \"" + archive.Path() + "\".t)",
        copy + "exists (select id from only_there)",
        copy + "1=0 union all select 1 from t where 1=1 on conflict do update set id = 9",
        copy + "exists (select name from pragma_database_list)",
        copy + "load_extension('x') is null",
        copy + "writefile('" + (folder / "out") + "', 'x') > 0",
        copy + "1=1; " + attach,
        attach,
        "pragma journal_mode = off",
        "create virtual table x using fts5(a)",
    };
    for (const std::string& target :
         {Rowset("realserver", "hist.dbo.t"), Rowset("sqlite:/x", "hist.t"),
          std::string("OPENROWSET('SQLOLEDB', 'sqlite:/x', 'u', 'p', hist.dbo.t)"),
          std::string("OPENROWSET()"), server + "..dbo.t", server + "...t", server + ".hist.t",
          server + ".a.b.dbo.t", server + ".hist.dbo."}) {
        statements.push_back("insert into " + target + " select id from t");
    }
    connection->SetProperty("Copy Server", server);
    connection->SetProperty("Copy Database", "hist");
    for (const std::string& sql : statements) {
        const std::string error = ErrorOf([&] { connection->Execute(sql); });
        EXPECT_NE(error, "no error") << sql;
        EXPECT_FALSE(Contains(error, "'p'"));
        EXPECT_THROW(connection->OpenRecordset(sql), DatabaseError) << sql;
    }
    EXPECT_EQ(archive.Text("SELECT id FROM t"), "1 2");
    EXPECT_EQ(warehouse.Text("SELECT id FROM t"), "1 2");
    EXPECT_EQ(ListFiles(folder.Path()), "hist.db other.db");
}

}  // namespace
}  // namespace morvane::testing
