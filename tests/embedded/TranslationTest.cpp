// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Translation.h"

#include <gtest/gtest.h>

#include "core/DatabaseError.h"

namespace morvane::embedded {
namespace {

const TranslationContext kContext{"/nowhere", "dw", {"sqlite:/ar.chive"}, nullptr};

std::string Sql(const std::string& sql) {
    return Translate(sql, kContext).Sql;
}

TEST(Translation, LeavesWordsInTextsNamesAndCommentsAlone) {
    EXPECT_EQ(Sql("select a from t where b = 'getdate() top 5 dbo.x' -- isnull(\n and c = 1"),
              "SELECT a from t where b = 'getdate() top 5 dbo.x' and c = 1");
    EXPECT_EQ(Sql("select [left], \"len\" from t /* x /* nested */ top */ where [a]]b] = N'it''s'"),
              "SELECT \"left\", \"len\" from t where \"a]b\" = 'it''s'");
    EXPECT_EQ(Sql("select 'a'N'b' as x, [c][d] from t"), "SELECT 'a' 'b' as x, \"c\" \"d\" from t")
        << "two that stand together are not one";
    EXPECT_EQ(Sql("select {d '2024-03-05'}'b' as x"), "SELECT '2024-03-05 00:00:00' 'b' as x");
    EXPECT_EQ(Sql("delete from t where datediff(d'b') = 1"),
              "delete from t where tsql_datediff('d' 'b') = 1");
}

TEST(Translation, PutsTheLimitOfTopAtTheEndOfItsOwnQuery) {
    EXPECT_EQ(Sql("select top 3 a from t where b in (select distinct top (2) b from u order by b)"),
              "SELECT a from t where b in (SELECT distinct b from u order by b LIMIT 2) LIMIT 3");
}

TEST(Translation, GivesColumnsWithoutANameTheEmptyName) {
    EXPECT_EQ(Sql("SELECT a, t.b, Upper(c), count(*) n, max(d) AS m, a+1 FROM t"),
              "SELECT a, t.b, Upper(c) AS \"\", count(*) n, max(d) AS m, a+1 AS \"\" FROM t");
}

TEST(Translation, DropsTheOwnerAndTheDatabaseInUse) {
    EXPECT_EQ(Sql("select a from dbo.t where dbo.t.a = DW..u.b and [dw].dbo.v.c = limit"),
              "SELECT a from t where t.a = u.b and v.c = \"limit\"");
}

TEST(Translation, CreatesTablesInSqlitesWords) {
    EXPECT_EQ(Sql("CREATE TABLE [t] (a varchar(max) COLLATE Latin1_General_CI_AS NULL, "
                  "d datetime NOT NULL DEFAULT (getdate()), "
                  "CONSTRAINT p PRIMARY KEY CLUSTERED (a) ON [PRIMARY]) ON [PRIMARY]"),
              "CREATE TABLE \"t\" (a varchar(2147483647) COLLATE NOCASE NULL, "
              "d datetime NOT NULL DEFAULT ((datetime('now', 'localtime'))), "
              "CONSTRAINT p PRIMARY KEY (a))");
    EXPECT_EQ(Sql("CREATE TABLE t (a int COLLATE [no [case])"),
              "CREATE TABLE t (a int COLLATE \"no [case\")");
    EXPECT_EQ(Sql("CREATE TABLE t (getdate datetime, b int)"),
              "CREATE TABLE t (getdate datetime, b int)");
}

TEST(Translation, RefusesWhatItDoesNotKnow) {
    for (const char* sql : {"",
                            "grant all to x",
                            "exec sp_who",
                            "select top 5 percent a from t",
                            "select select top x",
                            "select a from other.dbo.t",
                            "select a from srv.dw.dbo.t",
                            "select @x",
                            "select 'open",
                            "select [open",
                            "select /* open",
                            "select (a from t",
                            "select a where b !< 1",
                            "select cast(a int) from t",
                            "delete from t where d = {ts 'soon'}",
                            "select datediff('day', a, b) from t",
                            "select a from t.",
                            "select a /dbo.* from t",
                            "select $ from t",
                            "select cast(a as varchar(?)) from t",
                            "select convert(decimal(9 + 1, 2), a) from t"}) {
        EXPECT_THROW(Translate(sql, kContext), DatabaseError) << sql;
    }
    const std::string deep(100000, '(');
    const std::string close(100000, ')');
    EXPECT_THROW(Sql("select " + deep + "1" + close), DatabaseError);
}

}  // namespace
}  // namespace morvane::embedded
