// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "core/DatabaseError.h"
#include "core/Transaction.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {
namespace {

// A table of 80,000 rows with an index of each kind. `later` is created after them, so that the
// catalogue shows which indexes were re-created.
class IndexRebuild : public ::testing::Test {
  protected:
    IndexRebuild() {
        warehouse.Run(
            "CREATE TABLE facts(id int PRIMARY KEY, k int NOT NULL, moment varchar(10), n int);"
            "WITH RECURSIVE r(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM r WHERE i < 80000)"
            "  INSERT INTO facts SELECT i, i * 7919 % 80021, '2020-01-01', i % 3 FROM r;"
            "CREATE UNIQUE INDEX ix_k ON facts(k);"
            "CREATE INDEX \"ix part\" ON facts(n DESC) WHERE k > 1000;"
            "CREATE INDEX ix_expression ON facts(k + n);"
            "CREATE TABLE later(a int)");
        catalogue = Catalogue();
    }

    std::string Catalogue() const {
        return warehouse.Text("SELECT name, sql FROM sqlite_schema ORDER BY name");
    }
    std::int64_t Delete(const std::string& condition, int expectedRows) {
        Transaction transaction(*connection);
        const std::int64_t rows =
            connection->Execute("delete from FACTS where " + condition, expectedRows);
        transaction.Commit();
        return rows;
    }
    // The table has only lost rows, and its indexes are intact.
    void ExpectWhole(const std::string& rows, bool recreated) const {
        EXPECT_EQ(Catalogue(), catalogue);
        EXPECT_EQ(warehouse.Text("SELECT count(*) FROM facts"), rows);
        EXPECT_EQ(warehouse.Text("PRAGMA integrity_check"), "ok");
        EXPECT_EQ(warehouse.Text("SELECT count(*) FROM sqlite_schema WHERE type = 'index' AND "
                                 "tbl_name = 'facts' AND "
                                 "rowid > (SELECT rowid FROM sqlite_schema WHERE name = 'later')"),
                  recreated ? "3" : "0");
    }

    const TestWarehouse warehouse;
    std::unique_ptr<Connection> connection = warehouse.Connect();
    std::string catalogue;
};

TEST_F(IndexRebuild, RecreatesIndexesForALargeDelete) {
    warehouse.Run("ANALYZE");
    catalogue = Catalogue();
    EXPECT_EQ(Delete("id <= 60000", 60000), 60000);
    ExpectWhole("20000", true);
    EXPECT_EQ(warehouse.Text("SELECT stat FROM sqlite_stat1 WHERE idx = 'ix_k'"), "20000 1");
}

TEST_F(IndexRebuild, KeepsIndexesWhereRecreatingIsSlowerOrUnsafe) {
    EXPECT_EQ(Delete("id <= 5", 10), 5);
    EXPECT_EQ(Delete("id IN (SELECT f.id FROM facts f WHERE f.k = facts.id * 7919)", 60000), 5)
        << "the condition's own query needs the index";
    EXPECT_EQ(connection->Execute("delete from facts where id <= 40", 60000), 30)
        << "no transaction";
    {
        Transaction transaction(*connection);
        const auto rows =
            connection->OpenRecordset("SELECT id FROM facts", RecordsetKind::Streamed);
        EXPECT_EQ(connection->Execute("delete from facts where id <= 60", 60000), 20);
        EXPECT_FALSE(rows->Eof());
    }
    {
        Transaction transaction(*connection);
        connection->Execute("delete from later where a <= 1", 60000);
        EXPECT_EQ(connection->Execute("delete from facts where id <= 50"), 10)
            << "the expected rows are those of one statement";
        transaction.Commit();
    }
    ExpectWhole("79950", false);
    warehouse.Run("CREATE TRIGGER t DELETE ON facts BEGIN DELETE FROM later; END");
    catalogue = Catalogue();
    EXPECT_EQ(Delete("id <= 60", 60000), 10);
    ExpectWhole("79940", false);
}

TEST_F(IndexRebuild, AFailureLeavesTheTableUnchanged) {
    // Only the last row holds no date.
    warehouse.Run("UPDATE facts SET moment = 'never' WHERE id = 80000");
    {
        Transaction transaction(*connection);
        EXPECT_THROW(connection->Execute(
                         "delete from facts where dateadd(day, 1, moment) > '2000-01-01'", 60000),
                     DatabaseError);
        EXPECT_THROW(transaction.Commit(), DatabaseError) << "the transaction is over";
    }
    ExpectWhole("80000", false);
}

}  // namespace
}  // namespace morvane::testing
