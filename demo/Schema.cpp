// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <string>
#include <string_view>

#include "demo/Tables.h"

namespace morvane::demo {

namespace {

// SQL Server's default collation ignores case, so key columns and names of tables and columns get
// COLLATE NOCASE.
constexpr const char* kMetaTables = R"(
CREATE TABLE dwm_tables (
    table_name varchar(128) COLLATE NOCASE NOT NULL,
    table_type varchar(20) COLLATE NOCASE NOT NULL,
    where_clause varchar(8000) NULL,
    is_selected bit NULL,
    CONSTRAINT pk_dwm_tables PRIMARY KEY (table_name));
CREATE TABLE dwm_star_relations (
    selected bit NOT NULL,
    foreign_table varchar(128) COLLATE NOCASE NOT NULL,
    foreign_columns varchar(1000) COLLATE NOCASE NOT NULL,
    primary_table varchar(128) COLLATE NOCASE NOT NULL,
    primary_columns varchar(1000) COLLATE NOCASE NOT NULL,
    slow_moving_dim bit NOT NULL,
    original_primary_key varchar(1000) COLLATE NOCASE NULL,
    CONSTRAINT pk_dwm_star_relations PRIMARY KEY
        (foreign_table, foreign_columns, primary_table));
)";

// %control is replaced by the control columns.
constexpr const char* kDimensions = R"(
CREATE TABLE calendar (
    date_key int NOT NULL,
    calendar_date datetime NOT NULL,
    calendar_year smallint NOT NULL,
    month_number tinyint NOT NULL,
    month_name varchar(12) NOT NULL,
    weekday_name varchar(12) NOT NULL,
    is_weekend bit NOT NULL,%control
    CONSTRAINT pk_calendar PRIMARY KEY (date_key));
CREATE TABLE geography (
    geography_key int NOT NULL,
    country_code varchar(2) COLLATE NOCASE NOT NULL,
    postal_code varchar(12) COLLATE NOCASE NOT NULL,
    city nvarchar(60) NOT NULL,
    region_code varchar(10) COLLATE NOCASE NOT NULL,
    population int NULL,%control
    CONSTRAINT pk_geography PRIMARY KEY (geography_key));
CREATE TABLE department (
    department_key smallint NOT NULL,
    department_name nvarchar(40) NOT NULL,%control
    CONSTRAINT pk_department PRIMARY KEY (department_key));
CREATE TABLE category (
    category_key smallint NOT NULL,
    category_name nvarchar(60) NOT NULL,
    department_key smallint NOT NULL,%control
    CONSTRAINT pk_category PRIMARY KEY (category_key));
CREATE TABLE brand (
    brand_key int NOT NULL,
    brand_name nvarchar(60) COLLATE NOCASE NOT NULL,%control
    CONSTRAINT pk_brand PRIMARY KEY (brand_key));
CREATE TABLE product (
    product_key int NOT NULL,
    sku varchar(16) COLLATE NOCASE NOT NULL,
    product_name nvarchar(80) NOT NULL,
    brand_key int NOT NULL,
    category_key smallint NOT NULL,
    list_price money NOT NULL,
    weight_kg decimal(9,3) NULL,
    launch_date datetime NOT NULL,%control
    CONSTRAINT pk_product PRIMARY KEY (product_key));
CREATE TABLE store (
    store_key int NOT NULL,
    store_code varchar(10) COLLATE NOCASE NOT NULL,
    store_name nvarchar(80) NOT NULL,
    geography_key int NOT NULL,
    floor_area decimal(9,2) NOT NULL,
    opening_date datetime NOT NULL,%control
    CONSTRAINT pk_store PRIMARY KEY (store_key));
CREATE TABLE employee (
    employee_key int NOT NULL,
    employee_name nvarchar(80) NOT NULL,
    manager_key int NULL,
    store_key int NOT NULL,
    hire_date datetime NOT NULL,
    commission_rate float NULL,%control
    CONSTRAINT pk_employee PRIMARY KEY (employee_key));
CREATE TABLE promotion (
    promotion_code varchar(20) COLLATE NOCASE NOT NULL,
    region_code varchar(10) COLLATE NOCASE NOT NULL,
    description nvarchar(120) NULL,
    discount_rate decimal(5,3) NOT NULL,
    first_day datetime NOT NULL,%control
    CONSTRAINT pk_promotion PRIMARY KEY (promotion_code, region_code));
CREATE TABLE customer_segment (
    segment_key smallint NOT NULL,
    segment_name nvarchar(40) NOT NULL,%control
    CONSTRAINT pk_customer_segment PRIMARY KEY (segment_key));
CREATE TABLE customer (
    customer_key int NOT NULL,
    customer_id varchar(12) COLLATE NOCASE NOT NULL,
    customer_name nvarchar(80) NOT NULL,
    segment_key smallint NOT NULL,
    credit_limit money NULL,
    start_date datetime NOT NULL,
    end_date datetime NOT NULL,
    is_current bit NOT NULL,%control
    CONSTRAINT pk_customer PRIMARY KEY (customer_key));
CREATE TABLE carrier (
    carrier_key smallint NOT NULL,
    carrier_name nvarchar(60) NOT NULL,
    home_geography_key int NOT NULL,%control
    CONSTRAINT pk_carrier PRIMARY KEY (carrier_key));
)";

constexpr const char* kControlColumns = R"(
    is_sustainable bit NOT NULL DEFAULT 0,
    is_deletable bit NOT NULL DEFAULT 0,)";

constexpr const char* kFacts = R"(
CREATE TABLE sales (
    sale_id bigint NOT NULL,
    order_date datetime NOT NULL,
    date_key int NOT NULL,
    product_key int NOT NULL,
    store_key int NOT NULL,
    customer_key int NOT NULL,
    geography_key int NOT NULL,
    employee_key int NULL,
    promotion_code varchar(20) COLLATE NOCASE NULL,
    region_code varchar(10) COLLATE NOCASE NULL,
    quantity smallint NOT NULL,
    unit_price money NOT NULL,
    is_online bit NOT NULL,
    CONSTRAINT pk_sales PRIMARY KEY (sale_id));
CREATE TABLE shipments (
    sale_id bigint NOT NULL,
    ship_date datetime NOT NULL,
    date_key int NOT NULL,
    product_key int NOT NULL,
    carrier_key smallint NOT NULL,
    destination_geography_key int NOT NULL,
    promotion_code varchar(20) COLLATE NOCASE NULL,
    region_code varchar(10) COLLATE NOCASE NULL,
    weight_kg decimal(9,3) NOT NULL,
    freight money NOT NULL,
    delivery_date datetime NULL);
CREATE TABLE inventory (
    snapshot_date datetime NOT NULL,
    store_key int NOT NULL,
    product_key int NOT NULL,
    date_key int NOT NULL,
    on_hand int NOT NULL,
    on_order int NOT NULL,
    stock_value decimal(12,2) NOT NULL,
    CONSTRAINT pk_inventory PRIMARY KEY (snapshot_date, store_key, product_key));
)";

// Only some of the foreign columns have an index, as in real warehouses.
constexpr const char* kIndexes = R"(
CREATE INDEX ix_product_brand ON product (brand_key);
CREATE INDEX ix_employee_store ON employee (store_key);
CREATE INDEX ix_customer_element ON customer (customer_id, start_date);
CREATE INDEX ix_sales_product ON sales (product_key);
CREATE INDEX ix_sales_customer ON sales (customer_key);
CREATE INDEX ix_sales_promotion ON sales (promotion_code, region_code);
CREATE INDEX ix_shipments_sale ON shipments (sale_id);
CREATE INDEX ix_shipments_destination ON shipments (destination_geography_key);
CREATE INDEX ix_inventory_date ON inventory (date_key);
)";

struct TableRow {
    const char* Name;
    const char* Type;
    OrNull<const char*> WhereClause;
    OrNull<bool> IsSelected;
};

constexpr OrNull<const char*> kNoCondition = {nullptr, true};

// Fact tables have all three values of is_selected, which is meaningless for them.
constexpr std::array<TableRow, 15> kTableRows = {{
    {"sales", "FACT", {"order_date < '2019-01-01'"}, {true}},
    {"shipments", "FACT", {"ship_date < dateadd(year, -6, '2026-01-01')"}, {false}},
    {"inventory", "FACT", kNoCondition, {false, true}},
    {"calendar", "DIMENSION", kNoCondition, {true}},
    {"geography", "DIMENSION", kNoCondition, {true}},
    {"department", "DIMENSION", kNoCondition, {true}},
    {"category", "DIMENSION", kNoCondition, {true}},
    {"brand", "DIMENSION", kNoCondition, {true}},
    {"product", "DIMENSION", kNoCondition, {true}},
    {"store", "DIMENSION", kNoCondition, {true}},
    {"employee", "DIMENSION", kNoCondition, {true}},
    {"promotion", "DIMENSION", kNoCondition, {true}},
    {"customer_segment", "Dimension", kNoCondition, {true}},
    {"customer", "DIMENSION", kNoCondition, {true}},
    {"carrier", "DIMENSION", kNoCondition, {false}},
}};

struct RelationRow {
    const char* ForeignTable;
    const char* ForeignColumns;
    const char* PrimaryTable;
    const char* PrimaryColumns;
    bool SlowMoving;
    const char* OriginalKey;  // not NULL: the reports need it
};

constexpr std::array<RelationRow, 23> kRelationRows = {{
    {"sales", "date_key", "calendar", "date_key", false, "calendar_date"},
    {"shipments", "date_key", "calendar", "date_key", false, "calendar_date"},
    {"inventory", "date_key", "calendar", "date_key", false, "calendar_date"},
    {"sales", "product_key", "product", "product_key", false, "sku"},
    {"shipments", "product_key", "product", "product_key", false, "sku"},
    {"inventory", "product_key", "product", "product_key", false, "sku"},
    {"product", "brand_key", "brand", "brand_key", false, "brand_name"},
    {"product", "category_key", "category", "category_key", false, "category_key"},
    {"category", "department_key", "department", "department_key", false, "department_key"},
    {"sales", "store_key", "store", "store_key", false, "store_code"},
    {"inventory", "store_key", "store", "store_key", false, "store_code"},
    {"employee", "store_key", "store", "store_key", false, "store_code"},
    {"sales", "employee_key", "employee", "employee_key", false, "employee_key"},
    {"employee", "manager_key", "employee", "employee_key", false, "employee_key"},
    {"sales", "customer_key", "customer", "customer_key", true, "customer_id"},
    {"customer", "segment_key", "customer_segment", "segment_key", false, "segment_key"},
    {"sales", "promotion_code,region_code", "promotion", "promotion_code,region_code", false,
     "promotion_code,region_code"},
    {"shipments", "promotion_code,region_code", "promotion", "promotion_code,region_code", false,
     "promotion_code,region_code"},
    {"sales", "geography_key", "geography", "geography_key", false, "country_code,postal_code"},
    {"shipments", "destination_geography_key", "geography", "geography_key", false,
     "country_code,postal_code"},
    {"store", "geography_key", "geography", "geography_key", false, "country_code,postal_code"},
    {"carrier", "home_geography_key", "geography", "geography_key", false,
     "country_code,postal_code"},
    {"shipments", "carrier_key", "carrier", "carrier_key", false, "carrier_key"},
}};

std::string WithControlColumns(std::string ddl) {
    constexpr std::string_view mark = "%control";
    for (auto at = ddl.find(mark); at != std::string::npos; at = ddl.find(mark, at)) {
        ddl.replace(at, mark.size(), kControlColumns);
    }
    return ddl;
}

}  // namespace

void MakeTables(SqliteFile& file) {
    file.Execute(kMetaTables);
    file.Execute(WithControlColumns(kDimensions));
    file.Execute(kFacts);
    Inserter tables(file, "dwm_tables", 4);
    for (const TableRow& row : kTableRows) {
        tables.Row(row.Name, row.Type, row.WhereClause, row.IsSelected);
    }
    Inserter relations(file, "dwm_star_relations", 7);
    for (const RelationRow& row : kRelationRows) {
        relations.Row(true, row.ForeignTable, row.ForeignColumns, row.PrimaryTable,
                      row.PrimaryColumns, row.SlowMoving, row.OriginalKey);
    }
}

void MakeIndexes(SqliteFile& file) {
    file.Execute(kIndexes);
}

}  // namespace morvane::demo
