// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "core/Transaction.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {
namespace {

// One element with 3,000 versions, one per day, and rows of other elements.
class HistoryIndex : public ::testing::Test {
  protected:
    static constexpr std::size_t kHandedOn = 200;

    HistoryIndex() {
        warehouse.Run(
            "CREATE TABLE dim(day int, code varchar(9) COLLATE NOCASE, start_date datetime);"
            "WITH RECURSIVE r(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM r WHERE i < 2999)"
            "  INSERT INTO dim SELECT i, 'Key', datetime('2000-01-01', i || ' days') FROM r;"
            "INSERT INTO dim VALUES(-1, 'other', '2000-01-02 00:00:00'), (-2, 'key', NULL)");
    }

    // Each even version hands its start on to the next one. Returns the number of indexes.
    std::string HandOn(StatementBatch& batch) const {
        const std::vector<std::string> days = warehouse.Rows(
            "SELECT date(start_date) || 'T12:00:00' FROM dim WHERE day >= 0 ORDER BY day");
        for (std::size_t day = 0; day < 2 * kHandedOn; day += 2) {
            batch.Add(
                "UPDATE dim SET start_date = ? WHERE code = ? AND  (datediff(day, ?, start_date) = "
                "0) ",
                {{.Name = "start", .Type = DataType::DBTimeStamp, .Value = Value(days[day])},
                 {.Name = "code", .Type = DataType::VarChar, .Value = Value("KEY")},
                 {.Name = "end", .Type = DataType::DBTimeStamp, .Value = Value(days[day + 1])}});
        }
        const auto rows = connection->OpenRecordset(
            "SELECT count(*) FROM sqlite_schema WHERE type = 'index' AND tbl_name = 'dim'");
        return (*rows)[0].Text();
    }
    void ExpectHandedOn(std::size_t versions) const {
        EXPECT_EQ(warehouse.Text("SELECT count(*) FROM dim WHERE code = 'key' AND start_date = "
                                 "datetime('2000-01-01 12:00', (day - 1) || ' days')"),
                  std::to_string(versions));
        EXPECT_EQ(warehouse.Text("SELECT count(*) FROM dim WHERE start_date LIKE '%12:00:00'"),
                  std::to_string(versions));
        EXPECT_EQ(warehouse.Text("SELECT count(*) FROM sqlite_schema WHERE type = 'index'"), "0");
        EXPECT_EQ(warehouse.Text("PRAGMA integrity_check"), "ok");
        warehouse.Run("UPDATE dim SET start_date = datetime('2000-01-01', day || ' days')");
    }

    const TestWarehouse warehouse;
    std::unique_ptr<Connection> connection = warehouse.Connect();
};

TEST_F(HistoryIndex, ExistsUntilTheBatchOrTheTransactionEnds) {
    {
        Transaction transaction(*connection);
        EXPECT_EQ(HandOn(*connection->CreateBatch()), "1");
        transaction.Commit();
    }
    ExpectHandedOn(kHandedOn);
    {
        Transaction transaction(*connection);
        const auto batch = connection->CreateBatch();
        EXPECT_EQ(HandOn(*batch), "1");
        connection->RollbackTrans();
    }
    ExpectHandedOn(0);
}

TEST_F(HistoryIndex, RequiresATransactionAndValidDates) {
    EXPECT_EQ(HandOn(*connection->CreateBatch()), "0");
    ExpectHandedOn(kHandedOn);
    warehouse.Run("UPDATE dim SET start_date = 'never' WHERE code = 'other'");
    Transaction transaction(*connection);
    const auto batch = connection->CreateBatch();
    EXPECT_EQ(HandOn(*batch), "0");
    batch->Finish();
    transaction.Commit();
    ExpectHandedOn(kHandedOn);
}

}  // namespace
}  // namespace morvane::testing
