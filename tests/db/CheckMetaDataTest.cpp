// SPDX-License-Identifier: Apache-2.0
#include "base/Text.h"
#include "db/StatementTrace.h"
#include "db/modCheckMetaData.h"
#include "support/Golden.h"
#include "support/RecordingProgress.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {

// A valid warehouse: a fact, a dimension with a composite key and a slowly moving dimension.
class CheckMetaDataTest : public ::testing::Test {
  protected:
    CheckMetaDataTest() {
        warehouse.AddFact("sales", "day int, country int, number int, customer int");
        warehouse.AddDimension("shop", "country int, number int");
        warehouse.AddSlowMovingDimension("customer", "id int, code varchar(9), region int");
        warehouse.AddRelation("sales", " country , number", "shop", "country, number ");
        warehouse.AddRelation("sales", "customer", "customer", "id", true, "code , region");
        state.WarehouseConnection = warehouse.Connect();
    }

    // The check's message after `change`, without its line end.
    std::string Problem(const std::string& change) {
        warehouse.Run(change);
        const bool ok = CheckMetaData(state, progress) == Outcome::Done;
        EXPECT_EQ(ok, state.ErrorText.empty());
        std::string text = state.ErrorText;
        if (!ok) {
            EXPECT_TRUE(text.ends_with("\r\n"));
            text.resize(text.size() - 2);
        }
        return text;
    }

    TestWarehouse warehouse;
    RunState state;
    RecordingProgress progress;
};

TEST_F(CheckMetaDataTest, AValidWarehousePassesAndFillsTheProgressBar) {
    EXPECT_EQ(Problem("UPDATE dwm_tables SET table_type = 'Fact', is_selected = NULL "
                      "WHERE table_name = 'sales'; ALTER TABLE shop RENAME TO shops;"
                      "CREATE VIEW shop AS SELECT * FROM shops"),
              "");
    EXPECT_EQ(Join(progress.Log, "; "),
              "range 0..6; value 0 to 0; comment Checking the Relations Table; comment Checking the"
              " dwm_tables Table; comment Checking the consistency between meta tables;"
              " value 6 to 0; comment ");
}

TEST_F(CheckMetaDataTest, SendsTheExpectedStatements) {
    std::string statements;
    state.WarehouseConnection = TraceStatements(
        warehouse.Connect(),
        [&](std::string_view statement) { statements += std::string(statement) + "$\n"; });
    ASSERT_EQ(CheckMetaData(state, progress), Outcome::Done) << state.ErrorText;
    EXPECT_TRUE(MatchesGolden(statements, "check.statements"));
}

TEST_F(CheckMetaDataTest, AMissingMetaTableIsReported) {
    EXPECT_TRUE(Contains(Problem("DROP TABLE dwm_tables"), "dwm_tables"));
    EXPECT_EQ(CheckTablesTable(state, progress), Outcome::Failed);
    EXPECT_TRUE(state.ErrorText.ends_with(
        "Table : 'dwm_tables' does not exist in the Datawarehouse database\r\n"));
}

struct Rule {
    const char* Name;
    const char* Change;
    const char* Message;
};

void PrintTo(const Rule& rule, std::ostream* out) {
    *out << rule.Name;
}

class MetaDataRuleTest : public CheckMetaDataTest, public ::testing::WithParamInterface<Rule> {};

TEST_P(MetaDataRuleTest, HasItsMessage) {
    EXPECT_EQ(Problem(GetParam().Change), GetParam().Message);
}

INSTANTIATE_TEST_SUITE_P(
    Relations, MetaDataRuleTest,
    ::testing::Values(
        Rule{"Empty", "DELETE FROM dwm_star_relations",
             "Table: dwm_star_relations does not contain any records"},
        Rule{"NullSelected", "UPDATE dwm_star_relations SET selected = NULL",
             "selected Column Empty in dwm_star_relations Table"},
        Rule{"NullFlag", "UPDATE dwm_star_relations SET slow_moving_dim = NULL",
             "slow_moving_dim Column Empty in dwm_star_relations Table"},
        Rule{"NullOriginalKey", "UPDATE dwm_star_relations SET original_primary_key = NULL",
             "original_primary_key Column Empty  for slow Moving Dimension Table : customer"},
        Rule{"ForeignTable", "UPDATE dwm_star_relations SET foreign_table = 'nowhere'",
             "Table : nowhere does not exist in the Datawarehouse database"},
        Rule{"PrimaryTable", "DROP TABLE shop",
             "Table : shop does not exist in the Datawarehouse database"},
        Rule{"ForeignColumn", "UPDATE dwm_star_relations SET foreign_columns = 'country, nr '",
             "Column :: nr doesnt exist in table sales"},
        Rule{"PrimaryColumn", "UPDATE dwm_star_relations SET primary_columns = 'nr,country'",
             "Column :: nr doesnt exist in table shop"},
        Rule{"EmptyPiece", "UPDATE dwm_star_relations SET primary_columns = 'country,'",
             "Column ::  doesnt exist in table shop"},
        Rule{"OriginalKeyColumn",
             "UPDATE dwm_star_relations SET original_primary_key = 'code,zone'",
             "Column :: zone doesnt exist in table customer"},
        Rule{"ColumnCounts",
             "UPDATE dwm_star_relations SET primary_columns = 'country' "
             "WHERE primary_table = 'shop'",
             "Count of Primary Key Fields and Foreign Key Fields not the same for the "
             "relationship :\r\nPrimary Table - shop\r\nForeign Table - sales"},
        Rule{"MissingBeforeCounts",
             "UPDATE dwm_star_relations SET primary_columns = 'country',"
             " foreign_columns = 'country,nr' WHERE primary_table = 'shop'",
             "Column :: nr doesnt exist in table sales"}),
    [](const auto& test) { return test.param.Name; });

INSTANTIATE_TEST_SUITE_P(
    Tables, MetaDataRuleTest,
    ::testing::Values(
        Rule{"Empty", "DELETE FROM dwm_tables", "'dwm_tables' Table does not contain any records"},
        Rule{"NullName", "INSERT INTO dwm_tables VALUES(NULL,'FACT',NULL,1)",
             "table_name Column Empty in dwm_tables Table"},
        Rule{"NullType", "UPDATE dwm_tables SET table_type = NULL",
             " Column Empty in dwm_tables Table"},
        Rule{"NullSelection",
             "UPDATE dwm_tables SET is_selected = NULL, table_type = lower(table_type)",
             "is_selected Column Empty for Dimension Table : shop in dwm_tables Table"},
        Rule{"Type", "UPDATE dwm_tables SET table_type = 'cube'",
             "table_type  Incorrect for TableName : sales in the dwm_tables Table."},
        Rule{"Missing", "INSERT INTO dwm_tables VALUES('gone','FACT',NULL,1)",
             "Table : gone does not exist in the Datawarehouse database"},
        Rule{"NoIndex", "DROP INDEX ix_sales", "Table :sales is not indexed."},
        Rule{"Sustainable", "ALTER TABLE shop DROP COLUMN is_sustainable",
             "Column :: is_sustainable does not exist in the Dimension Table : shop"},
        Rule{"Deletable", "ALTER TABLE shop DROP COLUMN is_deletable",
             "Column :: is_deletable does not exist in the Dimension Table : shop"},
        Rule{"StartDate", "ALTER TABLE customer DROP COLUMN start_date",
             "Column :: start_date does not exist in the Dimension Table : customer"},
        Rule{"EndDate", "ALTER TABLE customer DROP COLUMN end_date",
             "Column :: end_date does not exist in the Dimension Table : customer"},
        Rule{"IsCurrent", "ALTER TABLE customer DROP COLUMN is_current",
             "Column :: is_current does not exist in the Dimension Table : customer"},
        Rule{"Consistency", "DELETE FROM dwm_tables WHERE table_name <> 'sales'",
             "The following tables are referred to by the dwm_star_relations table but the "
             "details of the same are not present in the dwm_tables table "
             "::\r\ncustomer\r\nshop\r\n"}),
    [](const auto& test) { return test.param.Name; });

}  // namespace morvane::testing
