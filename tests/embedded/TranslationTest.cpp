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

TEST(Translation, KeepsTextsNamesAndTheScopeOfTop) {
    for (const auto& [tsql, sqlite] : std::map<std::string, std::string>{
             {"select 'a'N'b' as x, [c][d] from dbo.t where b = 'getdate() top 5 dbo.x' -- len(\n",
              "SELECT 'a' 'b' as x, \"c\" \"d\" from t where b = 'getdate() top 5 dbo.x'"},
             {"select {d '2024-03-05'}'b' as x", "SELECT '2024-03-05 00:00:00' 'b' as x"},
             {"select top 3 a from t where b in (select distinct top (2) b from DW..u)",
              "SELECT a from t where b in (SELECT distinct b from u LIMIT 2) LIMIT 3"},
             {"SELECT a, t.b, Upper(c), count(*) n, max(d) AS m, a+1 FROM t",
              "SELECT a, t.b, Upper(c) AS \"\", count(*) n, max(d) AS m, a+1 AS \"\" FROM t"}}) {
        EXPECT_EQ(Sql(tsql), sqlite);
    }
}

TEST(Translation, RejectsUnsupportedStatements) {
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
