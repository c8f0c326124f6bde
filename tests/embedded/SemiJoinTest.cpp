// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Translation.h"

#include <gtest/gtest.h>

#include "core/DatabaseError.h"
#include "db/embedded/SqlFunctions.h"
#include "db/embedded/Sqlite.h"
#include "support/TestWarehouse.h"

namespace morvane::embedded {
namespace {

class SemiJoin : public ::testing::Test {
  protected:
    SemiJoin() {
        RegisterFunctions(database_, functions_);
        database_.Run("CREATE TABLE dim(k int, c varchar(9), is_deletable bit)");
        database_.Run("CREATE TABLE fact(fk int, fc varchar(9), is_deletable bit)");
    }

    std::string Rewrite(const std::string& sql) { return RewriteUpdate(database_.Handle(), sql); }

    FunctionContext functions_;
    SqliteDatabase database_ = SqliteDatabase::InMemory();
};

constexpr const char* kBothColumns =
    "UPDATE dim SET is_deletable = 0 FROM dim,fact WHERE \r\ndim.k = fact.fk\r\n AND \r\n"
    "dim.c = fact.fc\r\n";

TEST_F(SemiJoin, SearchesAnIndexOrReadsTheForeignTableOnce) {
    const std::string onePass =
        "UPDATE dim SET is_deletable = 0 WHERE \"dim\".is_deletable IS NOT 0 AND "
        "(dim.k, dim.c) IN (SELECT fact.fk, fact.fc FROM \"fact\")";
    EXPECT_EQ(Rewrite(kBothColumns), onePass);
    database_.Run("CREATE INDEX half ON fact(fk)");
    EXPECT_EQ(Rewrite(kBothColumns), onePass) << "half a key may match most of the table";
    database_.Run("CREATE INDEX unusable ON fact(fc COLLATE NOCASE, fk)");
    EXPECT_EQ(Rewrite(kBothColumns), onePass) << "another collation";
    database_.Run("CREATE INDEX ix ON fact(fc, fk)");
    EXPECT_EQ(Rewrite(kBothColumns),
              "UPDATE dim SET is_deletable = 0 WHERE \"dim\".is_deletable IS NOT 0 AND EXISTS "
              "(SELECT 1 FROM \"fact\" WHERE dim.k = fact.fk AND dim.c = fact.fc)");
}

TEST_F(SemiJoin, SkipsDuplicateIntegerKeysOnlyWithoutOtherTerms) {
    const std::string update = "UPDATE dim SET is_deletable = 0 FROM dim,fact WHERE dim.k = fact.";
    EXPECT_NE(Rewrite(update + "fk").find("first_seen(fact.fk)"), std::string::npos);
    for (const char* other : {"fc", "fk AND fact.is_deletable=0"}) {
        EXPECT_EQ(Rewrite(update + other).find("first_seen"), std::string::npos) << other;
    }
}

TEST_F(SemiJoin, ConvertsDatesToOneFormWithoutAnIndex) {
    EXPECT_EQ(Rewrite("UPDATE dim SET k = 5 FROM dim,fact WHERE fact.fc in (dim.c, "
                      "tsql_date_form(dim.c, 0))"),
              "UPDATE dim SET k = 5 WHERE \"dim\".k IS NOT 5 AND (tsql_date_form(dim.c, 0)) IN "
              "(SELECT tsql_date_form(fact.fc, 0) FROM \"fact\")");
}

TEST_F(SemiJoin, WritesOnlyRowsThatChange) {
    EXPECT_EQ(Rewrite("UPDATE dim SET is_deletable = 0"),
              "UPDATE dim SET is_deletable = 0 WHERE \"dim\".is_deletable IS NOT 0");
    for (const char* sql : {"UPDATE dim SET is_deletable = 1 WHERE is_sustainable = 0",
                            "UPDATE dim SET k = k + 1", "UPDATE dim SET lock = 1, c = ?"}) {
        EXPECT_EQ(Rewrite(sql), sql);
    }
}

}  // namespace
}  // namespace morvane::embedded
