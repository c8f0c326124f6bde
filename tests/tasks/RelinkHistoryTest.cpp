// SPDX-License-Identifier: Apache-2.0
#include <sstream>

#include "core/Transaction.h"
#include "tasks/TaskTest.h"
#include "tasks/modDeleteRecords.h"

namespace morvane::testing {

// In sessions with both date orders, as on servers of other languages.
class RelinkHistoryTest : public TaskTest, public ::testing::WithParamInterface<const char*> {
  protected:
    RelinkHistoryTest() {
        warehouse.AddSlowMovingDimension("client",
                                         "id integer primary key, code varchar(9), "
                                         "region int");
        warehouse.AddRelation("sales", "client", "client", "id", true, "code");
    }

    // Adds versions "start end flags" with ids from 1: "-" is a NULL date, "c" a current version
    // and "x" a marked one.
    void AddElement(const std::string& code, const std::string& versions, int region = 1) {
        std::istringstream lines(versions);
        std::string start;
        std::string end;
        std::string flags;
        while (lines >> start >> end >> flags) {
            const auto date = [](const std::string& text) {
                return text == "-" ? "NULL" : "'" + text + "'";
            };
            warehouse.Run(
                "INSERT INTO client(code, region, start_date, end_date, is_current, "
                "is_deletable) VALUES ('" +
                code + "'," + std::to_string(region) + "," + date(start) + "," + date(end) + "," +
                (Has(flags, 'c') ? "1" : "0") + "," + (Has(flags, 'x') ? "1" : "0") + ")");
        }
    }

    static bool Has(const std::string& flags, char flag) {
        return flags.find(flag) != std::string::npos;
    }

    void Relink() {
        const auto deletion = Factory()(warehouse.Server());
        deletion->SetProperty("Data Source", warehouse.Server());
        deletion->Open();
        deletion->Execute(std::string("SET DATEFORMAT ") + GetParam());
        deletion->SetDefaultDatabase(warehouse.Database());
        Transaction transaction(*deletion);
        RelinkSlowlyMovingHistory("client", *state.WarehouseConnection, *deletion);
        transaction.Commit();
    }

    // The remaining versions as "id start..end", with "*" for the current one.
    std::string Survivors() const {
        return warehouse.Text(
            "SELECT id || ' ' || coalesce(substr(start_date, 1, 10), '-') || '..' || "
            "coalesce(substr(end_date, 1, 10), '-') || CASE is_current WHEN 1 THEN '*' ELSE '' END "
            "FROM client WHERE is_deletable = 0 ORDER BY id");
    }
};

INSTANTIATE_TEST_SUITE_P(Sessions, RelinkHistoryTest, ::testing::Values("mdy", "dmy"),
                         [](const auto& instance) { return std::string(instance.param); });

// The parameters keep the order of the first version's statement. So after a first version that is
// not current, a current one matches the version that ends on its own end day, and passes its start
// date on as the end.
TEST_P(RelinkHistoryTest, TheFirstVersionDeterminesTheOrderOfTheDates) {
    AddElement("a", "2020-01-01 2021-01-01 x 2021-01-01 2022-01-01 - 2022-01-01 2099-12-31 cx");
    AddElement("b", "2020-01-01 2099-12-31 - 2022-01-01 2099-12-31 cx");
    Relink();
    EXPECT_EQ(Survivors(), "2 2020-01-01..2022-01-01 4 2020-01-01..2022-01-01*");
}

// Versions are linked by day, also those that an earlier statement of the run has changed.
TEST_P(RelinkHistoryTest, TheTimeOfDayDoesNotMatter) {
    for (const char* type : {"datetime", "varchar(30)"}) {
        if (GetParam() == std::string("dmy") && type == std::string("varchar(30)")) {
            continue;  // such a session reads the text as another date
        }
        warehouse.Run(
            "DROP TABLE client; CREATE TABLE client(id integer primary key, code varchar(9), "
            "region "
            "int, start_date " +
            std::string(type) + ", end_date " + type + ", is_current bit, is_deletable bit)");
        AddElement("a",
                   "2020-01-01 2021-01-01T10:00:00 x 2021-01-01 2022-01-01T08:30:00 x "
                   "2022-01-01 2099-12-31 c");
        Relink();
        EXPECT_EQ(Survivors(), "3 2020-01-01..2099-12-31*") << type;
    }
}

// A date that is passed on takes the form of its column, or keeps its own in a text column.
TEST_P(RelinkHistoryTest, ADateThatIsPassedOnHasTheFormOfItsColumn) {
    const struct {
        const char* Type;
        const char* Middle;
        const char* Last;
        const char* HandedOn;
    } cases[] = {
        {"datetime", "2024-01-11 00:00:00", "2024-01-12 00:00:00", "2024-01-11 00:00:00"},
        {"datetime", "2024-01-11", "2024-01-12", "2024-01-11 00:00:00"},
        {"datetime", "20240111", "20240112", "2024-01-11 00:00:00"},
        {"date", "2024-01-11", "2024-01-12", "2024-01-11"},
        {"date", "20240111", "20240112", "2024-01-11"},
        {"smalldatetime", "2024-01-11T00:00:00", "2024-01-12T00:00:00", "2024-01-11 00:00:00"},
        {"datetime2", "2024-01-11 00:00:00.000", "2024-01-12", "2024-01-11 00:00:00"},
        // Text is read as a date in the order of the session.
        {"varchar(30)", "2024-01-11", "2024-01-12", "2024-01-11"},
        {"varchar(30)", "20240111", "20240112", "20240111"},
        {"text", "2024-01-11 00:00:00", "2024-01-12 00:00:00", "2024-01-11 00:00:00"},
    };
    for (const auto& c : cases) {
        const std::string type = c.Type;
        if (GetParam() == std::string("dmy") && type.find("date") == std::string::npos) {
            continue;
        }
        SCOPED_TRACE(type + " " + c.Middle);
        warehouse.Run(
            "DROP TABLE client; CREATE TABLE client(id int, code varchar(9), start_date " + type +
            ", end_date " + type + ", is_current bit, is_deletable bit);" +
            "INSERT INTO client VALUES(1,'a','" + c.Middle + "','" + c.Last + "',0,1),(2,'a','" +
            c.Last + "',NULL,1,0)");
        Relink();
        EXPECT_EQ(warehouse.Text("SELECT start_date FROM client WHERE id = 2"), c.HandedOn);
    }
}

}  // namespace morvane::testing
