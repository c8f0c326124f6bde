// SPDX-License-Identifier: Apache-2.0
#include "support/Star.h"

namespace morvane::testing {

void FillStar(const TestWarehouse& warehouse) {
    warehouse.AddDimension("product", "product_id int PRIMARY KEY, name varchar(40)");
    warehouse.AddSlowMovingDimension(
        "customer", "customer_key int PRIMARY KEY, customer_id int, town varchar(40)");
    warehouse.AddFact("sales", "product_id int, customer_key int, amount int", "amount > 5");
    warehouse.AddRelation("sales", "product_id", "product", "product_id", false, "product_id");
    warehouse.AddRelation("sales", "customer_key", "customer", "customer_key", true, "customer_id");
    warehouse.Run(
        "INSERT INTO product(product_id, name) VALUES(1,'pen'),(2,'ink'),(3,'cap'),(4,'nib');"
        "CREATE TEMP TABLE version(key, id, town, first, next);"
        "INSERT INTO version VALUES(1,7,'Ulm',2020,2021),(2,7,'Bonn',2021,2022),"
        "(3,7,'Kiel',2022,2023),(4,7,'Trier',2023,NULL),(5,8,'Jena',2020,NULL),"
        "(6,9,'Hof',2020,2021),(7,9,'Gera',2021,NULL);"
        "INSERT INTO customer SELECT key, id, town, first || '-01-01 00:00:00',"
        " next || '-01-01 00:00:00', next IS NULL, 0, 0 FROM version;"
        "INSERT INTO sales VALUES(1,1,10),(3,3,2)");
}

std::string Products(const TestWarehouse& warehouse) {
    return warehouse.Text("SELECT product_id, name FROM product ORDER BY 1");
}

}  // namespace morvane::testing
