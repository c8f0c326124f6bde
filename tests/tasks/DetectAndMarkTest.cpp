// SPDX-License-Identifier: Apache-2.0
#include "tasks/modDetectAndMark.h"

#include <fmt/format.h>

#include <set>

#include "base/Text.h"
#include "core/Transaction.h"
#include "support/Golden.h"
#include "tasks/TaskTest.h"

namespace morvane::testing {
namespace {

class Marking : public TaskTest {
  protected:
    // Dimensions with the rows 1 and 2.
    void AddDimensions(const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            warehouse.AddDimension(name, "id int, parent int");
            warehouse.Run("INSERT INTO " + name + "(id) VALUES (1),(2)");
        }
    }
    void AddSales() {
        warehouse.AddFact("sales", "a int, b int");
        warehouse.Run("INSERT INTO sales VALUES (1,1)");
    }
    std::string Marked(const std::string& table) const {
        return warehouse.Text("SELECT id FROM " + table + " WHERE is_deletable = 1 ORDER BY id");
    }
};

TEST_F(Marking, FailsOnTooFewForeignColumnsOrABlankTableName) {
    AddDimensions({"shop"});
    AddSales();
    warehouse.AddRelation("sales", "a", "shop", "id,parent");
    EXPECT_EQ(MarkUnusedElements(state, progress), Outcome::Failed);
    EXPECT_EQ(state.ErrorText,
              "Subscript out of range: sales refers to shop with fewer foreign columns than "
              "primary columns\r\n");

    state.ErrorText.clear();
    warehouse.AddTable(" ", "FACT");
    warehouse.Run("UPDATE dwm_star_relations SET foreign_table = ' '");
    EXPECT_EQ(MarkUnusedElements(state, progress), Outcome::Failed);
    EXPECT_EQ(state.ErrorText, "Table Name is Empty for detection and marking\r\n");
}

TEST_F(Marking, StopsAfterTheCurrentTableWhenCancelledAndClosesTheConnection) {
    AddDimensions({"shop", "city"});
    AddSales();
    warehouse.AddRelation("sales", "a", "shop", "id");
    warehouse.AddRelation("shop", "parent", "city", "id");
    progress.CancelAtPoll = 2;
    EXPECT_EQ(MarkUnusedElements(state, progress), Outcome::Cancelled);
    EXPECT_EQ(state.ErrorText, "");
    EXPECT_EQ(Marked("shop") + ", " + Marked("city"), "2, ");
    EXPECT_FALSE(state.WarehouseConnection->IsOpen());
}

TEST_F(Marking, SendsTheExpectedStatements) {
    AddDimensions({"city", "day"});
    warehouse.Run("UPDATE dwm_tables SET is_selected = 0 WHERE table_name = 'day'");
    warehouse.AddDimension("shop", "id int, country int, city int");
    AddSales();
    warehouse.AddRelation("sales", "a,b", "shop", "country,id");
    warehouse.AddRelation("shop", "city", "city", "id");
    warehouse.AddRelation("sales", "a", "day", "id");
    ASSERT_EQ(MarkUnusedElements(state, progress), Outcome::Done) << state.ErrorText;
    EXPECT_TRUE(MatchesGolden(statements, "marking.statements"));
    EXPECT_EQ(Join(progress.Log, "; "),
              "hide OverallProgFrame; show DetectProgFrame; range 0..2; relation shop <- sales;"
              " relation city <- shop; value 2 to 0; hide DetectProgFrame; show OverallProgFrame");
}

// A snowflake of small tables, or sometimes an arbitrary graph. `filled` percent of the tables have
// rows.
class RandomSnowflake : public TaskSite {
  public:
    RandomSnowflake(unsigned seed, unsigned tables, unsigned relations, unsigned filled)
        : dice_(seed) {
        const unsigned facts = 1 + dice_.Below(tables / 3);
        const bool tangled = dice_.Chance(30);
        std::vector<std::string> names;
        for (unsigned i = 0; i < tables; ++i) {
            names.push_back((i < facts ? "fact" : "dim") + std::to_string(i));
            AddTable(names.back(), i < facts, dice_.Chance(filled));
        }
        for (unsigned i = 0; i < relations; ++i) {
            const unsigned primary =
                dice_.Chance(8) ? dice_.Below(tables) : facts + dice_.Below(tables - facts);
            AddRelation(names[dice_.Below(tangled ? tables : std::max(primary, 1U))],
                        names[primary]);
        }
        warehouse.Run("BEGIN;" + script_ + "COMMIT");
    }

    void ExpectMarksOfTheModel() {
        SCOPED_TRACE(script_);
        const auto marks = warehouse.Rows("BEGIN;" + Model() + queryForMarks_ + "ROLLBACK");
        Transaction oneWriteToTheDisk(*state.WarehouseConnection);
        ASSERT_EQ(MarkUnusedElements(state, progress), Outcome::Done) << state.ErrorText;
        oneWriteToTheDisk.Commit();
        ASSERT_EQ(warehouse.Rows(queryForMarks_), marks);
        ASSERT_EQ(progress.Log.back(), "show OverallProgFrame");
    }

  private:
    struct Table {
        bool Fact;
        bool Selected;
    };
    struct Relation {
        std::string Foreign;
        std::string Primary;
        std::string Condition;
    };
    static constexpr unsigned kColumns = 3;

    void AddTable(const std::string& name, bool fact, bool filled) {
        const bool selected = dice_.Chance(85);
        tables_[name] = {fact, selected};
        script_ += fmt::format("CREATE TABLE {}(id int, c0 int, c1 int, c2 int{});\n", name,
                               fact ? "" : ", is_sustainable bit, is_deletable bit");
        if (dice_.Chance(30)) {
            script_ +=
                fmt::format("CREATE INDEX ix_{0} ON {0}(c{1});\n", name, dice_.Below(kColumns));
        }
        script_ += fmt::format("INSERT INTO dwm_tables VALUES('{}','{}',NULL,{:d});\n", name,
                               fact ? "Fact" : "DIMENSION", selected);
        for (unsigned row = filled ? dice_.Below(7) : 0; row > 0; --row) {
            std::string values = std::to_string(row);
            for (unsigned i = 0; i < kColumns; ++i) {
                values += "," + (dice_.Chance(15) ? "NULL" : std::to_string(dice_.Below(4)));
            }
            for (int flags = fact ? 0 : 2; flags > 0; --flags) {
                values += "," + dice_.Flag(25);
            }
            script_ += fmt::format("INSERT INTO {} VALUES({});\n", name, values);
        }
        queryForMarks_ += fact ? "" : fmt::format("SELECT '{0}', id, is_deletable FROM {0};", name);
    }

    void AddRelation(const std::string& foreign, const std::string& primary) {
        std::vector<std::string> foreignColumns;
        std::vector<std::string> primaryColumns;
        std::vector<std::string> conditions;
        for (unsigned i = 0; i <= dice_.Below(2); ++i) {
            foreignColumns.push_back("c" + std::to_string(dice_.Below(kColumns)));
            primaryColumns.push_back("c" + std::to_string(dice_.Below(kColumns)));
            conditions.push_back(fmt::format("{}.{} = {}.{}", foreign, foreignColumns.back(),
                                             primary, primaryColumns.back()));
        }
        script_ +=
            fmt::format("INSERT INTO dwm_star_relations VALUES(1,'{}','{}','{}','{}',0,NULL);\n",
                        dice_.Chance(20) ? ToUpper(foreign) : foreign, Join(foreignColumns, ","),
                        primary, Join(primaryColumns, ", "));
        relations_.push_back({foreign, primary, Join(conditions, " AND ")});
    }

    // Such a table is never marked and delays no other.
    bool IsLeftAlone(const std::string& name) const {
        const Table& table = tables_.at(name);
        return (!table.Fact && !table.Selected) ||
               std::any_of(relations_.begin(), relations_.end(), [&](const Relation& relation) {
                   return relation.Foreign == name && relation.Primary == name;
               });
    }

    // The rules of marking in SQLite's own SQL. Processes the tables from the facts outwards, each
    // after all that refer to it.
    std::string Model() const {
        std::string sql;
        std::set<std::string> reached;
        for (const Relation& relation : relations_) {
            const Table& primary = tables_.at(relation.Primary);
            if (!primary.Fact && tables_.at(relation.Foreign).Fact) {
                reached.insert(relation.Foreign);
            }
            if (!primary.Fact && primary.Selected) {
                sql += "UPDATE " + relation.Primary + " SET is_deletable = 0;";
            }
        }
        for (std::size_t before = 0; before != reached.size();) {
            before = reached.size();
            for (const auto& [name, table] : tables_) {
                std::string mark =
                    "UPDATE " + name + " SET is_deletable = 1 WHERE is_sustainable = 0";
                bool isNext = false;
                bool isDelayed = reached.contains(name) || IsLeftAlone(name);
                for (const auto& [foreign, primary, condition] : relations_) {
                    if (primary == name) {
                        const bool done = reached.contains(foreign);
                        isNext = isNext || done;
                        isDelayed = isDelayed || (!done && !IsLeftAlone(foreign));
                        mark += fmt::format(
                            " AND NOT EXISTS(SELECT 1 FROM {0} WHERE {1}{2})", foreign, condition,
                            tables_.at(foreign).Fact ? "" : " AND " + foreign + ".is_deletable=0");
                    }
                }
                if (isNext && !isDelayed) {
                    reached.insert(name);
                    sql += table.Fact ? "" : mark + ";";
                }
            }
        }
        return sql;
    }

    Dice dice_;
    std::map<std::string, Table> tables_;
    std::vector<Relation> relations_;
    std::string script_;  // creates the warehouse
    std::string queryForMarks_;
};

TEST(RandomMarking, AgreesWithTheModel) {
    for (unsigned seed = 0; seed < 200 && !::testing::Test::HasFailure(); ++seed) {
        RandomSnowflake(seed, 3 + seed % 7, seed % 13, 100).ExpectMarksOfTheModel();
    }
}

// More relations than the engine keeps in the meta tables: it makes indexed copies.
TEST(RandomMarking, AgreesWithTheModelOnManyTables) {
    RandomSnowflake(1, 160, 260, 15).ExpectMarksOfTheModel();
}

}  // namespace
}  // namespace morvane::testing
