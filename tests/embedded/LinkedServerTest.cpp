// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>

#include "core/DatabaseError.h"
#include "core/Transaction.h"
#include "support/ErrorOf.h"
#include "support/SqliteFile.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane {
namespace {

using testing::ErrorOf;
using testing::SqliteFile;
using testing::TestWarehouse;

class LinkedServer : public ::testing::Test {
  protected:
    LinkedServer() : archive(folder / "hist.db") {
        warehouse.Run("CREATE TABLE t(id int); INSERT INTO t VALUES(1),(2)");
        archive.Run("CREATE TABLE t(id int)");
        connection = warehouse.Connect();
    }

    std::string Server() const { return "sqlite:" + folder.Path(); }

    void Procedure(const std::string& name, const std::vector<std::string>& values) {
        const auto command = connection->CreateCommand();
        command->SetType(CommandType::StoredProcedure);
        command->SetText(name);
        for (const std::string& value : values) {
            command->AppendParameter({"p", DataType::VarChar, 0, 0, 0, Value(value)});
        }
        command->Execute();
    }
    // Allows copying to the database "hist", which holds `target`.
    std::int64_t CopyTo(const std::string& target, const std::string& server) {
        connection->SetProperty("Copy Server", server);
        connection->SetProperty("Copy Database", "hist");
        const std::int64_t rows =
            connection->Execute("insert into " + target + " select * from t where id < 9");
        connection->SetProperty("Copy Server", "");
        return rows;
    }
    std::int64_t CopyTo(const std::string& target) { return CopyTo(target, Server()); }
    static std::string Rowset(const std::string& server, const std::string& table) {
        return "OPENROWSET('SQLOLEDB', '" + server + "'; 'u'; 'p', " + table + ")";
    }

    TestWarehouse warehouse;
    testing::TempFolder folder;
    SqliteFile archive;
    std::unique_ptr<Connection> connection;
};

TEST_F(LinkedServer, ExistsFromAddToDrop) {
    EXPECT_NE(ErrorOf([&] { CopyTo(Server() + ".hist.dbo.t"); }), "no error");
    EXPECT_NE(ErrorOf([&] { CopyTo("[" + Server() + "].hist.dbo.t"); }).find("linked server"),
              std::string::npos);
    Procedure("sp_addlinkedserver", {Server(), "SQL Server"});
    EXPECT_NE(ErrorOf([&] {
                  Procedure("sp_addlinkedserver", {Server(), "SQL Server"});
              }).find("already exists"),
              std::string::npos);
    Procedure("SP_AddLinkedSrvLogin", {Server(), "true"});
    EXPECT_EQ(CopyTo(Server() + ".hist.dbo.t"), 2);
    EXPECT_EQ(CopyTo("[" + Server() + "].[hist].[dbo].[T]"), 2);
    EXPECT_EQ(archive.Text("SELECT id FROM t"), "1 2 1 2");
    Procedure("sp_dropserver", {Server()});
    EXPECT_NE(ErrorOf([&] { CopyTo(Server() + ".hist.dbo.t"); }), "no error");
    EXPECT_NE(ErrorOf([&] { Procedure("sp_dropserver", {Server()}); }).find("does not exist"),
              std::string::npos);
    EXPECT_NE(ErrorOf([&] { Procedure("sp_addlinkedsrvlogin", {Server(), "true"}); }), "no error");
    EXPECT_NE(ErrorOf([&] { Procedure("sp_helpserver", {Server()}); }).find("sp_helpserver"),
              std::string::npos);
    EXPECT_EQ(archive.Text("SELECT id FROM t"), "1 2 1 2");
}

TEST_F(LinkedServer, CanBeAFolderOfAnyName) {
    for (const char* name : {"with blank", "dot.ted.name", "it's", "say \"x\"", "a]b[c",
                             "semi;colon", "select -- from", "per%cent?#x", "ünï"}) {
        SCOPED_TRACE(name);
        const std::string path = folder / name;
        std::filesystem::create_directory(path);
        const SqliteFile file(path + "/hist.db");
        file.Run("CREATE TABLE t(id int)");
        const std::string server = "sqlite:" + path;
        Procedure("sp_addlinkedserver", {server, "SQL Server"});
        Procedure("sp_addlinkedsrvlogin", {server, "true"});
        EXPECT_EQ(CopyTo(server + ".hist.dbo.t", server), 2);
        EXPECT_EQ(file.Text("SELECT id FROM t"), "1 2");
        Procedure("sp_dropserver", {server});
    }
    EXPECT_EQ(archive.Text("SELECT count(*) FROM t"), "0");
}

// An attached file would remain locked, and unqualified names would find its tables.
TEST_F(LinkedServer, LeavesNothingAttached) {
    const std::string rowset = Rowset(Server(), "hist.dbo.t");
    archive.Run("CREATE TABLE alone(id int); CREATE TABLE strict(id int CHECK(id < 2))");
    for (int round = 0; round < 15; ++round) {  // more than SQLite attaches at a time
        EXPECT_EQ(CopyTo(rowset), 2);
        EXPECT_THROW(CopyTo(rowset + " select nothing from t --"), DatabaseError);
        EXPECT_THROW(CopyTo(Rowset(Server(), "hist.dbo.strict")), DatabaseError);
    }
    EXPECT_THROW(connection->OpenRecordset("select id from alone"), DatabaseError);
    EXPECT_EQ(archive.Text("SELECT count(*) FROM t"), "30");
    EXPECT_EQ(archive.Text("SELECT count(*) FROM strict"), "0") << "all rows or none";
    std::filesystem::rename(archive.Path(), folder / "moved.db");
    EXPECT_NE(ErrorOf([&] { CopyTo(rowset); }).find("There is no database file"),
              std::string::npos);
    EXPECT_EQ(testing::ListFiles(folder.Path()), "moved.db");
}

TEST_F(LinkedServer, ReachesAnotherDatabaseOfTheSameServer) {
    const SqliteFile same(warehouse.Folder() + "/hist.db");
    same.Run("CREATE TABLE t(id int)");
    EXPECT_EQ(CopyTo(Rowset(warehouse.Server(), "hist.dbo.t"), warehouse.Server()), 2);
    EXPECT_EQ(same.Text("SELECT id FROM t"), "1 2");
    connection->SetDefaultDatabase("hist");
    EXPECT_EQ(CopyTo(Rowset(warehouse.Server(), "hist.dbo.t"), warehouse.Server()), 2)
        << "the database itself";
}

// The archive receives new rows from the warehouse; nothing else is possible.
TEST_F(LinkedServer, ReachesOnlyTheCopyDatabaseAndOnlyToInsert) {
    SqliteFile(folder / "other.db").Run("CREATE TABLE t(id int); INSERT INTO t VALUES(7)");
    archive.Run("CREATE UNIQUE INDEX one ON t(id); CREATE TABLE only_there(id int)");
    ASSERT_EQ(CopyTo(Rowset(Server(), "hist.dbo.t")), 2);
    Procedure("sp_addlinkedserver", {Server(), "SQL Server"});
    const std::string other = Rowset(Server(), "other.dbo.t");
    const std::string hist = Rowset(Server(), "hist.dbo.t");
    const std::string attached = "\"" + archive.Path() + "\".t";
    const std::string copy = "insert into " + hist + " select id + 10 from t where ";
    std::vector<std::string> statements = {
        "insert into " + other + " select id from t",
        "insert into " + Server() + ".other.dbo.t select id from t",
        "select * from " + hist,
        "select * from " + Server() + ".hist.dbo.t",
        "delete from " + hist,
        "delete from t where id in (select id from " + hist + ")",
        "update " + hist + " set id = 9",
        "insert into t select id from " + hist,
        copy + "id in (select id from " + other + ")",
        copy + "id in (select id from " + hist + ")",
        copy + "1=0 union all select id from " + Server() + ".hist.dbo.t",
        copy + "exists (select id from " + attached + ")",
        copy + "exists (select id from only_there)",
        copy + "1=0 union all select 1 from t where 1=1 on conflict do update set id = 9",
        copy + "exists (select name from pragma_database_list)",
        copy + "load_extension('x') is null",
        copy + "fts3_tokenizer('simple') is null",
        copy + "writefile('" + (folder / "out") + "', 'x') > 0",
        copy + "1=1; attach database '" + (folder / "other.db") + "' as x",
        "attach database '" + (folder / "other.db") + "' as x",
        "pragma journal_mode = off",
        "create virtual table x using fts5(a)",
    };
    for (const char* target :
         {"OPENROWSET('SQLOLEDB', 'realserver'; 'u'; 'p', hist.dbo.t)",
          "OPENROWSET('SQLOLEDB', 'sqlite:/x'; 'u'; 'p', hist.t)",
          "OPENROWSET('SQLOLEDB', 'sqlite:/x', 'u', 'p', hist.dbo.t)", "OPENROWSET()",
          "SERVER..dbo.t", "SERVER...t", "SERVER.hist.t", "SERVER.a.b.dbo.t", "SERVER.hist.dbo."}) {
        statements.push_back("insert into " + testing::ReplaceAll(target, "SERVER", Server()) +
                             " select id from t");
    }
    connection->SetProperty("Copy Server", Server());
    connection->SetProperty("Copy Database", "hist");
    for (const std::string& sql : statements) {
        const std::string error = ErrorOf([&] { connection->Execute(sql); });
        EXPECT_NE(error, "no error") << sql;
        EXPECT_EQ(error.find("'p'"), std::string::npos) << error;
        EXPECT_THROW(connection->OpenRecordset(sql), DatabaseError) << sql;
    }
    EXPECT_EQ(archive.Text("SELECT id FROM t"), "1 2");
    EXPECT_EQ(warehouse.Text("SELECT id FROM t"), "1 2");
    EXPECT_EQ(testing::ListFiles(folder.Path()), "hist.db other.db");
}

}  // namespace
}  // namespace morvane
