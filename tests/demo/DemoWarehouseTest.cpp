// SPDX-License-Identifier: Apache-2.0
#include "demo/DemoWarehouse.h"

#include <gtest/gtest.h>

#include <array>

#include "db/modCheckMetaData.h"
#include "support/RecordingProgress.h"
#include "support/TestWarehouse.h"
#include "tasks/modDetectAndMark.h"

namespace morvane::testing {
namespace {

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

int CountIn(const SqliteFile& file, const std::string& tableAndCondition) {
    return std::stoi(file.Text("SELECT count(*) FROM " + tableAndCondition));
}

// Conditions on a warehouse whose unused elements are marked.
constexpr std::array kSomethingForEveryTask = {
    // Referred to, but by unused elements alone.
    "category JOIN product USING (category_key) WHERE category.is_deletable = 1",
    // In use by each of two columns, but not by both together.
    "promotion WHERE is_deletable = 1 AND promotion_code IN (SELECT promotion_code FROM sales)"
    " AND region_code IN (SELECT region_code FROM sales)",
    // Versions that go from a history, elements that go as a whole, and what is sustained.
    "customer c JOIN customer n USING (customer_id) WHERE c.is_deletable = 1 AND"
    " n.is_deletable = 0 AND n.start_date = c.end_date",
    "(SELECT 1 FROM customer GROUP BY customer_id HAVING min(is_deletable) = 1 AND count(*) > 1)",
    "customer WHERE is_sustainable = 1 AND customer_key NOT IN (SELECT customer_key FROM sales)",
    "sales WHERE order_date < '2019-01-01'",
    "shipments WHERE ship_date < '2020-01-01'",
    "dwm_tables WHERE table_type = 'dimension' AND is_selected = 0",
};

TEST(DemoWarehouse, IsTheSameEverywhereAndHasSomethingForEveryTask) {
    const TempFolder folder;
    const SqliteFile file(Make(folder, 1));
    // Another number from another compiler or platform is a fault; after an intended change of the
    // data this is the place to write the new one.
    EXPECT_EQ(ContentHash(file), 42148013783308726U);
    RunState state;
    state.WarehouseConnection = ConnectTo("sqlite:" + folder.Path(), "retail");
    RecordingProgress progress;
    EXPECT_EQ(CheckMetaData(state, progress), Outcome::Done) << state.ErrorText;
    EXPECT_EQ(MarkUnusedElements(state, progress), Outcome::Done) << state.ErrorText;
    for (const std::string& table :
         file.Rows("SELECT table_name FROM dwm_tables WHERE table_type='dimension'"
                   " AND is_selected=1 AND table_name <> 'employee'")) {
        const double share =
            CountIn(file, table + " WHERE is_deletable = 1") * 1.0 / CountIn(file, table);
        EXPECT_GE(share, 0.05) << table;
        EXPECT_LE(share, 0.20) << table;
    }
    for (const char* each : kSomethingForEveryTask) {
        EXPECT_GT(CountIn(file, each), 0) << each;
    }
}

TEST(DemoWarehouse, GrowsWithTheScale) {
    const TempFolder one;
    const TempFolder two;
    const SqliteFile small(Make(one, 1));
    const SqliteFile large(Make(two, 2));
    for (const std::string table : {"sales", "shipments", "inventory", "product", "customer"}) {
        EXPECT_EQ(CountIn(large, table), 2 * CountIn(small, table)) << table;
    }
    EXPECT_EQ(CountIn(large, "calendar"), CountIn(small, "calendar"));
}

}  // namespace
}  // namespace morvane::testing
