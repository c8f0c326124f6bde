// SPDX-License-Identifier: Apache-2.0
#include "inspect/Inspect.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "base/Platform.h"
#include "base/modFileFunctions.h"
#include "db/ConnectionFactory.h"
#include "support/SqliteFile.h"
#include "support/Star.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

class InspectProgram : public ::testing::Test {
  protected:
    InspectProgram() { FillStar(warehouse); }

    // Runs the program on the warehouse and keeps what it writes.
    int Run(std::vector<std::string> words, bool withLogin = true) {
        out.str("");
        errors.str("");
        if (withLogin) {
            words.insert(words.end(), {"-mac", warehouse.Server(), "-db", "dw"});
        }
        const InspectServices services{.Connect = CreateConnection,
                                       .Passwords = {},
                                       .Report = [](const std::string&) {},
                                       .Output = out,
                                       .Errors = errors};
        return static_cast<int>(Inspect(words, services));
    }

    TestWarehouse warehouse;
    std::ostringstream out;
    std::ostringstream errors;
};

TEST_F(InspectProgram, RefusesInvalidArguments) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "no subcommand"},
        {{"look"}, "unknown subcommand look"},
        {{"plan", "x"}, "unexpected argument x"},
        {{"plan", "-del"}, "unknown option -del"},
        {{"plan", "--list"}, "--list is an option of verify"},
        {{"plan", "--format", "xml"}, "--format is text, json or csv"},
        {{"why", "product"}, "why needs a table and the key"},
        {{"why", "shop", "1"}, "no dimension \"shop\""},
        {{"why", "product", "1", "2"}, "has 1 columns (product_id), not 2"},
        {{"why", "product", "99"}, "product has no element with product_id = 99"},
    };
    for (const auto& [words, message] : cases) {
        EXPECT_EQ(Run(words), 2) << message;
        EXPECT_NE(errors.str().find(message), std::string::npos) << errors.str();
        EXPECT_EQ(out.str(), "");
    }
    EXPECT_EQ(Run({"plan", "-db", "dw"}, false), 2);
    EXPECT_NE(errors.str().find("-mac and -db are needed"), std::string::npos);
    EXPECT_EQ(Run({"plan", "-mac", "sqlite:/nowhere", "-db"}, false), 2);
    warehouse.Run("UPDATE dwm_tables SET table_type = 'SHOP' WHERE table_type = 'FACT'");
    EXPECT_EQ(Run({"plan"}), 2);
    EXPECT_NE(errors.str().find("table_type  Incorrect"), std::string::npos) << errors.str();
}

TEST_F(InspectProgram, ReadsWithoutWritingOrLocking) {
    warehouse.MakeLock(true, "anna");
    const std::string before = ReadWholeFile(warehouse.File());
    std::filesystem::permissions(warehouse.File(), std::filesystem::perms::owner_read);
    EXPECT_EQ(Run({"plan", "--format", "csv"}), 1);
    EXPECT_EQ(out.str(),
              "table,type,rows,archived,unused_now,unused_after,whole_now,whole_rows_now,"
              "whole_after,whole_rows_after,relinked_now,relinked_after,not_marked\r\n"
              "sales,fact,2,1,,,,,,,,,\r\n"
              "product,dimension,4,,2,3,,,,,,,\r\n"
              "customer,slowly moving,7,,5,6,2,3,2,3,1,1,\r\n")
        << errors.str();
    EXPECT_EQ(Run({"why", "customer", "customer_id=7", "customer_key=3"}), 0);
    EXPECT_TRUE(Contains(out.str(), "reason:          referred to by 1 of sales\n"));
    EXPECT_TRUE(Contains(out.str(), "The warehouse is locked by anna"));
    EXPECT_EQ(Run({"why", "product", "2", "--format=json"}), 1);
    EXPECT_TRUE(Contains(out.str(), "\"reason\": \"nothing refers to it\""));
    EXPECT_EQ(Run({"verify"}), 0) << out.str();
    EXPECT_EQ(Run({"lock"}), 1);
    EXPECT_TRUE(Contains(
        out.str(), "UPDATE dwm_multiuse SET lock = 0, user_name = '" + CurrentUserName() + "'"));
    EXPECT_EQ(ReadWholeFile(warehouse.File()), before);
}

TEST_F(InspectProgram, SaysWhatTheNextRunDoesIfTheLockIsFree) {
    EXPECT_EQ(Run({"lock"}), 0);
    EXPECT_TRUE(Contains(out.str(), "the first run of any user takes the lock"));
    warehouse.MakeLock(false, "anna");
    EXPECT_EQ(Run({"lock", "--format", "csv"}), 0);
    EXPECT_TRUE(Contains(out.str(), "An unattended run of another user does nothing"));
    warehouse.Run("UPDATE dwm_multiuse SET user_name = ''");
    EXPECT_EQ(Run({"lock"}), 0);
    EXPECT_TRUE(Contains(out.str(), "The next run of any user takes the lock."));
}

TEST_F(InspectProgram, ExplainsWhyATableIsNotMarked) {
    warehouse.Run("UPDATE product SET is_sustainable = 1 WHERE product_id = 4");
    warehouse.AddDimension("lone", "id int");
    warehouse.AddDimension("other", "id int", false);
    warehouse.AddDimension("tree", "id int, parent int");
    warehouse.Run(
        "INSERT INTO lone(id) VALUES(1); INSERT INTO other(id) VALUES(1);"
        "INSERT INTO tree(id) VALUES(1)");
    warehouse.AddRelation("sales", "amount", "other", "id");
    warehouse.AddRelation("tree", "parent", "tree", "id");
    const std::array<std::array<std::string, 3>, 4> cases = {{
        {"product", "product_id=4", "sustained"},
        {"lone", "id=1", "no relation refers to the table"},
        {"other", "id=1", "not selected"},
        {"tree", "id=1", "its table refers to itself"},
    }};
    for (const auto& [table, key, reason] : cases) {
        EXPECT_EQ(Run({"why", table, key}), 0) << errors.str();
        EXPECT_TRUE(Contains(out.str(), "reason:          " + reason + "\n"));
    }
}

TEST_F(InspectProgram, FindsEachKindOfDamage) {
    const std::pair<std::string, std::string> damages[] = {
        {"INSERT INTO sales VALUES(99,1,3)", "orphans,sales,1,rows refer to 1 keys"},
        {"INSERT INTO sales VALUES(NULL,1,3)", ""},
        {"CREATE TABLE p AS SELECT * FROM product; DROP TABLE product;"
         "CREATE TABLE product AS SELECT * FROM p UNION ALL SELECT * FROM p WHERE product_id = 1",
         "doubles,product,1,"},
        {"UPDATE customer SET is_current = 0 WHERE customer_key = 5", "no_current,customer,1,"},
        {"UPDATE customer SET is_current = 1 WHERE customer_key = 1",
         "several_current,customer,1,"},
        {"UPDATE customer SET end_date = '2020-06-01' WHERE customer_key = 1", "gaps,customer,1,"},
        {"UPDATE customer SET end_date = NULL WHERE customer_key = 1", "overlaps,customer,1,"},
        {"UPDATE customer SET end_date = '2019-01-01' WHERE customer_key = 4",
         "reversed,customer,1,"},
        {"UPDATE product SET is_deletable = 1 WHERE product_id IN (1, 2)",
         "marked_in_use,product,1,"},
        {"UPDATE dwm_tables SET is_selected = 0; UPDATE product SET is_deletable = 1 WHERE "
         "product_id = 1",
         "marked_in_use,product,1,"},
        {"ALTER TABLE sales RENAME COLUMN product_id TO x; ALTER TABLE sales ADD product_id "
         "varchar(9)",
         "types,sales,1,"},
    };
    const std::string original = ReadWholeFile(warehouse.File());
    for (const auto& [damage, finding] : damages) {
        warehouse.Run(damage);
        EXPECT_EQ(Run({"verify", "--format", "csv", "--list"}), finding.empty() ? 0 : 1) << damage;
        EXPECT_TRUE(Contains(out.str(), "check,table,count,detail,key\r\n" + finding))
            << errors.str();
        TextFile(warehouse.File()).Write(original);
    }
    EXPECT_EQ(Run({"verify"}), 0);
}

TEST_F(InspectProgram, ComparesTheFactTablesThatHaveAUsableArchive) {
    warehouse.AddFact("returns", "product_id int, amount int");
    warehouse.Run(
        "CREATE TABLE dwm_archive AS SELECT 1 AS ID, '" + warehouse.Server() +
        "' AS Server, 1 AS SecureLogin, NULL AS SQLUserName, NULL AS SQLPassword, 'hist' AS DB");
    const SqliteFile archive(warehouse.Folder() + "/hist.db");
    archive.Run(
        "CREATE TABLE returns(product_id int);"
        "CREATE TABLE sales(product_id int, customer_key int, amount int, archived datetime);"
        "INSERT INTO sales VALUES(1,1,10,'2024-01-01 00:00:00')");
    EXPECT_EQ(Run({"verify"}), 1);
    EXPECT_TRUE(Contains(out.str(), "Not checked: the archive table returns: ")) << out.str();
    EXPECT_TRUE(Contains(out.str(), "in_archive  sales      1  rows that are in the archive"));
    warehouse.Run("UPDATE dwm_archive SET DB = 'dw', Server = Server || '/.'");
    EXPECT_EQ(Run({"verify"}), 0);
    EXPECT_TRUE(Contains(out.str(), "the archive: dwm_archive names the warehouse itself"));
}

TEST_F(InspectProgram, NamesColumnsWithoutAnIndex) {
    EXPECT_EQ(Run({"plan"}), 1);
    EXPECT_TRUE(Contains(out.str(), "CREATE INDEX ix_sales_customer_key ON sales (customer_key)"));
    EXPECT_TRUE(Contains(out.str(), "ON customer (customer_id)"));
    EXPECT_FALSE(Contains(out.str(), "ix_sales_product_id"));
    warehouse.Run(
        "CREATE INDEX a ON sales(customer_key, amount);"
        "CREATE INDEX b ON customer(customer_id)");
    EXPECT_EQ(Run({"plan"}), 1);
    EXPECT_FALSE(Contains(out.str(), "CREATE INDEX")) << out.str();
}

}  // namespace
}  // namespace morvane::testing
