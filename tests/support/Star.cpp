// SPDX-License-Identifier: Apache-2.0
#include "support/Star.h"

#include "base/Text.h"

namespace morvane::testing {

std::vector<std::string> StarStatements() {
    return {
        "create table product(product_id int primary key, name varchar(40),"
        " is_sustainable bit default 0, is_deletable bit default 0)",
        "create table customer(customer_key int primary key, customer_id int,"
        " town varchar(40), start_date datetime, end_date datetime, is_current bit,"
        " is_sustainable bit default 0, is_deletable bit default 0)",
        "create table sales(product_id int, customer_key int, amount int)",
        "create index ix_sales on sales(product_id)",
        "insert into dwm_tables values ('product','DIMENSION',null,1),"
        "('customer','DIMENSION',null,1),('sales','FACT','amount > 5',1)",
        "insert into dwm_star_relations values"
        " (1,'sales','product_id','product','product_id',0,'product_id'),"
        "(1,'sales','customer_key','customer','customer_key',1,'customer_id')",
        "insert into product(product_id, name) values (1,'pen'),(2,'ink'),(3,'cap'),(4,'nib')",
        "insert into customer(customer_key, customer_id, town, start_date, end_date,"
        " is_current) values (1,7,'Ulm','2020-01-01 00:00:00','2021-01-01 00:00:00',0),"
        "(2,7,'Bonn','2021-01-01 00:00:00','2022-01-01 00:00:00',0),"
        "(3,7,'Kiel','2022-01-01 00:00:00','2023-01-01 00:00:00',0),"
        "(4,7,'Trier','2023-01-01 00:00:00',null,1),(5,8,'Jena','2020-01-01 00:00:00',null,1),"
        "(6,9,'Hof','2020-01-01 00:00:00','2021-01-01 00:00:00',0),"
        "(7,9,'Gera','2021-01-01 00:00:00',null,1)",
        "insert into sales values (1,1,10),(3,3,2)"};
}

void FillStar(const TestWarehouse& warehouse) {
    warehouse.Run(Join(StarStatements(), ";"));
}

std::string Products(const TestWarehouse& warehouse) {
    return warehouse.Text("SELECT product_id, name FROM product ORDER BY 1");
}

}  // namespace morvane::testing
