#include "RunFixture.h"

#include "core/modFileFunctions.h"
#include "db/ConnectionFactory.h"
#include "support/Golden.h"

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
        "INSERT INTO customer(customer_key, customer_id, town, start_date, end_date, is_current)"
        " VALUES(1,7,'Ulm','2020-01-01 00:00:00','2021-01-01 00:00:00',0),"
        "(2,7,'Bonn','2021-01-01 00:00:00','2022-01-01 00:00:00',0),"
        "(3,7,'Kiel','2022-01-01 00:00:00','2023-01-01 00:00:00',0),"
        "(4,7,'Trier','2023-01-01 00:00:00',NULL,1),"
        "(5,8,'Jena','2020-01-01 00:00:00',NULL,1),"
        "(6,9,'Hof','2020-01-01 00:00:00','2021-01-01 00:00:00',0),"
        "(7,9,'Gera','2021-01-01 00:00:00',NULL,1);"
        "INSERT INTO sales VALUES(1,1,10),(3,3,2)");
}

std::string Products(const TestWarehouse& warehouse) {
    return warehouse.Text("SELECT product_id, name FROM product ORDER BY 1");
}

std::string Customers(const TestWarehouse& warehouse) {
    return warehouse.Text(
        "SELECT customer_key, customer_id, town, start_date, end_date, is_current FROM customer"
        " ORDER BY 1");
}

RunSettings EveryTask(const TestWarehouse& warehouse, const std::string& logFolder) {
    RunSettings settings;
    settings.Machine = warehouse.Server();
    settings.NTAuthentication = true;
    settings.Database = warehouse.Database();
    settings.CheckMetaData = settings.DetectAndMark = settings.GenerateReports =
        settings.DeleteMarked = true;
    settings.LogGiven = true;
    settings.LogDirectory = logFolder;
    return settings;
}

TestServices::TestServices(ConnectionFactory connect)
    : Services{Clock,  Prompt, Progress, connect ? std::move(connect) : CreateConnection,
               Output, Errors, {},       {}} {}

RunFixture::RunFixture() {
    FillStar(Warehouse);
    Settings = EveryTask(Warehouse, Files / "logs");
    Settings.StatusMode = true;
    Settings.StatusFileName = Files / "status.txt";
}

bool RunFixture::Run(const RunSettings& settings, const CommandLineReport& commandLine) {
    State = RunState();
    State.CommandLineMode = true;
    return RunTasks(settings, State, World.Services, commandLine);
}

std::string RunFixture::Log() const {
    const std::string log = ReadWholeFile(Files / "logs/Morvane_Log05-03-202414-07-09.txt");
    return ReplaceAll(ReplaceAll(log, Files.Path(), "FILES"), Warehouse.Server(), "SERVER");
}

std::string RunFixture::Status() const {
    return ReadWholeFile(Files / "status.txt");
}

}  // namespace morvane::testing
