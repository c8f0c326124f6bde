// SPDX-License-Identifier: Apache-2.0
#include "RunOnSite.h"
#include "base/Text.h"
#include "support/SqliteFile.h"

namespace morvane::testing {
namespace {

// The oracle has to find what is broken on purpose in the result of a run.
class OracleTest : public ::testing::Test, protected OnSite {
  protected:
    OracleTest() {
        RunUndisturbed(true, false);
        Result = ReadContents(Cleaned);
    }

    void ExpectDamage(const std::string& expected) const {
        const Oracle::Findings damage = Judge->FindDamage(ReadContents(Cleaned));
        EXPECT_NE(std::find(damage.begin(), damage.end(), expected), damage.end())
            << "not found: " << expected << "\nbut: " << Join(damage, "\n");
    }
    Oracle::Findings Differences(const Contents& disturbed) const {
        return Judge->FindDifferences(disturbed, ReadContents(Cleaned));
    }
    void InWarehouse(const std::string& sql) const { SqliteFile(Cleaned.Warehouse()).Run(sql); }
    void InArchive(const std::string& sql) const { SqliteFile(Cleaned.Archive()).Run(sql); }

    Contents Result;
};

TEST_F(OracleTest, FindsNothingBeforeARunAndAfterAnUndisturbedOne) {
    EXPECT_EQ(Judge->FindDamage(ReadContents(Original)), Oracle::Findings());
    EXPECT_EQ(Judge->FindDamage(Result), Oracle::Findings());
    EXPECT_EQ(Differences(ReadContents(Original)), Oracle::Findings());
    EXPECT_TRUE(Judge->NothingIsDeleted(ReadContents(Original)));
    EXPECT_FALSE(Judge->NothingIsDeleted(Result));
}

TEST_F(OracleTest, FindsAFactRowThatIsLostOrCameFromNowhere) {
    InWarehouse("DELETE FROM sales WHERE sale_id = 102");
    ExpectDamage("A row of sales is lost: 102|1|north|1|12|2|NULL");
    // One of two equal rows.
    InArchive(
        "DELETE FROM shipments WHERE rowid = (SELECT min(rowid) FROM shipments WHERE"
        " product_id = 3)");
    ExpectDamage("A row of shipments is lost: 3|31|2|2019-03-01 00:00:00");
    InWarehouse("INSERT INTO stock VALUES('west',9,9)");
    ExpectDamage("A row of stock came from nowhere: west|9|9");
    InArchive(
        "INSERT INTO sales SELECT 1,1,'north',1,12,2,'2021-06-30 12:30:00', max(date_of_archiving)"
        " FROM sales");
    ExpectDamage("A row of sales is archived otherwise: 1|1|north|1|12|2|2021-06-30 12:30:00");
}

TEST_F(OracleTest, FindsAnArchiveTableThatIsNotWhole) {
    InArchive("ALTER TABLE shipments ADD x int");
    const Oracle::Findings damage = Judge->FindDamage(ReadContents(Cleaned));
    ASSERT_FALSE(damage.empty());
    EXPECT_EQ(damage[0].find("The archive has the table shipments as"), 0U) << damage[0];
}

TEST_F(OracleTest, FindsADimensionThatIsHalfChanged) {
    for (const auto& [table, change] : std::vector<std::pair<std::string, std::string>>{
             {"brand", "DELETE FROM brand WHERE brand_id = 3"},
             {"carrier", "DELETE FROM carrier WHERE is_deletable = 1"},
             {"store", "UPDATE store SET name = 'x' WHERE store_no = 1 AND region = 'south'"},
             {"customer", "UPDATE customer SET is_current = 1 WHERE customer_key = 51"},
             {"contract", "UPDATE contract SET end_date = '2018' WHERE contract_key = 11"}}) {
        InWarehouse(change);
        ExpectDamage("The table " + table + " is half changed");
    }
}

TEST_F(OracleTest, AllowsARowTwiceInTheArchiveOnlyWhereTheNextRunFoundItInBothPlaces) {
    Contents between = ReadContents(Original);
    between.Archive = Result.Archive;
    const Oracle::Findings missing = Differences(between);
    EXPECT_EQ(missing.size(), 4U) << Join(missing, "\n");
    InArchive(
        "INSERT INTO sales SELECT sale_id, product_id, region, store_no, customer_key,"
        " employee_id, sold, '2024-03-05 14:08:09' FROM sales;"
        "INSERT INTO shipments SELECT product_id, contract_key, carrier_id, shipped,"
        " '2024-03-05 14:08:09' FROM shipments");
    EXPECT_EQ(Differences(between), Oracle::Findings());
    EXPECT_EQ(Judge->FindDamage(ReadContents(Cleaned)), Oracle::Findings());
    EXPECT_EQ(Differences(Result).size(), 4U) << "no run found them in both";
}

TEST_F(OracleTest, FindsWhatTheNextRunLeavesOtherwise) {
    InWarehouse("UPDATE carrier SET is_deletable = 0; UPDATE dwm_multiuse SET lock = 1");
    const Oracle::Findings findings = Differences(Result);
    EXPECT_EQ(findings.size(), 4U) << Join(findings, "\n");
}

}  // namespace
}  // namespace morvane::testing
