// SPDX-License-Identifier: Apache-2.0
#include "Site.h"

#include <filesystem>

#include "support/RunFixture.h"
#include "support/SqliteFile.h"

namespace morvane::testing {

namespace {

void AddTables(const TestWarehouse& warehouse) {
    warehouse.AddDimension("maker", "maker_id int PRIMARY KEY");
    warehouse.AddDimension("brand", "brand_id int PRIMARY KEY, maker_id int");
    warehouse.AddDimension("product", "product_id int PRIMARY KEY, brand_id int");
    warehouse.AddDimension("store", "region varchar(10), store_no int, name varchar(20)");
    warehouse.AddDimension("segment", "segment_id int PRIMARY KEY");
    warehouse.AddDimension("employee", "employee_id int PRIMARY KEY, boss_id int");
    warehouse.AddDimension("carrier", "carrier_id int PRIMARY KEY", false);
    warehouse.AddSlowMovingDimension(
        "customer", "customer_key int PRIMARY KEY, customer_id int, segment_id int");
    warehouse.AddSlowMovingDimension(
        "contract", "contract_key int PRIMARY KEY, tenant varchar(10) COLLATE NOCASE, number int");
    warehouse.AddFact("sales",
                      "sale_id int NOT NULL, product_id int, region varchar(10), store_no int,"
                      " customer_key int, employee_id int, sold datetime,"
                      " CONSTRAINT pk_sales PRIMARY KEY(sale_id)",
                      "sold < '20200101'");
    warehouse.AddFact("shipments",
                      "product_id int, contract_key int, carrier_id int, shipped datetime",
                      "datepart(year, shipped) < 2020");
    warehouse.AddFact("stock", "region varchar(10), store_no int, pieces int");
}

void AddRelations(const TestWarehouse& warehouse) {
    warehouse.Relate(
        {"sales product_id product product_id", "shipments product_id product product_id",
         "product brand_id brand brand_id", "brand maker_id maker maker_id",
         "sales region,store_no store region,store_no",
         "stock region,store_no store region,store_no", "sales employee_id employee employee_id",
         "employee boss_id employee employee_id", "shipments carrier_id carrier carrier_id",
         "customer segment_id segment segment_id"});
    warehouse.AddRelation("sales", "customer_key", "customer", "customer_key", true, "customer_id");
    warehouse.AddRelation("shipments", "contract_key", "contract", "contract_key", true,
                          "tenant, number");
}

// Some rows are used only by facts that are archived, some only by rows that are deleted, some are
// sustained. A carrier is marked from the start.
void FillPlainDimensions(const TestWarehouse& warehouse) {
    warehouse.Run(
        "INSERT INTO maker VALUES(1,0,0),(2,0,0),(3,1,0);"
        "INSERT INTO brand VALUES(1,1,0,0),(2,2,0,1),(3,1,1,0);"
        "INSERT INTO product VALUES(1,1,0,0),(2,1,0,0),(3,2,0,0),(4,2,0,0),(5,1,1,1);"
        "INSERT INTO store VALUES('north',1,'a',0,0),('north',2,'b',0,0),('south',1,'c',0,0),"
        "('south',2,'d',1,0),('east',NULL,'e',0,0);"
        "INSERT INTO segment VALUES(1,0,0),(2,0,0);"
        "INSERT INTO employee VALUES(1,1,0,0),(2,1,0,0);"
        "INSERT INTO carrier VALUES(1,0,1),(2,0,0)");
}

// Customer 1 loses its first version, 2 one in the middle, 3 two in a row, 4 its first two, 8 its
// last, 9 one whose facts are archived. Customers 6 and 7 lose all versions, 10 has a sustained
// one. Contracts lose only current versions.
void FillHistories(const TestWarehouse& warehouse) {
    warehouse.Run(
        "CREATE TEMP TABLE version(k, id, segment, first, next);"
        "INSERT INTO version VALUES(11,1,1,2015,2016),(12,1,1,2016,2018),(13,1,1,2018,9999),"
        "(21,2,1,2015,2016),(22,2,1,2016,2018),(23,2,1,2018,9999),"
        "(31,3,1,2015,2016),(32,3,1,2016,2017),(33,3,1,2017,2018),(34,3,1,2018,9999),"
        "(41,4,1,2015,2016),(42,4,1,2016,2017),(43,4,1,2017,9999),"
        "(51,5,1,2015,2016),(52,5,1,2016,9999),(61,6,2,2015,2016),(62,6,2,2016,9999),"
        "(71,7,2,2015,9999),(81,8,1,2015,2016),(82,8,1,2016,9999),"
        "(91,9,1,2015,2016),(92,9,1,2016,9999),(101,10,1,2015,2016),(102,10,1,2016,9999);"
        "INSERT INTO customer SELECT k, id, segment, first || '-01-01 00:00:00',"
        " next || '-01-01 00:00:00', next = 9999, k = 101, 0 FROM version;"
        "DELETE FROM version;"
        "INSERT INTO version VALUES(11,'a',1,2015,2017),(12,'A',1,2017,9999),"
        "(21,'a',2,2015,2016),(22,'a',2,2016,2017),(23,'a',2,2017,9999),"
        "(31,'b',1,2015,2016),(32,'b',1,2016,9999),(41,'b',2,2015,9999);"
        "INSERT INTO contract SELECT k, id, segment, first || '-01-01 00:00:00',"
        " next || '-01-01 00:00:00', next = 9999, 0, 0 FROM version");
}

void FillFacts(const TestWarehouse& warehouse) {
    warehouse.Run(
        "CREATE TEMP TABLE used(k); INSERT INTO used VALUES(12),(13),(21),(23),(31),(34),(43),(51),"
        "(52),(81),(92),(102);"
        "INSERT INTO sales SELECT row_number() OVER (), 1, 'north', 1, k, 2,"
        " '2021-06-30 12:30:00' FROM used;"
        "INSERT INTO sales VALUES(100,2,'north',2,91,1,'2019-12-31 23:59:59'),"
        "(101,1,'north',1,12,1,'2018-01-01 00:00:00'),(102,1,'north',1,12,2,NULL);"
        "INSERT INTO shipments VALUES(1,11,1,'2021-01-01 00:00:00'),(1,21,1,'2021-01-01 00:00:00'),"
        "(1,22,1,'2020-01-01 00:00:00'),(1,31,1,'2021-01-01 00:00:00'),"
        "(1,32,1,'2021-01-01 00:00:00'),(3,31,2,'2019-03-01 00:00:00'),"
        "(3,31,2,'2019-03-01 00:00:00'),(1,11,1,'2017-01-01 00:00:00');"
        "INSERT INTO stock VALUES('north',1,5),('south',1,7)");
}

}  // namespace

Site::Site(std::string folder) : folder_(std::move(folder)) {
    std::filesystem::create_directories(WarehouseFolder());
    std::filesystem::create_directories(ArchiveFolder());
}

void Site::Fill() const {
    const TestWarehouse warehouse;
    AddTables(warehouse);
    AddRelations(warehouse);
    FillPlainDimensions(warehouse);
    FillHistories(warehouse);
    FillFacts(warehouse);
    std::filesystem::copy_file(warehouse.File(), Warehouse());
    SqliteFile(Archive()).Run("PRAGMA user_version = 1");
}

void Site::CopyFrom(const Site& other) const {
    std::filesystem::copy_file(other.Warehouse(), Warehouse());
    std::filesystem::copy_file(other.Archive(), Archive());
}

RunSettings Site::EveryTask(bool linkedServer, bool atomicDeletion) const {
    RunSettings settings = testing::EveryTask("sqlite:" + WarehouseFolder(), Logs());
    AddArchiving(settings, "sqlite:" + ArchiveFolder(), linkedServer);
    settings.AtomicDeletion = atomicDeletion;
    settings.StatusMode = true;
    settings.StatusFileName = StatusFile();
    return settings;
}

}  // namespace morvane::testing
