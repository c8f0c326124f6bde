// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <fstream>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "support/ErrorOf.h"
#include "support/TestWarehouse.h"

namespace morvane {
namespace {

using testing::TestWarehouse;

// A table whose rows lie around the midnight that ends the year 2018:
//   1 the day before it, 2 a second before it, 3 that midnight, 4 a second later, 5 a day later,
//   6 without a date
// "at" is the date and time, "day" its day alone, "code" the day as a plain text "yyyymmdd". The
// dates are computed columns, one without a type of its own. Of the columns that they repeat one is
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

    // As the engine stores dates (0), or in the forms of other programs, each row in another one;
    // those that only a midnight has are for the rows 1, 3 and 5.
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

    // The rows that meet the condition, by a query and by what the archiving sends.
    std::string Ids(const std::string& condition) {
        const auto rows =
            connection->OpenRecordset("select id from sale where " + condition + " order by id");
        std::string ids;
        for (; !rows->Eof(); rows->MoveNext()) {
            ids += (ids.empty() ? "" : " ") + (*rows)[0].Text();
        }
        return ids;
    }

    // What a condition finds, whatever the form of the dates, and what is left when a delete has
    // taken it.
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

TEST_F(DateComparison, FindsTheRowsOfEveryCase) {
    std::ifstream cases(MORVANE_SCRIPTS_FOLDER "/dates.cases");
    int count = 0;
    for (std::string line; std::getline(cases, line);) {
        if (const std::size_t arrow = line.find(" =>"); arrow != std::string::npos) {
            ExpectFinds(line.substr(0, arrow), std::string(Trim(line.substr(arrow + 3))));
            ++count;
        }
    }
    EXPECT_GT(count, 40);
    // The dates of a subquery are compared as they are stored.
    EXPECT_EQ(Ids("at in (select started from other)"), "3");
    EXPECT_EQ(Ids("at = (select max(at) from sale where at < '20190102')"), "4");
}

TEST_F(DateComparison, ATextWithoutATimeMeansMidnight) {
    for (const std::string day : {"'20190101'", "'2019-01-01'", "'1/1/2019'", "N'20190101'",
                                  "'2019-01-01 00:00'", "{ts '2019-01-01 00:00:00'}"}) {
        ExpectFinds("at < " + day, "1 2");
        ExpectFinds(day + " >= at", "1 2 3");
        ExpectFinds("not (day > " + day + ")", "1 2 3 4");
    }
    ExpectFinds("day > '2018-12-31 12:00'", "3 4 5");
}

// Each moment of the table with each operator: the rows' order is their order in time.
TEST_F(DateComparison, TheOrderOfDatesIsTheirOrderInTime) {
    const std::vector<std::string> moments = {"20181231", "2018-12-31T23:59:59", "20190101",
                                              "2019-01-01T00:00:01", "20190102"};
    const auto rows = [](const auto& holds) {
        std::string ids;
        for (int row = 0; row < 5; ++row) {
            ids += holds(row) ? (ids.empty() ? "" : " ") + std::to_string(row + 1) : "";
        }
        return ids;
    };
    for (int i = 0; i < 5; ++i) {
        const std::string text = "'" + moments[static_cast<std::size_t>(i)] + "'";
        ExpectFinds("at < " + text, rows([&](int row) { return row < i; }));
        ExpectFinds(text + " >= at", rows([&](int row) { return row <= i; }));
        ExpectFinds("at = " + text, rows([&](int row) { return row == i; }));
        ExpectFinds("at <> " + text, rows([&](int row) { return row != i; }));
        ExpectFinds(text + " < at", rows([&](int row) { return row > i; }));
        ExpectFinds("not (at < " + text + ")", rows([&](int row) { return row >= i; }));
        ExpectFinds("at between " + text + " and '20190101'",
                    rows([&](int row) { return row >= i && row <= 2; }));
        ExpectFinds("at not between '20181231' and " + text,
                    rows([&](int row) { return row > i; }));
        ExpectFinds("at in ('20190102', " + text + ")",
                    rows([&](int row) { return row == i || row == 4; }));
        ExpectFinds("day >= convert(date, " + text + ")",
                    rows([&](int row) { return row / 2 >= i / 2; }));
    }
}

TEST_F(DateComparison, RelativeConditionsMoveWithTheClock) {
    connection->Execute("update sale set as_at = dateadd(year, -2, getdate()) where id = 1");
    connection->Execute(
        "update sale set as_at = dateadd(minute, 1, dateadd(year, -2, getdate()))"
        " where id = 2");
    connection->Execute("update sale set as_at = getdate() where id in (3, 4, 5)");
    EXPECT_EQ(Ids("at < dateadd(year, -2, getdate())"), "1");
    EXPECT_EQ(Ids("at < dateadd(yy, -2, current_timestamp) or at is null"), "1 6");
}

TEST_F(DateComparison, ANumberAddedToADateCountsDays) {
    connection->Execute("update sale set as_at = getdate() where id < 4");
    EXPECT_EQ(Ids("getdate() - 1 < at"), "1 2 3");
    EXPECT_EQ(Ids("at < getdate() - 730"), "4 5");
    for (const char* condition : {"at < getdate() - 2 * 365", "at < getdate() - 0.5",
                                  "1 + at > getdate()", "at - getdate() < 5", "at + id > day"}) {
        EXPECT_THROW(Ids(condition), DatabaseError) << condition;
    }
    EXPECT_EQ(Ids("id + 1 = 3 and id - -1 = 3 and code + '' = '20181231'"), "2");
}

TEST_F(DateComparison, AnInvalidDateIsAnError) {
    for (const char* condition : {"at < 'yesterday'", "at < '20190230'", "day in ('20190101', 'x')",
                                  "at between '20190101' and '2019-13-01'", "'x' = sale.at"}) {
        SCOPED_TRACE(condition);
        EXPECT_THROW(Ids(condition), DatabaseError);
        EXPECT_THROW(connection->Execute(std::string("delete from sale where ") + condition),
                     DatabaseError);
    }
    EXPECT_EQ(warehouse.Text("SELECT count(*) FROM sale"), "6");
    warehouse.Run("UPDATE sale SET as_at = 'soon' WHERE id = 6");
    EXPECT_NE(testing::ErrorOf([&] {
                  Ids("at > '20190101'");
              }).find("The column at of sale holds 'soon', which is no date."),
              std::string::npos);
}

}  // namespace
}  // namespace morvane
