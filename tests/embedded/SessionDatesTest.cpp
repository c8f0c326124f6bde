// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "core/DatabaseError.h"
#include "support/ErrorOf.h"
#include "support/TestWarehouse.h"

namespace morvane {
namespace {

using testing::ErrorOf;
using testing::TestWarehouse;

constexpr const char* kOutOfRange =
    "The conversion of a varchar data type to a datetime data type resulted in an out-of-range "
    "value.";
constexpr const char* kNoDate =
    "Conversion failed when converting date and/or time from character string.";

// Row 1 is of 1 February 2020, row 2 of 2 January.
class SessionDates : public ::testing::Test {
  protected:
    SessionDates() {
        warehouse.Run(
            "CREATE TABLE t(id int, twice int AS (2 * id), at datetime, small smalldatetime, at2 "
            "datetime2(3), day date,"
            " code nvarchar(30));"
            "INSERT INTO t VALUES(1,'2020-02-01 00:00:00','2020-02-01 00:00:00',"
            "'2020-02-01 00:00:00','2020-02-01','2020-02-01'),(2,'2020-01-02 00:00:00',"
            "'2020-01-02 00:00:00','2020-01-02 00:00:00','2020-01-02','2020-02-01')");
        connection = warehouse.Connect();
    }

    std::unique_ptr<Command> CommandWith(const std::string& sql, const std::string& value) {
        auto command = connection->CreateCommand();
        command->SetText(sql);
        command->AppendParameter({"p", DataType::DBTimeStamp, 0, 0, 0, Value(value)});
        return command;
    }

    // The rows that meet a condition.
    static std::string Ids(Recordset& rows) {
        std::string ids;
        for (; !rows.Eof(); rows.MoveNext()) {
            ids += rows[0].Text();
        }
        return ids;
    }
    std::string Ids(const std::string& condition) {
        return Ids(*connection->OpenRecordset("select id from t where " + condition));
    }

    // What `result` finds for a condition whose text, in quotes, stands in it, or is bound.
    void ExpectFinds(const std::string& condition, const std::string& ids) {
        SCOPED_TRACE(condition);
        EXPECT_EQ(Ids(condition), ids);
        const std::size_t open = condition.find('\'');
        const std::size_t close = condition.find('\'', open + 1);
        const std::string bound = condition.substr(0, open) + "?" + condition.substr(close + 1);
        const std::string value = condition.substr(open + 1, close - open - 1);
        EXPECT_EQ(Ids(*CommandWith("select id from t where " + bound, value)->OpenRecordset()), ids)
            << "bound";
    }

    std::string Error(const std::string& sql) {
        return ErrorOf([&] { connection->Execute(sql); });
    }

    TestWarehouse warehouse;
    std::unique_ptr<Connection> connection;
};

TEST_F(SessionDates, FollowTheLastDateOrderOrLanguage) {
    const std::string find = "at = '2020-02-01'";
    EXPECT_EQ(Ids(find), "1");
    for (const auto& [statement, id] :
         {std::pair("SET DATEFORMAT dmy", "2"), std::pair("set dateformat MDY;", "1"),
          std::pair("SET DATEFORMAT ydm", "2"), std::pair("SET DATEFORMAT ymd", "1"),
          std::pair("SET DATEFORMAT dym", "2"), std::pair("SET DATEFORMAT myd", "1"),
          std::pair("SET LANGUAGE german", "2"), std::pair("SET LANGUAGE us_english", "1"),
          std::pair("Set Language 'British English'", "2"), std::pair("SET NOCOUNT ON", "2"),
          std::pair("SET LANGUAGE [English]", "1"), std::pair("SET LANGUAGE N'Français'", "2")}) {
        EXPECT_EQ(Error(statement), "no error") << statement;
        EXPECT_EQ(Ids(find), id) << statement;
    }
    for (const char* unknown : {"SET DATEFORMAT md", "SET LANGUAGE Klingon", "SET ROWCOUNT 5"}) {
        const std::string error = Error(unknown);
        const std::string value = std::string(unknown).substr(std::string(unknown).rfind(' ') + 1);
        EXPECT_NE(error.find(value), std::string::npos) << error;
    }
    EXPECT_EQ(Ids(find), "2") << "an unknown setting changes nothing";
    connection->Close();
    connection->Open();
    connection->SetDefaultDatabase("dw");
    EXPECT_EQ(Ids(find), "1") << "another session";
}

TEST_F(SessionDates, ReadTheDashedFormByColumnTypeIfTheDayComesFirst) {
    connection->Execute("SET DATEFORMAT dmy");
    for (const char* found1 :
         {"at = '2020-02-01T00:00:00'", "at = '2020-02-01T00:00:00.000'", "at = '20200201'",
          "at = '20200201 00:00:00'", "at = '1/2/2020'", "small = '2020-02-01T00:00:00'",
          "at2 = '2020-02-01'", "day = '2020-02-01'", "day = '1/2/2020'", "'2020-02-01' = at2",
          "at2 between '2020-02-01' and '20200301'", "datediff(day, '2020-02-01T10:00:00', at) = 0",
          "at = convert(datetime, '2020-02-01', 120)", "day = cast('2020-02-01' as date)",
          "at = dateadd(day, -1, '20200202')"}) {
        ExpectFinds(found1, "1");
    }
    for (const char* found2 :
         {"at = '2020-02-01'", "at = '2020-02-01 00:00:00'", "small = '2020-02-01 00:00'",
          "at in ('2020-02-01', '20201231')", "at between '2020-02-01' and '20200103'",
          "isnull(at, '2020-02-01') < '20200201'", "datediff(day, at, '2020-02-01 23:59:59') = 0",
          "at = dateadd(day, -1, '2020-03-01')", "at = convert(datetime, '2020-02-01')",
          "at = cast('2020-02-01' as smalldatetime)", "day(at) = day('2020-02-01')"}) {
        ExpectFinds(found2, "2");
    }
    EXPECT_EQ(Ids("at = {ts '2020-02-01 00:00:00'}"), "1");
    EXPECT_EQ(Ids("at = code"), "2");
    EXPECT_EQ(Ids("at2 = code"), "1");
    EXPECT_EQ(Ids("datediff(day, code, at) = 0"), "2") << "a column of texts";
    EXPECT_EQ(Ids("datediff(month, at, at2) = 0 and day = cast(at as date)"), "12")
        << "columns of dates are what they are";
}

TEST_F(SessionDates, FailWithTheServersMessageForAnInvalidDate) {
    connection->Execute("SET DATEFORMAT dmy");
    for (const char* day13 :
         {"at = '2020-01-13'", "at < '2020-01-13 00:00:00'", "datediff(day, '2020-01-13', at) = 0",
          "id in (1, 2) and small > "
          "'2020-12-31'"}) {
        EXPECT_NE(ErrorOf([&] { ExpectFinds(day13, ""); }).find(kOutOfRange), std::string::npos)
            << day13;
    }
    ExpectFinds("day <> '2020-01-13'", "12");
    ExpectFinds("at <> '2020-01-13T00:00:00'", "12");
    const auto bound = CommandWith("update t set at = ? where id = 1", "2020-01-13 00:00:00");
    const std::string error = ErrorOf([&] { bound->Execute(); });
    EXPECT_NE(error.find(kOutOfRange), std::string::npos);
    EXPECT_NE(error.find("Statement: update t set at = ? where id = 1"), std::string::npos);
    for (const char* sql : {"delete from t where at = '2020-01-13'",
                            "insert into t(id, at) values (3, '2020-01-13')"}) {
        EXPECT_NE(Error(sql).find(kOutOfRange), std::string::npos) << sql;
    }
    EXPECT_NE(Error("delete from t where day = 'soon'").find(kNoDate), std::string::npos);
}

TEST_F(SessionDates, AreWrittenInTheFormOfTheirColumn) {
    struct Case {
        const char* Column;
        const char* Text;
        const char* Stored;
        const char* StoredDayFirst;
    };
    for (const Case& written : {
             Case{"at", "2020-02-01 00:00:00", "2020-02-01 00:00:00", "2020-01-02 00:00:00"},
             Case{"at", "2020-02-01T00:00:00", "2020-02-01 00:00:00", "2020-02-01 00:00:00"},
             Case{"at", "2020-02-01", "2020-02-01 00:00:00", "2020-01-02 00:00:00"},
             Case{"at", "2020-02-01T07:08:09.123", "2020-02-01 07:08:09.123",
                  "2020-02-01 07:08:09.123"},
             Case{"small", "20200201", "2020-02-01 00:00:00", "2020-02-01 00:00:00"},
             Case{"at2", "2020-02-01T00:00:00", "2020-02-01 00:00:00", "2020-02-01 00:00:00"},
             Case{"day", "2020-02-01T00:00:00", "2020-02-01", "2020-02-01"},
             Case{"day", "2020-02-01", "2020-02-01", "2020-02-01"},
             Case{"code", "2020-02-01T00:00:00", "2020-02-01T00:00:00", "2020-02-01T00:00:00"},
         }) {
        const std::string column = written.Column;
        const std::string literal = "'" + std::string(written.Text) + "'";
        for (const bool dayFirst : {false, true}) {
            connection->Execute(dayFirst ? "SET DATEFORMAT dmy" : "SET DATEFORMAT mdy");
            connection->Execute("delete from t");
            connection->Execute("insert into dbo.t(id, " + column + ") values (1, " + literal +
                                "), (2, N" + literal + ")");
            CommandWith("insert into t(" + column + ", id) values (?, 3)", written.Text)->Execute();
            connection->Execute("insert into t(id) values (4)");
            std::string values = "5";
            for (const char* name : {"at", "small", "at2", "day", "code"}) {
                values += ", " + (name == column ? literal : "null");
            }
            connection->Execute("insert into t values (" + values + ")");
            connection->Execute("update t set id = 4, " + column + " = " + literal +
                                " where id = 4");
            CommandWith("update t set " + column + " = ? where id = 3", written.Text)->Execute();
            EXPECT_EQ(warehouse.Text("SELECT DISTINCT " + column + " FROM t"),
                      dayFirst ? written.StoredDayFirst : written.Stored)
                << literal << " in " << column << (dayFirst ? ", day first" : "");
        }
    }
    EXPECT_EQ(connection->Execute("update t set at = day, day = getdate() where id = 1"), 1);
    EXPECT_EQ(warehouse.Text("SELECT length(day) FROM t WHERE id = 1"), "10");
}

TEST_F(SessionDates, AllowParametersThatAreComparedRepeatedly) {
    const auto command = CommandWith(
        "select id from t where ? > at and id < ? and (day = ? or at2 between ? and ?) and id <> ?",
        "20200301");
    for (const char* value : {"3", "2020-02-01", "20200102", "2020-01-03T00:00:00", "1"}) {
        command->AppendParameter({"p", DataType::VarChar, 0, 0, 0, Value(std::string(value))});
    }
    EXPECT_EQ(Ids(*command->OpenRecordset()), "2");
}

// One prepared statement serves all literals and sessions.
TEST_F(SessionDates, FindRowsToDeleteByLiterals) {
    warehouse.Run("UPDATE t SET code = 'it''s'");
    const auto taken = [&](const std::string& condition) {
        connection->BeginTrans();
        const std::int64_t rows = connection->Execute("DELETE FROM t WHERE " + condition);
        const std::string left = Ids("id > 0");
        connection->RollbackTrans();
        return std::to_string(rows) + " leaves " + left;
    };
    for (const char* order : {"mdy", "dmy", "mdy"}) {
        connection->Execute(std::string("SET DATEFORMAT ") + order);
        const bool dayFirst = order[0] == 'd';
        EXPECT_EQ(taken("code = N'it''s' AND at = '2020-02-01T00:00:00'"), "1 leaves 2");
        EXPECT_EQ(taken("at = n'20200201' AND code = 'it''s'"), "1 leaves 2");
        EXPECT_EQ(taken("at = '2020-02-01'"), dayFirst ? "1 leaves 1" : "1 leaves 2");
        EXPECT_EQ(taken("day = '2020-02-01T00:00:00'"), "1 leaves 2");
        EXPECT_EQ(taken("at2 = '2020-02-01 00:00:00.000'"), "1 leaves 2");
        EXPECT_EQ(taken("code = N'2020-02-01T00:00:00'"), "0 leaves 12");
    }
}

}  // namespace
}  // namespace morvane
