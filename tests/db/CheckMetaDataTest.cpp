// SPDX-License-Identifier: Apache-2.0
#include <fstream>

#include "base/Text.h"
#include "db/StatementTrace.h"
#include "db/modCheckMetaData.h"
#include "support/Golden.h"
#include "support/RecordingProgress.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {

// A valid warehouse: a fact, a dimension with a composite key and a slowly-moving dimension.
class MetaDataCheck : public ::testing::Test {
  protected:
    MetaDataCheck() {
        warehouse.AddFact("sales", "day int, country int, number int, customer int");
        warehouse.AddDimension("shop", "country int, number int");
        warehouse.AddSlowMovingDimension("customer", "id int, code varchar(9), region int");
        warehouse.AddRelation("sales", " country , number", "shop", "country, number ");
        warehouse.AddRelation("sales", "customer", "customer", "id", true, "code , region");
        state.WarehouseConnection = warehouse.Connect();
    }

    // The message of the check after `change`, without its line end.
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

TEST_F(MetaDataCheck, AValidWarehousePassesAndFillsTheProgressBar) {
    EXPECT_EQ(Problem("UPDATE dwm_tables SET table_type = 'Fact', is_selected = NULL "
                      "WHERE table_name = 'sales'; ALTER TABLE shop RENAME TO shops;"
                      "CREATE VIEW shop AS SELECT * FROM shops"),
              "");
    EXPECT_EQ(Join(progress.Log, "; "),
              "range 0..6; value 0 to 0; comment Checking the Relations Table; comment Checking the"
              " dwm_tables Table; comment Checking the consistency between meta tables;"
              " value 6 to 0; comment ");
}

TEST_F(MetaDataCheck, SendsTheExpectedStatements) {
    std::string statements;
    state.WarehouseConnection = TraceStatements(
        warehouse.Connect(),
        [&](std::string_view statement) { statements += std::string(statement) + "$\n"; });
    ASSERT_EQ(CheckMetaData(state, progress), Outcome::Done) << state.ErrorText;
    EXPECT_TRUE(MatchesGolden(statements, "check.statements"));
}

TEST_F(MetaDataCheck, ReportsAMissingMetaTable) {
    EXPECT_TRUE(Contains(Problem("DROP TABLE dwm_tables"), "dwm_tables"));
    EXPECT_EQ(CheckTablesTable(state, progress), Outcome::Failed);
    EXPECT_TRUE(Contains(state.ErrorText,
                         "Table : 'dwm_tables' does not exist in the Datawarehouse database\r\n"));
}

struct Rule {
    std::string Name;
    std::string Change;
    std::string Message;
};

void PrintTo(const Rule& rule, std::ostream* out) {
    *out << rule.Name;
}

// Rules are separated by empty lines. Each has a line for its name, one for the change, and the
// message.
std::vector<Rule> ReadRules() {
    std::vector<Rule> rules;
    std::ifstream file(MORVANE_META_DATA_RULES);
    std::size_t lineOfRule = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') {
            lineOfRule = 0;
            continue;
        }
        if (lineOfRule == 0) {
            rules.emplace_back().Name = line;
        } else if (lineOfRule == 1) {
            rules.back().Change = line;
        } else {
            rules.back().Message += (lineOfRule == 2 ? "" : "\r\n") + (line == "\\" ? "" : line);
        }
        ++lineOfRule;
    }
    return rules;
}

class MetaDataRule : public MetaDataCheck, public ::testing::WithParamInterface<Rule> {};

TEST_P(MetaDataRule, IsReported) {
    EXPECT_EQ(Problem(GetParam().Change), GetParam().Message);
}

INSTANTIATE_TEST_SUITE_P(Rules, MetaDataRule, ::testing::ValuesIn(ReadRules()),
                         [](const auto& test) { return test.param.Name; });

}  // namespace morvane::testing
