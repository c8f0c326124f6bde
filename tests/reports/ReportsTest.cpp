// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <functional>
#include <optional>

#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "db/ConnectionFactory.h"
#include "db/StatementTrace.h"
#include "reports/ReportPage.h"
#include "reports/ReportQueries.h"
#include "reports/modGenerateReports.h"
#include "support/ErrorOf.h"
#include "support/FileSizeLimit.h"
#include "support/FixedClock.h"
#include "support/Golden.h"
#include "support/RecordingProgress.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {
namespace {

class Reports : public ::testing::Test {
  protected:
    Reports() {
        const LocalMoment start = FixedClock().Now();
        state_.RunStartDate = start.Date;
        state_.RunStartTime = start.TimeOfDay;
    }

    // Two selected dimensions with marked elements, an unselected one without, and two facts.
    void FillSmallWarehouse() {
        warehouse_.AddSlowMovingDimension("product",
                                          "product_id int, code varchar(20), shade varchar(20)");
        warehouse_.AddDimension("region", "region_id int", false);
        warehouse_.AddDimension("shop", "chain int, number int, name varchar(40)");
        warehouse_.AddFact("sales", "product_id int, chain int, number int",
                           "amount < 10 AND note <> 'R&D'");
        warehouse_.AddFact("stock", "product_id int, region_id int");
        warehouse_.AddRelation("sales", "product_id,code", "product", "product_id, code", true,
                               " code ,shade");
        warehouse_.AddRelation("stock", "region_id", "region", "region_id");
        warehouse_.AddRelation("sales", "chain,number", "shop", "chain,number", false, "number");
        warehouse_.Run(
            "INSERT INTO product(product_id, code, shade, is_deletable) VALUES"
            " (1, 'b<1>', 'gr\u00fcn', 1), (2, 'a&1', NULL, 1), (3, 'kept', 'red', 0),"
            " (4, 'c', CAST(x'67F6' AS TEXT), 1);"
            "INSERT INTO region(region_id) VALUES (1);"
            "INSERT INTO shop(chain, number, is_deletable) VALUES (1, 12, 1), (1, 3, 1);");
    }

    bool Generate() {
        state_.WarehouseConnection =
            TraceStatements(warehouse_.Connect(), [this](std::string_view statement) {
                statements_ += statement;
                statements_ += '\n';
            });
        outcome_ = GenerateAllReports(state_, progress_, reports_.Path());
        return outcome_ == Outcome::Done;
    }

    std::string PathOf(Report report) const { return ReportPath(report, state_, reports_.Path()); }
    std::string TextOf(Report report) const {
        return ReplaceAll(ReadWholeFile(PathOf(report)), warehouse_.Folder(), "/warehouse");
    }
    bool IsWhole(Report report) const { return TextOf(report).ends_with("</BODY>\r\n</HTML>\r\n"); }

    TestWarehouse warehouse_;
    TempFolder reports_;
    RunState state_;
    RecordingProgress progress_;
    std::string statements_;
    Outcome outcome_ = Outcome::Done;
};

TEST_F(Reports, ShowMarkedElementsAndFiltersOfAWarehouse) {
    FillSmallWarehouse();
    ASSERT_TRUE(Generate()) << state_.ErrorText;
    EXPECT_EQ(ListFiles(reports_.Path()),
              "DetailedReport05-03-202414-07-09.html SummaryReport05-03-202414-07-09.html "
              "TableFilterReport05-03-202414-07-09.html");
    EXPECT_TRUE(MatchesGolden(TextOf(Report::Summary), "SummaryReport.html"));
    EXPECT_TRUE(MatchesGolden(TextOf(Report::Detailed), "DetailedReport.html"));
    EXPECT_TRUE(MatchesGolden(TextOf(Report::TableFilter), "TableFilterReport.html"));
    EXPECT_TRUE(MatchesGolden(statements_, "reports_statements.txt"));
    EXPECT_EQ(Join(progress_.Log, "; "),
              "range 0..10; value 0 to 0; comment Generating Summary Report; comment Generating"
              " Detailed Report; comment Generating TableFilter Report; value 10 to 0; comment ");
    EXPECT_EQ(state_.ErrorText, "");
}

TEST_F(Reports, OfAnEmptyWarehouseAreComplete) {
    ASSERT_TRUE(Generate()) << state_.ErrorText;
    EXPECT_EQ(progress_.Log.at(0) + "; " + progress_.Log.at(1), "range 0..1; value 0 to 1");
    for (const Report report : {Report::Summary, Report::Detailed, Report::TableFilter}) {
        EXPECT_TRUE(IsWhole(report));
        EXPECT_FALSE(Contains(TextOf(report), "<TR>\r\n\t<TD>"));
    }
}

TEST_F(Reports, StopBetweenTwoReportsWhenTheUserCancels) {
    FillSmallWarehouse();
    progress_.CancelAtPoll = 2;
    EXPECT_FALSE(Generate());
    EXPECT_EQ(outcome_, Outcome::Cancelled);
    EXPECT_TRUE(IsWhole(Report::Summary));
    EXPECT_EQ(ListFiles(reports_.Path()), "SummaryReport05-03-202414-07-09.html");
    EXPECT_EQ(state_.ErrorText, "");
}

TEST_F(Reports, KeepWhatWasWrittenBeforeAFailure) {
    FillSmallWarehouse();
    warehouse_.Run("DELETE FROM dwm_star_relations WHERE primary_table = 'region'");
    EXPECT_TRUE(Generate()) << "the key of a table without marked elements is not needed";
    warehouse_.Run("UPDATE region SET is_deletable = 1");
    EXPECT_FALSE(Generate());
    EXPECT_EQ(state_.ErrorText,
              "The key fields of the table region are not known: no row of dwm_star_relations has "
              "it as its primary_table\r\n");
    EXPECT_TRUE(Contains(TextOf(Report::Detailed), "<TD>b<1></TD>"));
    EXPECT_FALSE(IsWhole(Report::Detailed));
    state_.ErrorText.clear();
    warehouse_.AddTable("product", "Dimension");
    EXPECT_FALSE(Generate());
    EXPECT_EQ(state_.ErrorText,
              "The dimension table product stands more than once in dwm_tables\r\n");
    EXPECT_FALSE(IsWhole(Report::Summary));
}

TEST_F(Reports, FailIfTheirLastBytesDoNotFit) {
    FillSmallWarehouse();
    ASSERT_TRUE(Generate()) << state_.ErrorText;
    int number = 0;
    for (const Report report : {Report::Summary, Report::Detailed, Report::TableFilter}) {
        const auto size = std::filesystem::file_size(PathOf(report));
        std::optional<FileSizeLimit> limit;
        progress_.Polls = 0;
        progress_.OnPoll = [&, limited = ++number](int poll) {
            if (poll == limited) {
                limit.emplace(size - 10);
            }
        };
        state_.ErrorText.clear();
        EXPECT_FALSE(Generate());
        EXPECT_EQ(state_.ErrorText,
                  "Cannot write the file \"" + PathOf(report) + "\": File too large\r\n");
    }
}

TEST_F(Reports, TrimNamesInTheirHeadAndEscapeNothing) {
    state_.WarehouseConnection = CreateConnection(warehouse_.Server());
    state_.WarehouseConnection->SetProperty("Data Source", "  east & <west>\\sales  ");
    EXPECT_TRUE(Contains(BuildReportHead(state_, "T", "H", Report::Summary, Report::Detailed),
                         "<TD><B>Server</B>&nbspeast & <west>\\sales</TD>\r\n"));
}

TEST(KeyFields, AreTheOriginalKeyAndThenTheOtherRelationColumns) {
    const TestWarehouse warehouse;
    const auto connection = warehouse.Connect();
    const std::string unknown = "The key fields of the table dim are not known: its ";
    for (const auto& [primaryColumns, originalKey, expected] :
         std::vector<std::array<std::string, 3>>{
             {"id", "'code'", "code|id"},
             {"id , code,line, id", "' line,code '", "line|code|id"},
             {"Code", "'code'", "code|Code"},
             {"id,line", "''", "id|line"},
             {"id", "NULL", unknown + "original_primary_key in dwm_star_relations is empty"},
             {"id", "'code, line,code'",
              "The original_primary_key of the table dim in dwm_star_relations has the column code "
              "more than once"}}) {
        warehouse.Run(
            "DELETE FROM dwm_star_relations;INSERT INTO dwm_star_relations VALUES"
            "(1, 'fact', '', 'dim', '" +
            primaryColumns + "', 0, " + originalKey + ")");
        std::string found;
        const std::string error =
            ErrorOf([&] { found = Join(GetKeyFields(*connection, "dim"), "|"); });
        EXPECT_EQ(error == "no error" ? found : error, expected);
    }
}

}  // namespace
}  // namespace morvane::testing
