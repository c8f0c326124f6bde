#include "core/Text.h"
#include "support/Golden.h"
#include "tasks/TaskTest.h"
#include "tasks/modDetectAndMark.h"

namespace morvane::testing {

class DetectAndMarkTest : public TaskTest {
  protected:
    // A dimension with the ids 1 to `rows` and a column that can refer to another table.
    void AddDimension(const std::string& name, int rows, bool selected = true) {
        warehouse.AddDimension(name, "id int, parent int", selected);
        warehouse.Run("WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                      std::to_string(rows) + ") INSERT INTO " + name + "(id) SELECT i FROM n");
    }

    void AddFact(const std::string& name, const std::string& values) {
        warehouse.AddFact(name, "a int, b int");
        warehouse.Run("INSERT INTO " + name + " VALUES " + values);
    }

    // The tables in the order in which they were marked.
    std::string MarkingOrder() const {
        std::string order;
        for (const std::string& statement : statements) {
            const std::size_t end = statement.find(" SET is_deletable = 1 ");
            if (end != std::string::npos) {
                const std::size_t start = statement.find("UPDATE ") + 7;
                order += (order.empty() ? "" : " ") + statement.substr(start, end - start);
            }
        }
        return order;
    }

    void Mark() { ASSERT_TRUE(MarkUnusedElements(state, progress)) << state.ErrorText; }
};

TEST_F(DetectAndMarkTest, MarksWhatNoFactRefersToAndKeepsSustainedRows) {
    AddDimension("shop", 4);
    warehouse.Run(
        "UPDATE shop SET is_sustainable = 1 WHERE id = 3;"
        "UPDATE shop SET is_deletable = 1 WHERE id = 1");
    AddFact("sales", "(1,0),(1,0),(2,0),(NULL,0)");
    warehouse.Relate({"sales a shop id"});
    Mark();
    EXPECT_EQ(Marked("shop"), "4");
    EXPECT_EQ(progress.Log,
              (std::vector<std::string>{"hide OverallProgFrame", "show DetectProgFrame",
                                        "range 0..1", "relation shop <- sales", "value 1 to 0",
                                        "hide DetectProgFrame", "show OverallProgFrame"}));
}

// Dimensions, each with its number of elements and what is not selected; rows; relations; what is
// marked then: the tables in their order, and the elements of each.
struct Walk {
    const char* Name;
    std::vector<std::string> Dimensions;
    const char* Rows;
    std::vector<std::string> Relations;
    const char* OrderAndMarks;
};

void PrintTo(const Walk& walk, std::ostream* out) {
    *out << walk.Name;
}

class WalkTest : public DetectAndMarkTest, public ::testing::WithParamInterface<Walk> {};

TEST_P(WalkTest, MarksInOrder) {
    AddFact("sales", "(1,1)");
    AddFact("returns", "(2,1)");
    for (const std::string& dimension : GetParam().Dimensions) {
        const std::vector<std::string> part = Split(dimension, ' ');
        AddDimension(part[0], std::stoi(part[1]), part.size() == 2);
    }
    warehouse.Run(GetParam().Rows);
    warehouse.Relate(GetParam().Relations);
    Mark();
    EXPECT_GE(progress.Maximum, 1) << "the bar has a range";
    std::string marks = MarkingOrder() + "; ";
    for (const std::string& dimension : GetParam().Dimensions) {
        const std::string table = Split(dimension, ' ')[0];
        marks += table + ": " + Marked(table) + "; ";
    }
    EXPECT_EQ(marks, GetParam().OrderAndMarks);
}

INSTANTIATE_TEST_SUITE_P(
    Relations, WalkTest,
    ::testing::Values(
        Walk{"ASnowflakeFromTheFactOutwards",
             {"country 3", "city 3", "shop 3"},
             "UPDATE shop SET parent = id; UPDATE city SET parent = id",
             {"city parent country id", "shop parent city id", "sales a shop id"},
             "shop city country; country: 2 3; city: 2 3; shop: 2 3; "},
        Walk{"ATableOnceAfterTheLastOfItsReferrers",
             {"day 4", "shop 2"},
             "UPDATE shop SET parent = 2 + id",
             {"sales a day id", "returns a day id", "shop parent day id", "sales b shop id"},
             "shop day; day: 4; shop: 2; "},
        Walk{"ACycleIsResetAndNeverMarked",
             {"one 2", "two 2"},
             "UPDATE one SET is_deletable = 1; UPDATE two SET is_deletable = 1",
             {"sales a one id", "one parent two id", "two parent one id"},
             "; one: ; two: ; "},
        Walk{"ASelfReferenceIsResetNeverMarkedAndHoldsNothingBack",
             {"staff 2", "grade 2"},
             "UPDATE staff SET is_deletable = 1, parent = 1",
             {"staff parent staff id", "staff parent grade id", "sales b grade id",
              "sales a staff id"},
             "grade; staff: ; grade: 2; "},
        Walk{"TheStoredMarksOfAnUnselectedDimensionDecideWhatItKeeps",
             {"shop 2 unselected", "city 4"},
             "UPDATE shop SET parent = id, is_deletable = id - 1; UPDATE sales SET a = 2, b = 3",
             {"sales a shop id", "shop parent city id", "sales b city id"},
             "city; shop: 2; city: 2 4; "},
        Walk{"ATableThatWaitsOrIsDoneIsNotQueuedAgain",
             {"shop 2", "staff 2 unselected"},
             "UPDATE returns SET a = 1",
             {"sales a shop id", "returns a shop id", "sales b returns b", "SALES b sales a",
              "staff parent staff id"},
             "shop; shop: 2; staff: ; "},
        Walk{"ADimensionWithoutRelationsIsLeftAlone",
             {"lonely 2"},
             "UPDATE lonely SET is_deletable = 1 WHERE id = 2",
             {},
             "; lonely: 2; "}),
    [](const auto& test) { return test.param.Name; });

TEST_F(DetectAndMarkTest, ComparesAllColumnsOfACompositeKey) {
    warehouse.AddDimension("shop", "id int, country int, number int");
    warehouse.Run("INSERT INTO shop(id, country, number) VALUES (1,7,1),(2,7,2),(3,8,1)");
    AddFact("sales", "(7,2),(8,1),(9,9)");
    warehouse.Relate({"sales a,b shop country,number"});
    Mark();
    EXPECT_EQ(Marked("shop"), "1");
}

TEST_F(DetectAndMarkTest, AShorterForeignColumnListOrABlankNameFails) {
    AddDimension("shop", 2);
    AddFact("sales", "(1,1)");
    warehouse.Relate({"sales a shop id,parent"});
    EXPECT_FALSE(MarkUnusedElements(state, progress));
    EXPECT_EQ(state.ErrorText,
              "Subscript out of range: sales refers to shop with fewer foreign columns than "
              "primary columns\r\n");

    state.ErrorText.clear();
    warehouse.AddTable(" ", "FACT");
    warehouse.Run("UPDATE dwm_star_relations SET foreign_table = ' '");
    EXPECT_FALSE(MarkUnusedElements(state, progress));
    EXPECT_EQ(state.ErrorText, "Table Name is Empty for detection and marking\r\n");
}

TEST_F(DetectAndMarkTest, AVanishedTableFailsAndIsDescribedOnce) {
    AddDimension("shop", 1);
    AddFact("sales", "(1,1)");
    warehouse.Relate({"sales a shop id"});
    warehouse.Run("DROP TABLE sales");
    EXPECT_FALSE(MarkUnusedElements(state, progress));
    EXPECT_TRUE(Contains(state.ErrorText, "sales"));
    EXPECT_EQ(state.ErrorText.find("UPDATE shop"), state.ErrorText.rfind("UPDATE shop"));
}

TEST_F(DetectAndMarkTest, ACancelEndsItAfterTheTableAndClosesTheConnection) {
    AddDimension("shop", 2);
    AddDimension("city", 2);
    AddFact("sales", "(1,1)");
    warehouse.Relate({"sales a shop id", "shop parent city id"});
    progress.CancelAtPoll = 2;
    EXPECT_FALSE(MarkUnusedElements(state, progress));
    EXPECT_EQ(state.ErrorText, "");
    EXPECT_EQ(MarkingOrder(), "shop");
    EXPECT_FALSE(state.WarehouseConnection->IsOpen());
}

TEST_F(DetectAndMarkTest, SendsItsStatementsAsWordedAndInOrder) {
    AddDimension("city", 2);
    warehouse.AddDimension("shop", "id int, country int, city int");
    AddDimension("day", 2, false);
    AddFact("sales", "(1,1)");
    warehouse.Relate({"sales a,b shop country,id", "shop city city id", "sales a day id"});
    Mark();
    EXPECT_TRUE(MatchesGolden(StatementLines(), "marking.statements"));
}

}  // namespace morvane::testing
