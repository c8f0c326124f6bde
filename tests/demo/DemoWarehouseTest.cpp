#include "demo/DemoWarehouse.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "SqliteReader.h"
#include "core/Text.h"
#include "support/TempFolder.h"

namespace morvane::testing {
namespace {

// What marking has to find, worked out table by table by the plainest SQL.
constexpr const char* kUnusedElements = R"(
CREATE TEMP TABLE unused_product AS SELECT product_key FROM product WHERE is_sustainable = 0
    AND product_key NOT IN (SELECT product_key FROM sales)
    AND product_key NOT IN (SELECT product_key FROM shipments)
    AND product_key NOT IN (SELECT product_key FROM inventory);
CREATE TEMP VIEW kept_product AS SELECT * FROM product WHERE product_key NOT IN unused_product;
CREATE TEMP TABLE unused_brand AS SELECT brand_key FROM brand WHERE is_sustainable = 0
    AND brand_key NOT IN (SELECT brand_key FROM kept_product);
CREATE TEMP TABLE unused_category AS SELECT category_key FROM category WHERE is_sustainable = 0
    AND category_key NOT IN (SELECT category_key FROM kept_product);
CREATE TEMP TABLE unused_department AS SELECT department_key FROM department
    WHERE is_sustainable = 0 AND department_key NOT IN
        (SELECT department_key FROM category WHERE category_key NOT IN unused_category);
CREATE TEMP TABLE unused_calendar AS SELECT date_key FROM calendar WHERE is_sustainable = 0
    AND date_key NOT IN (SELECT date_key FROM sales)
    AND date_key NOT IN (SELECT date_key FROM shipments)
    AND date_key NOT IN (SELECT date_key FROM inventory);
CREATE TEMP TABLE unused_store AS SELECT store_key FROM store WHERE is_sustainable = 0
    AND store_key NOT IN (SELECT store_key FROM sales)
    AND store_key NOT IN (SELECT store_key FROM inventory)
    AND store_key NOT IN (SELECT store_key FROM employee);
CREATE TEMP VIEW kept_store AS SELECT * FROM store WHERE store_key NOT IN unused_store;
CREATE TEMP TABLE unused_geography AS SELECT geography_key FROM geography WHERE is_sustainable = 0
    AND geography_key NOT IN (SELECT geography_key FROM sales)
    AND geography_key NOT IN (SELECT destination_geography_key FROM shipments)
    AND geography_key NOT IN (SELECT geography_key FROM kept_store)
    AND geography_key NOT IN (SELECT home_geography_key FROM carrier WHERE is_deletable = 0);
CREATE TEMP TABLE advertised AS SELECT DISTINCT promotion_code, region_code FROM sales
    WHERE promotion_code IS NOT NULL;
CREATE TEMP TABLE freighted AS SELECT DISTINCT promotion_code, region_code FROM shipments
    WHERE promotion_code IS NOT NULL;
CREATE TEMP TABLE unused_promotion AS SELECT promotion_code, region_code FROM promotion
    WHERE is_sustainable = 0
    AND (promotion_code, region_code) NOT IN advertised
    AND (promotion_code, region_code) NOT IN freighted;
CREATE TEMP TABLE unused_customer AS SELECT customer_key FROM customer WHERE is_sustainable = 0
    AND customer_key NOT IN (SELECT customer_key FROM sales);
CREATE TEMP TABLE unused_customer_segment AS SELECT segment_key FROM customer_segment
    WHERE is_sustainable = 0 AND segment_key NOT IN
        (SELECT segment_key FROM customer WHERE customer_key NOT IN unused_customer);
)";

// The versions of each customer in order, each with its use and its neighbours'.
constexpr const char* kHistories = R"(
CREATE TEMP TABLE history AS SELECT *,
    customer_key NOT IN (SELECT customer_key FROM sales) AS unused FROM customer;
CREATE TEMP TABLE neighbours AS SELECT *, count(*) OVER element AS versions,
    lag(unused) OVER ordered AS unused_before, lead(unused) OVER ordered AS unused_after,
    lead(start_date) OVER ordered AS next_start
    FROM history WINDOW element AS (PARTITION BY customer_id),
                        ordered AS (PARTITION BY customer_id ORDER BY start_date);
)";

class DemoWarehouse : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder_ = new TempFolder;
        demo::MakeDemoWarehouse(folder_->Path(), 1, false, [] { return false; });
        reader_ = new SqliteReader(*folder_ / "retail.db");
        reader_->Run(kUnusedElements);
        reader_->Run(kHistories);
    }
    static void TearDownTestSuite() {
        delete reader_;
        delete folder_;
    }

    static std::int64_t Number(const std::string& sql) { return reader_->Number(sql); }
    static std::vector<std::string> Rows(const std::string& sql) { return reader_->Rows(sql); }
    static std::int64_t CountOf(const std::string& tableAndCondition) {
        return Number("SELECT count(*) FROM " + tableAndCondition);
    }

    // The columns of a list that the table has not.
    static std::string MissingColumns(const std::string& table, const std::string& list) {
        std::string missing;
        for (const std::string& column : SplitColumnList(list)) {
            if (CountOf("pragma_table_info('" + table + "') WHERE name='" + column + "'") == 0) {
                missing += table + "." + column + " ";
            }
        }
        return missing;
    }

    inline static TempFolder* folder_ = nullptr;
    inline static SqliteReader* reader_ = nullptr;
};

TEST_F(DemoWarehouse, IsTheSameEverywhereAndEveryTime) {
    TempFolder other;
    demo::MakeDemoWarehouse(other.Path(), 1, false, [] { return false; });
    const std::uint64_t hash = SqliteReader(other / "retail.db").ContentHash();
    EXPECT_EQ(hash, reader_->ContentHash());
    // Another number from another compiler or platform is a fault; after an intended change of the
    // data this is the place to write the new one.
    EXPECT_EQ(hash, 42148013783308726U);
}

TEST_F(DemoWarehouse, GrowsWithTheScale) {
    TempFolder other;
    demo::MakeDemoWarehouse(other.Path(), 2, false, [] { return false; });
    const SqliteReader larger(other / "retail.db");
    for (const std::string table : {"sales", "shipments", "inventory", "product", "customer"}) {
        EXPECT_EQ(larger.Number("SELECT count(*) FROM " + table), 2 * CountOf(table)) << table;
    }
    EXPECT_EQ(larger.Number("SELECT count(*) FROM calendar"), CountOf("calendar"));
}

TEST_F(DemoWarehouse, AgreesWithItsMetaTables) {
    EXPECT_GE(CountOf("dwm_tables WHERE table_type='fact'"), 3);
    EXPECT_GE(CountOf("dwm_tables WHERE table_type='dimension'"), 8);
    EXPECT_EQ(CountOf("dwm_tables WHERE table_type='dimension' AND is_selected IS NULL"), 0);
    EXPECT_EQ(CountOf("dwm_tables WHERE table_type='dimension' AND is_selected=0"), 1);
    EXPECT_EQ(CountOf("dwm_star_relations WHERE original_primary_key IS NULL"), 0);
    EXPECT_EQ(CountOf("dwm_star_relations WHERE foreign_table NOT IN (SELECT table_name FROM "
                      "dwm_tables) OR primary_table NOT IN (SELECT table_name FROM dwm_tables)"),
              0);
    EXPECT_EQ(MissingColumns("dwm_tables", "table_name,table_type,where_clause,is_selected") +
                  MissingColumns("dwm_star_relations",
                                 "selected,foreign_table,foreign_columns,primary_table,"
                                 "primary_columns,slow_moving_dim,original_primary_key"),
              "");
    for (const std::string& table :
         Rows("SELECT table_name FROM dwm_tables WHERE table_type='dimension'")) {
        EXPECT_EQ(MissingColumns(table, "is_sustainable,is_deletable"), "");
    }
    for (const std::string& table :
         Rows("SELECT table_name FROM dwm_tables WHERE table_type='fact'")) {
        EXPECT_GT(CountOf("pragma_index_list('" + table + "')"), 0) << table;
    }
    for (const std::string& row :
         Rows("SELECT foreign_table, foreign_columns, primary_table, primary_columns,"
              " original_primary_key FROM dwm_star_relations")) {
        const std::vector<std::string> part = Split(row, '|');
        EXPECT_EQ(MissingColumns(part[0], part[1]) + MissingColumns(part[2], part[3]) +
                      MissingColumns(part[2], part[4]),
                  "");
        EXPECT_EQ(SplitColumnList(part[1]).size(), SplitColumnList(part[3]).size()) << row;
    }
    EXPECT_EQ(MissingColumns("customer", "start_date,end_date,is_current"), "");
}

TEST_F(DemoWarehouse, HasIndexesOnSomeForeignColumnsOnly) {
    // The first column of a relation leads an index of the foreign table, or it does not.
    const std::string leads =
        "dwm_star_relations r WHERE %1 EXISTS (SELECT 1 FROM pragma_index_list(r.foreign_table) i,"
        " pragma_index_info(i.name) c WHERE c.seqno=0 AND r.foreign_columns||',' LIKE "
        "c.name||',%') AND r.foreign_columns %2 '%,%'";
    for (const std::string composite : {"LIKE", "NOT LIKE"}) {
        for (const std::string not_ : {"", "NOT"}) {
            std::string condition = leads;
            condition.replace(condition.find("%1"), 2, not_);
            condition.replace(condition.find("%2"), 2, composite);
            EXPECT_GT(CountOf(condition), 0) << condition;
        }
    }
    EXPECT_EQ(Rows("SELECT group_concat(name) FROM pragma_index_info('ix_customer_element')"),
              std::vector<std::string>{"customer_id,start_date"});
    // One fact table has no primary key.
    EXPECT_EQ(CountOf("pragma_table_info('shipments') WHERE pk > 0"), 0);
}

TEST_F(DemoWarehouse, HasUnusedElementsInEverySelectedDimension) {
    for (const std::string& table :
         Rows("SELECT table_name FROM dwm_tables WHERE table_type='dimension' AND is_selected=1"
              " AND table_name <> 'employee'")) {
        const auto unused = static_cast<double>(CountOf("unused_" + table));
        const double share = unused / static_cast<double>(CountOf(table));
        EXPECT_GE(share, 0.05) << table;
        EXPECT_LE(share, 0.20) << table;
    }
}

TEST_F(DemoWarehouse, HandsDisuseOnFromDimensionToDimension) {
    // Referred to, but by unused elements alone.
    EXPECT_GT(CountOf("unused_brand u JOIN product USING (brand_key)"), 0);
    EXPECT_GT(CountOf("unused_department u JOIN category c USING (department_key)"
                      " JOIN product USING (category_key)"),
              0);
    EXPECT_GT(CountOf("unused_customer_segment JOIN customer USING (segment_key)"), 0);
    EXPECT_GT(CountOf("unused_geography JOIN unused_store JOIN store USING (store_key)"
                      " WHERE store.geography_key = unused_geography.geography_key"),
              0);
    // A sustained element keeps what it refers to.
    EXPECT_GT(CountOf("brand b WHERE brand_key NOT IN unused_brand AND NOT EXISTS"
                      " (SELECT 1 FROM product p JOIN sales USING (product_key)"
                      "  WHERE p.brand_key = b.brand_key)"),
              0);
}

TEST_F(DemoWarehouse, HasPlacesThatEachKindOfReferrerAloneKeeps) {
    const std::string sold = "geography_key IN (SELECT geography_key FROM sales)";
    const std::string shipped =
        "geography_key IN (SELECT destination_geography_key FROM shipments)";
    const std::string shop = "geography_key IN (SELECT geography_key FROM kept_store)";
    const std::string carrier =
        "geography_key IN (SELECT home_geography_key FROM carrier"
        " WHERE is_deletable = 0)";
    const std::vector<std::string> all = {sold, shipped, shop, carrier};
    for (const std::string& alone : all) {
        std::string condition = "geography WHERE " + alone;
        for (const std::string& other : all) {
            condition += &other == &alone ? "" : " AND NOT " + other;
        }
        EXPECT_GT(CountOf(condition), 0) << condition;
    }
    // The unselected dimension carries marks, which do not keep.
    EXPECT_GT(CountOf("unused_geography JOIN carrier ON home_geography_key = geography_key"), 0);
    // Stores that only employees keep; the employees refer to each other.
    EXPECT_GT(CountOf("kept_store WHERE store_key NOT IN (SELECT store_key FROM sales)"), 0);
    EXPECT_GT(CountOf("employee e JOIN employee m ON e.manager_key = m.employee_key"), 0);
    EXPECT_EQ(CountOf("employee WHERE manager_key NOT IN (SELECT employee_key FROM employee)"), 0);
}

TEST_F(DemoWarehouse, HasPromotionsThatOnlyBothColumnsTogetherTellApart) {
    const std::string referred = "(SELECT * FROM advertised UNION SELECT * FROM freighted)";
    EXPECT_GT(CountOf("unused_promotion WHERE promotion_code IN (SELECT promotion_code FROM " +
                      referred + ") AND region_code IN (SELECT region_code FROM " + referred + ")"),
              0);
    // Some are in use only in another letter case, some only by one of the two fact tables, and
    // facts without any are there too.
    EXPECT_GT(CountOf("promotion p WHERE (promotion_code, region_code) IN advertised AND NOT EXISTS"
                      " (SELECT 1 FROM advertised a WHERE a.promotion_code = p.promotion_code"
                      "  COLLATE BINARY)"),
              0);
    EXPECT_GT(CountOf("promotion WHERE (promotion_code, region_code) IN advertised"
                      " AND (promotion_code, region_code) NOT IN freighted"),
              0);
    EXPECT_GT(CountOf("promotion WHERE (promotion_code, region_code) NOT IN advertised"
                      " AND (promotion_code, region_code) IN freighted"),
              0);
    EXPECT_GT(CountOf("sales WHERE promotion_code IS NULL AND region_code IS NULL"), 0);
}

TEST_F(DemoWarehouse, HasCustomersWithHistoriesOfEveryKind) {
    // Versions adjoin, and the last one alone is current and open.
    EXPECT_EQ(CountOf("neighbours WHERE next_start IS NOT NULL"
                      " AND (end_date <> next_start OR is_current = 1 OR start_date >= end_date)"),
              0);
    EXPECT_EQ(CountOf("neighbours WHERE next_start IS NULL"
                      " AND (end_date <> '9999-12-31 00:00:00' OR is_current = 0)"),
              0);
    EXPECT_EQ(Rows("SELECT DISTINCT versions FROM neighbours ORDER BY 1"),
              (std::vector<std::string>{"1", "2", "3", "4", "5", "6"}));
    // Unused first, middle, last, next to each other, and altogether.
    EXPECT_GT(CountOf("neighbours WHERE unused AND unused_before IS NULL AND unused_after = 0"), 0);
    EXPECT_GT(CountOf("neighbours WHERE unused AND unused_before = 0 AND unused_after = 0"), 0);
    EXPECT_GT(CountOf("neighbours WHERE unused AND unused_before = 0 AND unused_after IS NULL"), 0);
    for (const std::string end : {"unused_after IS NULL", "unused_after = 0"}) {
        EXPECT_GT(CountOf("neighbours WHERE unused AND unused_before = 1 AND customer_id IN"
                          " (SELECT customer_id FROM history WHERE NOT unused) AND " +
                          end),
                  0)
            << end;
    }
    EXPECT_GT(CountOf("(SELECT 1 FROM history GROUP BY customer_id HAVING min(unused) = 1"
                      " AND count(*) > 1)"),
              0);
    EXPECT_EQ(CountOf("sales JOIN customer USING (customer_key)"
                      " WHERE order_date < start_date OR order_date >= end_date"),
              0);
}

TEST_F(DemoWarehouse, SustainsElementsThatWouldGo) {
    EXPECT_GT(CountOf("customer WHERE is_sustainable = 1"
                      " AND customer_key NOT IN (SELECT customer_key FROM sales)"),
              0);
    EXPECT_GT(CountOf("product WHERE is_sustainable = 1"
                      " AND product_key NOT IN (SELECT product_key FROM sales)"),
              0);
    // Marks of an earlier run, on elements sustained since, are there to be taken back.
    EXPECT_GT(CountOf("product WHERE is_sustainable = 1 AND is_deletable = 1"), 0);
    EXPECT_EQ(CountOf("product WHERE is_sustainable = 0 AND is_deletable = 1"), 0);
}

TEST_F(DemoWarehouse, HasOldFactsWhoseArchivingLeavesMoreUnused) {
    EXPECT_EQ(Rows("SELECT table_name, where_clause FROM dwm_tables WHERE where_clause IS NOT NULL"
                   " ORDER BY table_name"),
              (std::vector<std::string>{
                  "sales|order_date < '2019-01-01'",
                  "shipments|ship_date < dateadd(year, -6, '2026-01-01')",
              }));
    for (const std::string old :
         {"sales WHERE order_date < '2019-01-01'", "shipments WHERE ship_date < '2020-01-01'"}) {
        EXPECT_GT(CountOf(old), 0) << old;
        EXPECT_LT(CountOf(old) * 2, CountOf(old.substr(0, old.find(' ')))) << old;
    }
    EXPECT_GT(CountOf("customer WHERE is_sustainable = 0 AND customer_key NOT IN"
                      " (SELECT customer_key FROM sales WHERE order_date >= '2019-01-01')"),
              CountOf("unused_customer"));
}

}  // namespace
}  // namespace morvane::testing
