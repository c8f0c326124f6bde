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

TEST_F(SemiJoin, WritesOnlyRowsThatChange) {
    EXPECT_EQ(Rewrite("UPDATE dim SET is_deletable = 0"),
              "UPDATE dim SET is_deletable = 0 WHERE \"dim\".is_deletable IS NOT 0");
    for (const char* sql : {"UPDATE dim SET is_deletable = 1 WHERE is_sustainable = 0",
                            "UPDATE dim SET k = k + 1", "UPDATE dim SET lock = 1, c = ?"}) {
        EXPECT_EQ(Rewrite(sql), sql);
    }
}

TEST_F(SemiJoin, RejectsAnAmbiguousFrom) {
    for (const char* sql : {"UPDATE dim SET k = 0 FROM fact WHERE dim.k = fact.fk",
                            "UPDATE dim SET k = 0 FROM dim,dim WHERE dim.k = 1",
                            "UPDATE dim SET k = 0 FROM dim d, fact WHERE d.k = fact.fk",
                            "UPDATE dim SET k = 0 FROM dim JOIN fact ON dim.k = fact.fk",
                            "UPDATE dim SET k = fact.fk FROM dim,fact WHERE dim.c = fact.fc"}) {
        EXPECT_THROW(Rewrite(sql), DatabaseError) << sql;
    }
}

// An index affects only the speed: NULLs, duplicate matches, mixed types, case and date forms must
// give the same result.
TEST(SemiJoinResult, IsTheSameWithAndWithoutAnIndex) {
    const auto marks = [](const std::string& index) {
        const testing::TestWarehouse warehouse;
        warehouse.Run(
            "CREATE TABLE dim(k int, c varchar(9) COLLATE NOCASE, d date, is_deletable bit);"
            "CREATE TABLE fact(fk varchar(9), fc varchar(9) COLLATE NOCASE, fd date, kept bit);"
            "INSERT INTO dim VALUES(1,'a','2020-01-01',1),(2,'B','2020-01-01',1),"
            "(3,'c','20200101',1),(NULL,'d','2020-01-01',1),(5,NULL,'2020-01-01',1),"
            "(6,'f','2020-01-01',0),(7,'g','20200102',1),(8,'h','2020-01-01',1);"
            "INSERT INTO fact VALUES('1','A','20200101',0),('1','a','2020-01-01',0),"
            "('2','b','2020-01-01',1),('3','x','2020-01-01',0),(NULL,'d','2020-01-01',0),"
            "('5',NULL,'2020-01-01',0),('7','G','20200102',1),('7','g','2020-01-02T00:00:00',0),"
            "('8','h','2020-01-01 00:00:01',0);" +
            index);
        auto connection = warehouse.Connect();
        connection->Execute(
            "UPDATE dim SET is_deletable = 0 FROM dim,fact WHERE dim.k = fact.fk AND dim.c = "
            "fact.fc AND dim.d = fact.fd AND fact.kept=0");
        return warehouse.Text("SELECT coalesce(k, 'NULL') || '=' || is_deletable FROM dim");
    };
    const std::string expected = "1=0 2=1 3=1 NULL=1 5=1 6=0 7=0 8=1";
    EXPECT_EQ(marks(""), expected);
    EXPECT_EQ(marks("CREATE INDEX ix ON fact(fk, fc, fd)"), expected);
    EXPECT_EQ(marks("CREATE INDEX ix ON fact(fd)"), expected);
}

// Keys inside and outside the range that first_seen() remembers, and other types.
TEST(SemiJoinResult, FindsKeysOfAnyValueInEveryStatement) {
    const testing::TestWarehouse warehouse;
    warehouse.Run(
        "CREATE TABLE dim(k int, kept bit, is_deletable bit);"
        "CREATE TABLE fact(fk int);"
        "INSERT INTO dim VALUES(0,1,1),(1,0,1),(64,1,1),(65,0,1),(-1,1,1),(67108863,1,1),"
        "(67108864,1,1),(5000000000,1,1),('x',1,1),(2.5,1,1),(NULL,0,1);"
        "INSERT INTO fact VALUES(64),(64),(0),(NULL),(-1),(-1),(67108864),(67108863),(5000000000),"
        "('x'),(2.5),(0)");
    auto connection = warehouse.Connect();
    for (int run = 0; run < 2; ++run) {
        connection->Execute("UPDATE dim SET is_deletable = 1");
        connection->Execute("UPDATE dim SET is_deletable = 0 FROM dim,fact WHERE dim.k = fact.fk");
        EXPECT_EQ(warehouse.Text("SELECT count(*) FROM dim WHERE is_deletable = kept"), "0");
    }
}

}  // namespace
}  // namespace morvane::embedded
