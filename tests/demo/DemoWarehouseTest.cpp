#include "demo/DemoWarehouse.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "db/modCheckMetaData.h"
#include "support/RecordingProgress.h"
#include "support/TestWarehouse.h"
#include "tasks/modDetectAndMark.h"

namespace morvane::testing {
namespace {

// The versions of each customer in order, each with its use and its neighbours'; the promotions in
// use.
constexpr const char* kHistories = R"(
CREATE TABLE history AS SELECT *,
    customer_key NOT IN (SELECT customer_key FROM sales) AS unused FROM customer;
CREATE TABLE neighbours AS SELECT *, count(*) OVER element AS versions,
    lag(unused) OVER ordered AS unused_before, lead(unused) OVER ordered AS unused_after,
    lead(start_date) OVER ordered AS next_start
    FROM history WINDOW element AS (PARTITION BY customer_id),
                        ordered AS (PARTITION BY customer_id ORDER BY start_date);
CREATE TABLE advertised AS SELECT DISTINCT promotion_code, region_code FROM sales
    WHERE promotion_code IS NOT NULL;
CREATE TABLE freighted AS SELECT DISTINCT promotion_code, region_code FROM shipments
    WHERE promotion_code IS NOT NULL;
)";

// FNV-1a of every table's statement and rows, in their order.
std::uint64_t ContentHash(const SqliteFile& file) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    const auto add = [&](const std::string& query) {
        for (const std::string& row : file.Rows(query)) {
            for (const char c : row + "|") {
                hash = (hash ^ (c == '|' ? 0U : static_cast<unsigned char>(c))) * 0x100000001b3U;
            }
        }
    };
    add("SELECT name, sql FROM sqlite_master ORDER BY rowid");
    for (const std::string& table :
         file.Rows("SELECT name FROM sqlite_master WHERE type='table'")) {
        add("SELECT * FROM " + table + " ORDER BY rowid");
    }
    return hash;
}

std::string Make(const TempFolder& folder, int scale) {
    demo::MakeDemoWarehouse(folder.Path(), scale, false, [] { return false; });
    return folder / "retail.db";
}

// Most cases look at a copy in which the program has marked the unused elements.
class DemoWarehouse : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder_ = new TempFolder;
        made_ = new SqliteFile(Make(*folder_, 1));
        std::filesystem::copy_file(made_->Path(), *folder_ / "marked.db");
        RunState state;
        state.WarehouseConnection = ConnectTo("sqlite:" + folder_->Path(), "marked");
        RecordingProgress progress;
        EXPECT_TRUE(MarkUnusedElements(state, progress)) << state.ErrorText;
        marked_ = new SqliteFile(*folder_ / "marked.db");
        marked_->Run(kHistories);
    }
    static void TearDownTestSuite() {
        delete made_;
        delete marked_;
        delete folder_;
    }

    static int CountIn(const SqliteFile& file, const std::string& tableAndCondition) {
        return std::stoi(file.Text("SELECT count(*) FROM " + tableAndCondition));
    }
    static int CountOf(const std::string& tableAndCondition) {
        return CountIn(*marked_, tableAndCondition);
    }

    static void ExpectSome(const std::vector<std::string>& tablesAndConditions) {
        for (const std::string& each : tablesAndConditions) {
            EXPECT_GT(CountOf(each), 0) << each;
        }
    }

    inline static const TempFolder* folder_ = nullptr;
    inline static const SqliteFile* made_ = nullptr;
    inline static const SqliteFile* marked_ = nullptr;
};

TEST_F(DemoWarehouse, IsTheSameEverywhereAndEveryTime) {
    const TempFolder other;
    const std::uint64_t hash = ContentHash(SqliteFile(Make(other, 1)));
    EXPECT_EQ(hash, ContentHash(*made_));
    // Another number from another compiler or platform is a fault; after an intended change of the
    // data this is the place to write the new one.
    EXPECT_EQ(hash, 42148013783308726U);
}

TEST_F(DemoWarehouse, GrowsWithTheScale) {
    const TempFolder other;
    const SqliteFile larger(Make(other, 2));
    for (const std::string table : {"sales", "shipments", "inventory", "product", "customer"}) {
        EXPECT_EQ(CountIn(larger, table), 2 * CountOf(table)) << table;
    }
    EXPECT_EQ(CountIn(larger, "calendar"), CountOf("calendar"));
}

TEST_F(DemoWarehouse, AgreesWithItsMetaTables) {
    RunState state;
    state.WarehouseConnection = ConnectTo("sqlite:" + folder_->Path(), "marked");
    RecordingProgress progress;
    EXPECT_TRUE(CheckMetaData(state, progress)) << state.ErrorText;
    EXPECT_GE(CountOf("dwm_tables WHERE table_type='fact'"), 3);
    EXPECT_GE(CountOf("dwm_tables WHERE table_type='dimension'"), 8);
    EXPECT_EQ(CountOf("dwm_tables WHERE table_type='dimension' AND is_selected=0"), 1);
    EXPECT_EQ(CountOf("dwm_star_relations WHERE original_primary_key IS NULL"), 0);
}

TEST_F(DemoWarehouse, HasUnusedElementsInEverySelectedDimension) {
    for (const std::string& table :
         marked_->Rows("SELECT table_name FROM dwm_tables WHERE table_type='dimension'"
                       " AND is_selected=1 AND table_name <> 'employee'")) {
        const double share = CountOf(table + " WHERE is_deletable = 1") * 1.0 / CountOf(table);
        EXPECT_GE(share, 0.05) << table;
        EXPECT_LE(share, 0.20) << table;
    }
}

TEST_F(DemoWarehouse, HandsDisuseOnFromDimensionToDimension) {
    // Referred to, but by unused elements alone.
    for (const std::string relation :
         {"brand u JOIN product USING (brand_key)",
          "department u JOIN category c USING (department_key) JOIN product USING (category_key)",
          "customer_segment u JOIN customer USING (segment_key)",
          "geography u JOIN store s ON s.geography_key = u.geography_key AND s.is_deletable = 1"}) {
        ExpectSome({relation + " WHERE u.is_deletable = 1"});
    }
    // A sustained element keeps what it refers to.
    ExpectSome(
        {"brand b WHERE is_deletable = 0 AND NOT EXISTS (SELECT 1 FROM product p"
         " JOIN sales USING (product_key) WHERE p.brand_key = b.brand_key)"});
}

TEST_F(DemoWarehouse, HasPlacesThatEachKindOfReferrerAloneKeeps) {
    const std::vector<std::string> referrers{
        "geography_key FROM sales", "destination_geography_key FROM shipments",
        "geography_key FROM store WHERE is_deletable = 0",
        "home_geography_key FROM carrier WHERE is_deletable = 0"};
    for (const std::string& alone : referrers) {
        std::string condition = "geography WHERE 1";
        for (const std::string& other : referrers) {
            condition += " AND geography_key " + std::string(&other == &alone ? "" : "NOT ") +
                         "IN (SELECT " + other + ")";
        }
        ExpectSome({condition});
    }
    ExpectSome({// The unselected dimension carries marks, which do not keep.
                "geography g JOIN carrier ON home_geography_key = geography_key"
                " WHERE g.is_deletable = 1",
                // Stores that only employees keep; the employees refer to each other.
                "store WHERE is_deletable = 0 AND store_key NOT IN (SELECT store_key FROM sales)",
                "employee e JOIN employee m ON e.manager_key = m.employee_key"});
    EXPECT_EQ(CountOf("employee WHERE manager_key NOT IN (SELECT employee_key FROM employee)"), 0);
}

TEST_F(DemoWarehouse, HasPromotionsThatOnlyBothColumnsTogetherTellApart) {
    const std::string referred = "(SELECT * FROM advertised UNION SELECT * FROM freighted)";
    const std::string both = "(promotion_code, region_code) ";
    ExpectSome(
        {"promotion WHERE is_deletable = 1 AND promotion_code IN (SELECT promotion_code"
         " FROM " +
             referred + ") AND region_code IN (SELECT region_code FROM " + referred + ")",
         // Some are in use only in another letter case, some only by one of the two fact
         // tables, and facts without any are there too.
         "promotion p WHERE " + both +
             "IN advertised AND NOT EXISTS (SELECT 1 FROM"
             " advertised a WHERE a.promotion_code = p.promotion_code COLLATE BINARY)",
         "promotion WHERE " + both + "IN advertised AND " + both + "NOT IN freighted",
         "promotion WHERE " + both + "NOT IN advertised AND " + both + "IN freighted",
         "sales WHERE promotion_code IS NULL AND region_code IS NULL"});
}

TEST_F(DemoWarehouse, HasCustomersWithHistoriesOfEveryKind) {
    // Versions adjoin, and the last one alone is current and open.
    EXPECT_EQ(CountOf("neighbours WHERE next_start IS NOT NULL"
                      " AND (end_date <> next_start OR is_current = 1 OR start_date >= end_date)"),
              0);
    EXPECT_EQ(CountOf("neighbours WHERE next_start IS NULL"
                      " AND (end_date <> '9999-12-31 00:00:00' OR is_current = 0)"),
              0);
    EXPECT_EQ(marked_->Text("SELECT DISTINCT versions FROM neighbours ORDER BY 1"), "1 2 3 4 5 6");
    const std::string unused = "neighbours WHERE unused AND ";
    const std::string amid =
        unused +
        "unused_before = 1 AND customer_id IN"
        " (SELECT customer_id FROM history WHERE NOT unused) AND unused_after ";
    // Unused first, middle, last, next to each other, and altogether.
    ExpectSome({unused + "unused_before IS NULL AND unused_after = 0",
                unused + "unused_before = 0 AND unused_after = 0",
                unused + "unused_before = 0 AND unused_after IS NULL", amid + "IS NULL",
                amid + "= 0",
                "(SELECT 1 FROM history GROUP BY customer_id HAVING min(unused) = 1"
                " AND count(*) > 1)"});
    EXPECT_EQ(CountOf("sales JOIN customer USING (customer_key)"
                      " WHERE order_date < start_date OR order_date >= end_date"),
              0);
}

}  // namespace
}  // namespace morvane::testing
