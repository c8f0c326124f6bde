// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Sqlite.h"
#include "db/embedded/Translation.h"
#include "support/Texts.h"

namespace morvane::embedded {
namespace {

using testing::Contains;

// These plans give the same result; scripts/statements.test checks the result.
TEST(SemiJoin, SearchesAnIndexOfTheWholeKeyOrReadsTheForeignTableOnce) {
    const SqliteDatabase database = SqliteDatabase::InMemory();
    database.Run("CREATE TABLE dim(k int, c varchar(9), is_deletable bit)");
    database.Run("CREATE TABLE fact(fk int, fc varchar(9))");
    const std::string oneColumn =
        "UPDATE dim SET is_deletable = 0 FROM dim,fact WHERE dim.k = fact.fk";
    const std::string twoColumns = oneColumn + " AND \r\ndim.c = fact.fc\r\n";
    EXPECT_TRUE(Contains(RewriteUpdate(database.Handle(), oneColumn), "first_seen(fact.fk)"));
    for (const char* index : {"half ON fact(fk)", "unusable ON fact(fc COLLATE NOCASE, fk)"}) {
        database.Run(std::string("CREATE INDEX ") + index);
        EXPECT_TRUE(Contains(RewriteUpdate(database.Handle(), twoColumns),
                             "(dim.k, dim.c) IN (SELECT fact.fk, fact.fc FROM \"fact\")"))
            << index;
    }
    database.Run("CREATE INDEX ix ON fact(fc, fk)");
    EXPECT_TRUE(Contains(RewriteUpdate(database.Handle(), twoColumns), " EXISTS "));
}

}  // namespace
}  // namespace morvane::embedded
