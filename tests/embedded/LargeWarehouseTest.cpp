// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "base/Text.h"
#include "core/Transaction.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {
namespace {

// Meta tables that are large enough for the engine's own look-up tables, and lists that are long
// enough for its list cache. The expected results are those of SQLite itself.
class LargeWarehouse : public ::testing::Test {
  protected:
    LargeWarehouse() {
        warehouse.Run(
            "CREATE TABLE calls(n); WITH n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE"
            " i < 600) INSERT INTO dwm_star_relations SELECT i % 2, 'Shop' || (i / 2), 'a,b',"
            " 'Day' || i, 'x,y', NULL, NULL FROM n;"
            "INSERT INTO dwm_tables SELECT DISTINCT foreign_table, 'Fact', NULL, NULL FROM"
            " dwm_star_relations");
        connection = warehouse.Connect();
    }

    std::string First(const std::string& sql) {
        return connection->OpenRecordset(sql)->Fields()[0].Value.Text();
    }
    void AskOften() {
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(First("SELECT foreign_table FROM dwm_star_relations WHERE primary_table ="
                            " 'day" +
                            std::to_string(i) + "'"),
                      "Shop" + std::to_string(i / 2));
        }
    }

    TestWarehouse warehouse;
    std::unique_ptr<Connection> connection;
};

TEST_F(LargeWarehouse, AnswersFrequentQueriesCorrectly) {
    for (int i = 0; i < 50; ++i) {
        const auto rows = connection->OpenRecordset(
            "SELECT dwm_tables.*, foreign_columns f FROM dwm_tables, [dwm_star_relations] r WHERE"
            " Table_Name = 'shop3' AND foreign_table = dbo.dwm_tables.table_name");
        std::string row;
        for (const Field& field : rows->Fields()) {
            row += field.Name + std::to_string(field.DefinedSize) + " " + field.Value.Text() + " ";
        }
        ASSERT_EQ(
            row,
            "table_name128 Shop3 table_type20 Fact where_clause8000  is_selected2  f1000 a,b ");
    }
}

TEST_F(LargeWarehouse, SeesEveryEarlierChange) {
    const std::string change = "UPDATE dwm_star_relations SET foreign_columns = 'c' || rowid";
    const auto again = connection->CreateCommand();
    again->SetText("UPDATE DWM_STAR_RELATIONS SET foreign_columns = foreign_columns + 'x'");
    const std::vector<std::pair<const char*, std::function<void()>>> changes{
        {"by another process", [&] { warehouse.Run(change); }},
        {"here", [&] { connection->Execute(change); }},
        {"by a command", [&] { again->Execute(); }},
        {"by the same command", [&] { again->Execute(); }},
        {"by another process, and read in a transaction",
         [&] {
             warehouse.Run(change);
             Transaction transaction(*connection);
             AskOften();
             connection->Execute("DELETE FROM dwm_star_relations");
         }},
        {"by a trigger",
         [&] {
             warehouse.Run("CREATE TRIGGER called AFTER INSERT ON calls BEGIN " + change +
                           "||'t'; END");
             AskOften();
             connection->Execute("INSERT INTO calls VALUES(1)");
         }},
        {"by the same trigger", [&] { connection->Execute("INSERT INTO calls VALUES(1)"); }},
    };
    const std::string ask =
        "SELECT foreign_columns FROM dwm_star_relations WHERE primary_table = 'day7'";
    for (const auto& [how, make] : changes) {
        AskOften();
        make();
        EXPECT_EQ(First(ask), warehouse.Text(ask)) << how;
    }
}

// A list of the texts 'Day<first>' to 'Day<last>', or of another word with these numbers, and
// `more`.
std::string List(int first, int last, const std::string& more = "", const char* word = "Day") {
    std::string list;
    for (int i = first; i <= last; ++i) {
        list += (list.empty() ? "'" : ",'") + std::string(word) + std::to_string(i) + "'";
    }
    return "(" + list + more + ")";
}

// The engine keeps the list of the previous query and adds what is new.
TEST_F(LargeWarehouse, ComparesWithAllTextsOfAList) {
    warehouse.Run(
        "CREATE TABLE born(d datetime, n int); INSERT INTO born VALUES('2019-10-11 00:00:00', 5)");
    const std::string days = "SELECT count(*) FROM dwm_star_relations WHERE dwm_star_relations.";
    warehouse.Run(
        "UPDATE dwm_star_relations SET primary_table = 'o''day' WHERE primary_table = 'Day500'");
    const std::string more = ",'O''Day','day302'";
    for (const std::string& query :
         {days + "primary_table NOT IN " + List(0, 300),
          days + "primary_table NOT IN " + List(0, 301),
          days + "primary_table NOT IN " + List(0, 301, more),
          days + "primary_table IN " + List(0, 301, more + ",'Day303','x'") + " AND selected = 1",
          days + "primary_table IN " + List(0, 301, more + ",'Day303','x''y','Day304'"),
          days + "primary_table IN " + List(0, 200), days + "primary_table IN " + List(100, 400),
          days + "primary_table NOT IN " + List(100, 400, ",NULL"),
          days + "primary_columns NOT IN " + List(0, 400, ",'X,Y'"),
          "SELECT count(*) FROM born WHERE born.n IN " + List(0, 300, "", ""),
          "SELECT count(*) FROM dwm_tables WHERE 'a IN (''b' <> dwm_tables.table_name AND 'x' IN " +
              List(0, 300, ",'x'")}) {
        EXPECT_EQ(First(query), warehouse.Text(query)) << query;
    }
    EXPECT_EQ(First("SELECT count(*) FROM born WHERE born.d IN " +
                    List(10, 59, ",'20191011'", "2019-10-11T00:00:")),
              "1")
        << "texts compared with a date are read as dates";
    const std::string query = days + "primary_table IN ";
    EXPECT_EQ(First(query + List(0, 300)), "301");
    {
        Transaction transaction(*connection);
        EXPECT_EQ(First(query + List(0, 301)), "302");
    }
    EXPECT_EQ(First(query + List(0, 302)), "303") << "after a rollback";
}

}  // namespace
}  // namespace morvane::testing
