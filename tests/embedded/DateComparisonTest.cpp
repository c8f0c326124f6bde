// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <fstream>

#include "base/Text.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {
namespace {

// A table with dates around the midnight that ends the year 2018:
//   1 the day before it, 2 a second before it, 3 that midnight, 4 a second later, 5 a day later,
//   6 without a date
// "at" is the date with its time, "day" the day alone, "code" the day as a text "yyyymmdd". The
// dates are computed columns, one of them without a declared type. One column that they repeat is
// indexed.
class DateComparison : public ::testing::Test {
  protected:
    DateComparison() {
        warehouse.Run(
            "CREATE TABLE sale(id int, as_at datetime, as_day date,"
            " at datetime GENERATED ALWAYS AS (as_at), day AS (as_day) STORED, code varchar(10));"
            "CREATE TABLE sink(id int, at varchar(10)); CREATE TABLE other(id int, at varchar(10), "
            "started datetime, sale date); CREATE INDEX ix ON sale(at);"
            "INSERT INTO other VALUES(1,'x','2019-01-01 00:00:00','2019-01-01');"
            "INSERT INTO sale(id, code) VALUES(1,'20181231'),(2,'20181231'),(3,'20190101'),"
            "(4,'20190101'),(5,'20190102'),(6,NULL);"
            "CREATE TABLE written(variant, id, at, day); INSERT INTO written VALUES"
            "(0,1,'2018-12-31 00:00:00','2018-12-31'),(0,2,'2018-12-31 23:59:59','2018-12-31'),"
            "(0,3,'2019-01-01 00:00:00','2019-01-01'),(0,4,'2019-01-01 00:00:01','2019-01-01'),"
            "(0,5,'2019-01-02 00:00:00','2019-01-02'),"
            "(1,1,'2018-12-31','2018-12-31'),(1,2,'2018-12-31T23:59:59','2018-12-31 00:00'),"
            "(1,3,'20190101','20190101'),(1,4,'2019-01-01 00:00:01.000','2019-01-01 00:00'),"
            "(1,5,'2019-01-02 00:00:00.000000','2019-01-02 00:00:00.000000'),"
            "(2,1,'20181231','20181231'),(2,2,'2018-12-31 23:59:59.0000000','2018-12-31 00:00'),"
            "(2,3,'2019-01-01T00:00:00','2019-01-01T00:00:00'),"
            "(2,4,'2019-01-01 00:00:01','2019-01-01 00:00'),(2,5,'2019-01-02','2019-01-02')");
        connection = warehouse.Connect();
    }

    // Variant 0 has dates as the engine stores them, the others have the forms of other programs.
    void StoreDates(int variant) const {
        warehouse.Run(
            "UPDATE sale SET (as_at, as_day) = (SELECT at, day FROM written WHERE written.id = "
            "sale.id AND variant = " +
            std::to_string(variant) + ")");
    }

    std::string Ids(const std::string& condition) {
        const auto rows =
            connection->OpenRecordset("select id from sale where " + condition + " order by id");
        std::string ids;
        for (; !rows->Eof(); rows->MoveNext()) {
            ids += (ids.empty() ? "" : " ") + (*rows)[0].Text();
        }
        return ids;
    }

    // Queries, copies and deletes the rows that meet the condition, in each variant.
    void ExpectFinds(const std::string& condition, const std::string& ids) {
        const auto count = static_cast<std::int64_t>((ids.size() + 1) / 2);
        for (const int variant : {1, 2, 0}) {
            SCOPED_TRACE(condition + ", variant " + std::to_string(variant));
            StoreDates(variant);
            EXPECT_EQ(Ids(condition), ids);
            connection->BeginTrans();
            const auto command = connection->CreateCommand();
            command->SetText("insert into sink(id) select id from sale where " + condition);
            EXPECT_EQ(command->Execute(), count) << "insert";
            EXPECT_EQ(connection->Execute("delete from sale where " + condition), count)
                << "delete";
            connection->RollbackTrans();
        }
    }

    TestWarehouse warehouse;
    std::unique_ptr<Connection> connection;
};

TEST_F(DateComparison, FindsTheExpectedRowsInEveryFormOfADate) {
    std::ifstream cases(MORVANE_SCRIPTS_FOLDER "/dates.cases");
    int count = 0;
    for (std::string line; std::getline(cases, line);) {
        if (const std::size_t arrow = line.find(" =>"); arrow != std::string::npos) {
            ExpectFinds(line.substr(0, arrow), std::string(Trim(line.substr(arrow + 3))));
            ++count;
        }
    }
    EXPECT_GT(count, 60);
    // The dates of a subquery are compared as they are stored.
    EXPECT_EQ(Ids("at in (select started from other)"), "3");
    EXPECT_EQ(Ids("at = (select max(at) from sale where at < '20190102')"), "4");
}

}  // namespace
}  // namespace morvane::testing
