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
            "CREATE TABLE written(id int, at text);"
            "INSERT INTO written VALUES(1,'2018-12-31 00:00:00'),(2,'2018-12-31 23:59:59'),"
            "(3,'2019-01-01 00:00:00'),(4,'2019-01-01 00:00:01'),(5,'2019-01-02 00:00:00');"
            "INSERT INTO sale(id, code) SELECT id, strftime('%Y%m%d', at) FROM written;"
            "INSERT INTO sale(id) VALUES(6)");
        StoreDates(0);
        connection = warehouse.Connect();
    }

    // Variant 0 stores dates as the engine does. The others use the forms of other programs, a
    // different one in each row. Forms without a time are used in the rows 1, 3 and 5 only.
    void StoreDates(int variant) const {
        const char* const forms[3][5] = {
            {"at", "at", "at", "at", "at"},
            {"date(at)", "replace(at, ' ', 'T')", "strftime('%Y%m%d', at)", "at || '.000'",
             "at || '.000000'"},
            {"strftime('%Y%m%d', at)", "at || '.0000000'", "replace(at, ' ', 'T')", "at",
             "date(at)"}};
        std::string updates;
        for (int id = 1; id <= 5; ++id) {
            const std::string form = forms[variant][id - 1];
            const std::string day = variant == 0  ? "date(at)"
                                    : id % 2 == 0 ? "date(at) || ' 00:00'"
                                                  : form;
            updates +=
                "UPDATE sale SET (as_at, as_day) = (SELECT " + form + ", " + day +
                " FROM written WHERE written.id = sale.id) WHERE id = " + std::to_string(id) + ";";
        }
        warehouse.Run(updates);
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
