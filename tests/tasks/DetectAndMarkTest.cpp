// SPDX-License-Identifier: Apache-2.0
#include "base/Text.h"
#include "support/Golden.h"
#include "tasks/TaskTest.h"
#include "tasks/modDetectAndMark.h"

namespace morvane::testing {

class DetectAndMarkTest : public TaskTest {
  protected:
    // A dimension with ids from 1 to `rows` and a column that may refer to another table.
    void AddDimension(const std::string& name, int rows, bool selected = true) {
        warehouse.AddDimension(name, "id int, parent int", selected);
        warehouse.Run("WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                      std::to_string(rows) + ") INSERT INTO " + name + "(id) SELECT i FROM n");
    }

    void AddFact(const std::string& name, const std::string& values) {
        warehouse.AddFact(name, "a int, b int");
        warehouse.Run("INSERT INTO " + name + " VALUES " + values);
    }
};

TEST_F(DetectAndMarkTest, AShorterForeignColumnListOrABlankNameFails) {
    AddDimension("shop", 2);
    AddFact("sales", "(1,1)");
    warehouse.Relate({"sales a shop id,parent"});
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

TEST_F(DetectAndMarkTest, ACancelStopsAfterTheTableAndClosesTheConnection) {
    AddDimension("shop", 2);
    AddDimension("city", 2);
    AddFact("sales", "(1,1)");
    warehouse.Relate({"sales a shop id", "shop parent city id"});
    progress.CancelAtPoll = 2;
    EXPECT_EQ(MarkUnusedElements(state, progress), Outcome::Cancelled);
    EXPECT_EQ(state.ErrorText, "");
    EXPECT_EQ(Marked("shop") + ", " + Marked("city"), "2, ");
    EXPECT_FALSE(state.WarehouseConnection->IsOpen());
}

TEST_F(DetectAndMarkTest, SendsTheExpectedStatements) {
    AddDimension("city", 2);
    warehouse.AddDimension("shop", "id int, country int, city int");
    AddDimension("day", 2, false);
    AddFact("sales", "(1,1)");
    warehouse.Relate({"sales a,b shop country,id", "shop city city id", "sales a day id"});
    ASSERT_EQ(MarkUnusedElements(state, progress), Outcome::Done) << state.ErrorText;
    EXPECT_TRUE(MatchesGolden(StatementLines(), "marking.statements"));
}

}  // namespace morvane::testing
