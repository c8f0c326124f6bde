#include <gtest/gtest.h>

#include <filesystem>

#include "core/DatabaseError.h"
#include "core/Transaction.h"
#include "support/ErrorOf.h"
#include "support/SqliteFile.h"
#include "support/TestWarehouse.h"

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
    std::int64_t CopyTo(const std::string& target) {
        return connection->Execute("insert into " + target + " select * from t where id < 9");
    }

    TestWarehouse warehouse;
    testing::TempFolder folder;
    SqliteFile archive;
    std::unique_ptr<Connection> connection;
};

TEST_F(LinkedServer, IsThereFromItsAddingToItsDropping) {
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

TEST_F(LinkedServer, MayLieInAFolderOfAnyName) {
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
        EXPECT_EQ(CopyTo(server + ".hist.dbo.t"), 2);
        EXPECT_EQ(file.Text("SELECT id FROM t"), "1 2");
        Procedure("sp_dropserver", {server});
    }
    EXPECT_EQ(archive.Text("SELECT count(*) FROM t"), "0");
}

// A file that stayed attached would stay locked, and be what a bare name finds.
TEST_F(LinkedServer, NothingIsLeftAttachedAfterSuccessOrFailure) {
    const std::string rowset = "OPENROWSET('SQLOLEDB', '" + Server() + "'; 'u'; 'p', hist.dbo.t)";
    archive.Run("CREATE TABLE alone(id int); CREATE TABLE strict(id int CHECK(id < 2))");
    for (int round = 0; round < 15; ++round) {  // more than SQLite attaches at a time
        EXPECT_EQ(CopyTo(rowset), 2);
        EXPECT_THROW(connection->Execute("insert into " + rowset + " select nothing from t"),
                     DatabaseError);
        EXPECT_THROW(
            CopyTo("OPENROWSET('SQLOLEDB', '" + Server() + "'; 'u'; 'p', hist.dbo.strict)"),
            DatabaseError);
    }
    EXPECT_THROW(connection->OpenRecordset("select id from alone"), DatabaseError);
    EXPECT_EQ(connection->OpenRecordset("select name from pragma_database_list")->Eof(), false);
    EXPECT_EQ(archive.Text("SELECT count(*) FROM t"), "30");
    EXPECT_EQ(archive.Text("SELECT count(*) FROM strict"), "0") << "all rows or none";
    std::filesystem::rename(archive.Path(), folder / "moved.db");
    EXPECT_NE(ErrorOf([&] { CopyTo(rowset); }).find("There is no database file"),
              std::string::npos);
    EXPECT_EQ(testing::ListFiles(folder.Path()), "moved.db");
}

TEST_F(LinkedServer, AnotherDatabaseOfTheSameServerIsReachedToo) {
    const SqliteFile same(warehouse.Folder() + "/hist.db");
    same.Run("CREATE TABLE t(id int)");
    const std::string rowset = "OPENROWSET('SQLOLEDB', '" + warehouse.Server() + "'; ''; '', ";
    EXPECT_EQ(CopyTo(rowset + "hist.dbo.t)"), 2);
    EXPECT_EQ(same.Text("SELECT id FROM t"), "1 2");
    EXPECT_EQ(CopyTo(rowset + "dw.dbo.t)"), 2) << "the database itself";
    EXPECT_EQ(warehouse.Text("SELECT id FROM t"), "1 2 1 2");
}

TEST_F(LinkedServer, RefusesWhatItCannotReach) {
    for (const char* rowset :
         {"OPENROWSET('SQLOLEDB', 'realserver'; 'u'; 'p', hist.dbo.t)",
          "OPENROWSET('SQLOLEDB', 'sqlite:/nowhere'; 'u'; 'p', hist.dbo.t)",
          "OPENROWSET('SQLOLEDB', 'sqlite:/nowhere'; 'u'; 'p', hist.t)",
          "OPENROWSET('SQLOLEDB', 'sqlite:/nowhere', 'u', 'p', hist.dbo.t)", "OPENROWSET()"}) {
        SCOPED_TRACE(rowset);
        const std::string error = ErrorOf([&] { CopyTo(rowset); });
        EXPECT_NE(error, "no error");
        EXPECT_EQ(error.find("'p'"), std::string::npos) << error;
    }
    Procedure("sp_addlinkedserver", {Server(), "SQL Server"});
    for (const char* table : {"..dbo.t", "...t", ".hist.t", ".a.b.dbo.t", ".hist.dbo."}) {
        EXPECT_NE(ErrorOf([&] { CopyTo(Server() + table); }), "no error") << table;
    }
    Procedure("sp_addlinkedserver", {"realserver", "SQL Server"});
    EXPECT_NE(ErrorOf([&] { CopyTo("realserver.hist.dbo.t"); }).find("realserver"),
              std::string::npos);
}

}  // namespace
}  // namespace morvane
