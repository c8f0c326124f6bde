#include "tasks/RelinkHistory.h"

#include <algorithm>
#include <random>
#include <sstream>

#include "core/Transaction.h"
#include "tasks/TaskTest.h"

namespace morvane::testing {

// In sessions of both orders: a server of another language must hand the same dates on.
class RelinkHistoryTest : public TaskTest, public ::testing::WithParamInterface<const char*> {
  protected:
    RelinkHistoryTest() {
        warehouse.AddSlowMovingDimension("client",
                                         "id integer primary key, code varchar(9), "
                                         "region int");
        warehouse.AddRelation("sales", "client", "client", "id", true, "code");
    }

    // Versions "start end flags", one a line; "-" for a NULL date, "c" for current, "x" for marked.
    // The ids count from 1.
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

    // Those that stay: "id start..end", with "*" for the current one.
    std::string Survivors() const {
        return warehouse.Text(
            "SELECT id || ' ' || coalesce(substr(start_date, 1, 10), '-') || '..' || "
            "coalesce(substr(end_date, 1, 10), '-') || CASE is_current WHEN 1 THEN '*' ELSE '' END "
            "FROM client WHERE is_deletable = 0 ORDER BY id");
    }
};

INSTANTIATE_TEST_SUITE_P(Sessions, RelinkHistoryTest, ::testing::Values("mdy", "dmy"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST_P(RelinkHistoryTest, AMiddleVersionHandsItsStartToTheNextWhateverTheTimeOfDay) {
    AddElement("a",
               "2020-01-01 2021-01-01 - 2021-01-01 2022-01-01T08:15:00.123 x "
               "2022-01-01T23:59:59 2099-12-31 c");
    AddElement("b",
               "2020-01-01 2021-01-01T10:00:00 x 2021-01-01T03:00:00 2022-01-01 x "
               "2022-01-01 2099-12-31 c");
    Relink();
    EXPECT_EQ(Survivors(),
              "1 2020-01-01..2021-01-01 3 2021-01-01..2099-12-31* 6 2020-01-01..2099-12-31*");
    EXPECT_EQ(warehouse.Text("SELECT start_date FROM client WHERE id = 3"), "2021-01-01 00:00:00");
}

TEST_P(RelinkHistoryTest, ACompositeKeyIsComparedInAllItsColumns) {
    warehouse.Run("UPDATE dwm_star_relations SET original_primary_key = ' region , code'");
    AddElement("a", "2020-01-01 2021-01-01 x 2021-01-01 2099-12-31 c", 1);
    AddElement("a", "2019-01-01 2021-01-01 - 2021-01-01 2099-12-31 cx", 2);
    Relink();
    EXPECT_EQ(Survivors(), "2 2020-01-01..2099-12-31* 3 2019-01-01..2021-01-01");
}

// The parameters keep the order of the first version's statement. After a first version that is
// not current, a current one therefore looks for the version that ends on the day of its own end,
// and gives it its start as the end.
TEST_P(RelinkHistoryTest, TheFirstVersionFixesTheOrderOfTheDates) {
    AddElement("a", "2020-01-01 2021-01-01 x 2021-01-01 2022-01-01 - 2022-01-01 2099-12-31 cx");
    AddElement("b", "2020-01-01 2099-12-31 - 2022-01-01 2099-12-31 cx");
    Relink();
    EXPECT_EQ(Survivors(), "2 2020-01-01..2022-01-01 4 2020-01-01..2022-01-01*");
}

TEST_P(RelinkHistoryTest, ANullKeyIsNoElement) {
    warehouse.Run(
        "INSERT INTO client(code, start_date, end_date, is_current, is_deletable) VALUES"
        "(NULL,'2020-01-01','2021-01-01',0,1),(NULL,'2021-01-01','2022-01-01',0,1),"
        "(NULL,'2022-01-01','2099-12-31',1,0)");
    Relink();
    EXPECT_EQ(Survivors(), "3 2022-01-01..2099-12-31*");
    EXPECT_NE(statements.at(statements.size() - 2).find("] [NULL] [2022-01-01"), std::string::npos);
}

// A table as a dynamic cursor shows it: each row is read when its turn comes, with all changes.
struct CursorModel {
    struct Date {
        std::string Day;  // "-" for NULL
        bool HandedOn = false;
    };
    struct Row {
        int Id;
        std::string Code;
        Date Start;
        Date End;
        bool Current;
        bool Marked;
    };
    std::vector<Row> Rows;

    void Relink() {
        std::vector<std::size_t> order;
        for (std::size_t i = 0; i < Rows.size(); ++i) {
            if (Rows[i].Marked) {
                order.push_back(i);
            }
        }
        const auto key = [this](std::size_t i) {
            return Rows[i].Code + (Rows[i].Start.Day == "-" ? " " : Rows[i].Start.Day);
        };
        std::sort(order.begin(), order.end(),
                  [&](std::size_t a, std::size_t b) { return key(a) < key(b); });
        bool startFirst = true;
        for (std::size_t turn = 0; turn < order.size(); ++turn) {
            const Row row = Rows[order[turn]];
            if (turn == 0) {
                startFirst = !row.Current;
            }
            const std::string& first = startFirst ? row.Start.Day : row.End.Day;
            const std::string& last = startFirst ? row.End.Day : row.Start.Day;
            for (Row& other : Rows) {
                Date& compared = row.Current ? other.End : other.Start;
                if (other.Code == row.Code && last != "-" && compared.Day == last) {
                    compared = {first, true};
                    other.Current = other.Current || row.Current;
                }
            }
        }
    }
};

// How a column's type and whoever filled it write a day. A date that was handed on has the form of
// its column, or, where that holds no dates, still its own.
struct HistoryForm {
    const char* Type;
    const char* Written;  // "D" stands for the day
    const char* HandedOn;

    std::string Text(const CursorModel::Date& date) const {
        const std::string form = date.HandedOn ? HandedOn : Written;
        std::string text = form == "N" ? date.Day : date.Day + form.substr(1);
        if (form == "N") {
            std::erase(text, '-');
        }
        return date.Day == "-" ? "NULL" : text;
    }
};

TEST_P(RelinkHistoryTest, AgreesWithADynamicCursorOnRandomHistories) {
    const std::vector<HistoryForm> forms = {
        {"datetime", "D 00:00:00", "D 00:00:00"},
        {"datetime", "D", "D 00:00:00"},
        {"datetime", "N", "D 00:00:00"},
        {"date", "D", "D"},
        {"date", "N", "D"},
        {"smalldatetime", "DT00:00:00", "D 00:00:00"},
        {"datetime2", "D 00:00:00.000", "D 00:00:00"},
        {"varchar(30)", "D", "D"},
        {"varchar(30)", "N", "N"},
        {"text", "D 00:00:00", "D 00:00:00"},
    };
    // A text that is taken for a date is read as the session says.
    const std::size_t kinds = forms.size() - (GetParam() == std::string("dmy") ? 3 : 0);
    std::mt19937 random(20240305);
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    const auto chance = [&](unsigned percent) { return below(100) < percent; };
    for (std::size_t round = 0; round < 60; ++round) {
        const HistoryForm& form = forms[round % kinds];
        CursorModel model;
        std::string inserts =
            "DROP TABLE client; CREATE TABLE client(id int, code varchar(9), "
            "start_date " +
            std::string(form.Type) + ", end_date " + form.Type +
            ", is_current bit, is_deletable bit);";
        for (int element = 0; element < 6; ++element) {
            unsigned day = 10;
            const unsigned versions = 1 + below(6);
            for (unsigned v = 0; v < versions; ++v) {
                const unsigned next = day + 1 + below(2);
                CursorModel::Row row{static_cast<int>(model.Rows.size()) + 1,
                                     std::string(1, static_cast<char>('a' + element)),
                                     {"2024-01-" + std::to_string(day)},
                                     {"2024-01-" + std::to_string(chance(80) ? next : 30)},
                                     v + 1 == versions ? chance(90) : chance(10),
                                     chance(55)};
                if (v == 0 && chance(10)) {
                    row.Start.Day = "-";
                }
                if (chance(8)) {
                    row.End.Day = "-";
                }
                day = next;
                inserts += "INSERT INTO client VALUES (" + std::to_string(row.Id) + ",'" +
                           row.Code + "',nullif('" + form.Text(row.Start) + "','NULL'),nullif('" +
                           form.Text(row.End) + "','NULL')," + (row.Current ? "1," : "0,") +
                           (row.Marked ? "1);" : "0);");
                model.Rows.push_back(row);
            }
        }
        warehouse.Run("BEGIN;" + inserts + "COMMIT");
        Relink();
        model.Relink();
        for (const CursorModel::Row& row : model.Rows) {
            ASSERT_EQ(
                warehouse.Text("SELECT start_date, end_date, is_current FROM client WHERE "
                               "id = " +
                               std::to_string(row.Id)),
                form.Text(row.Start) + "|" + form.Text(row.End) + "|" + (row.Current ? "1" : "0"))
                << form.Type << " " << form.Written << ", round " << round << ", id " << row.Id;
        }
    }
}

}  // namespace morvane::testing
