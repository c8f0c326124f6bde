#include "contract/TdsServer.h"

#include <gtest/gtest.h>

#include "contract/Backend.h"
#include "contract/ScopedVariable.h"
#include "core/Transaction.h"
#include "db/ConnectionFactory.h"
#include "run/MultiUserLock.h"
#include "support/ScriptedPrompt.h"

namespace morvane::testing::tds {
namespace {

bool Contains(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

// To each request the answer of the first entry whose text occurs in it.
Script On(const std::vector<std::pair<std::string, Answer>>& answers) {
    return [answers](const Request& request) -> std::optional<Answer> {
        for (const auto& [part, answer] : answers) {
            if (Contains(request.Text, part)) {
                return answer;
            }
        }
        return std::nullopt;
    };
}

// What a client of SQL Server sees through FreeTDS.
class Tds : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!IsInstalled("FreeTDS")) {
            GTEST_SKIP() << "the ODBC driver FreeTDS is not installed";
        }
    }

    void Connect(Script script, const Traits& traits = {}) {
        connection_.reset();
        server_ = std::make_unique<TdsServer>(std::move(script), traits);
        connection_ = CreateConnection(server_->Server());
        connection_->SetProperty("Data Source", server_->Server());
        connection_->SetProperty("User ID", "somebody");
        connection_->Open();
    }

    // Every session has the same options, whatever the login's own are.
    void ExpectOptionsAfterEachLogin() const {
        const std::vector<Request> requests = server_->Requests();
        for (std::size_t i = 0; i < requests.size(); ++i) {
            if (requests[i].Text == "login") {
                ASSERT_LT(i + 1, requests.size());
                for (const char* option :
                     {"SET LANGUAGE us_english", "SET DATEFORMAT mdy", "SET NOCOUNT OFF"}) {
                    EXPECT_TRUE(Contains(requests[i + 1].Text, option)) << requests[i + 1].Text;
                }
            }
        }
    }

    // The last request with the text.
    Request Sent(std::string_view text) const {
        Request found;
        for (const Request& request : server_->Requests()) {
            found = Contains(request.Text, text) ? request : found;
        }
        EXPECT_NE(found.Text, "") << text << " was not sent";
        return found;
    }

    const ScopedVariable driver_{"MORVANE_ODBC_DRIVER", "FreeTDS"};
    const ScopedVariable options_{"MORVANE_ODBC_OPTIONS", "Encryption=off"};
    std::unique_ptr<TdsServer> server_;
    std::unique_ptr<Connection> connection_;
};

TEST_F(Tds, ValuesAreReadAsTheServerSendsThem) {
    const std::vector<Column> columns{{"i", kInt},       {"b", kBigInt},     {"f", kBit},
                                      {"v", VarChar(9)}, {"n", NVarChar(9)}, {"d", kDateTime},
                                      {"e", kDateTime2}};
    const Row row{"-5",
                  "9007199254740993",
                  "1",
                  "it's",
                  "grün €",
                  "2020-02-01 03:04:05",
                  "2020-02-01 03:04:05"};
    Connect(On({{"select", {{Rows(columns, {row, Row(7)}), Done(2)}}}}));
    const auto rows = connection_->OpenRecordset("select");
    for (std::size_t i = 0; i < row.size(); ++i) {
        EXPECT_EQ((*rows)[i].Text().substr(0, 19), row[i]) << columns[i].Name;
    }
    rows->MoveNext();
    for (const Field& field : rows->Fields()) {
        EXPECT_TRUE(field.Value.IsNull()) << field.Name;
    }
    rows->MoveNext();
    EXPECT_TRUE(rows->Eof());
}

TEST_F(Tds, ASessionHasTheSameOptionsWhateverItsLanguage) {
    for (const char* language : {"us_english", "Deutsch"}) {
        Connect(On({}), {.Language = language});
        ExpectOptionsAfterEachLogin();
    }
}

TEST_F(Tds, TheLockIsTakenThoughTheLoginCountsNothing) {
    const Token table = Rows({{"TABLE_QUALIFIER", NVarChar(128)},
                              {"TABLE_OWNER", NVarChar(128)},
                              {"TABLE_NAME", NVarChar(128)},
                              {"TABLE_TYPE", VarChar(32)},
                              {"REMARKS", VarChar(254)}},
                             {{"dw", "dbo", "dwm_multiuse", "TABLE", {}}});
    Connect(On({{"sp_tables", {{table, Done(1)}}},
                {"Select * from dwm_multiuse",
                 {{Rows({{"lock", kBit}, {"user_name", VarChar(100)}}, {{"0", "x"}}), Done(1)}}},
                {"UPDATE dwm_multiuse", {{Done(1)}}}}),
            {.NoCount = true});
    RunState state;
    state.WarehouseConnection = std::move(connection_);
    ScriptedPrompt prompt;
    bool lockedByOther = true;
    EXPECT_TRUE(AcquireLock(state, prompt, lockedByOther)) << state.ErrorText;
    EXPECT_TRUE(state.LockHeld);
}

// As Azure SQL Database does.
TEST_F(Tds, AServerWithoutUSEIsLoggedInToAgain) {
    Connect([](const Request& request) -> std::optional<Answer> {
        if (request.Text == "login" && request.Database == "gone") {
            return Answer{{Error(4060, 11, "Cannot open database \"gone\".")}};
        }
        return On({{"USE",
                    {{Error(40508, 16,
                            "USE statement is not supported to switch between databases. Use a "
                            "new connection to connect to a different database.")}}},
                   {"UPDATE", {{Done(2)}}}})(request);
    });
    connection_->SetDefaultDatabase("dw");
    EXPECT_EQ(connection_->DefaultDatabase(), "dw");
    EXPECT_EQ(connection_->Execute("UPDATE t"), 2);
    EXPECT_EQ(Sent("login").Database, "dw");
    EXPECT_EQ(Sent("login").User, "somebody");
    ExpectOptionsAfterEachLogin();

    EXPECT_THROW(connection_->SetDefaultDatabase("gone"), DatabaseError);
    EXPECT_EQ(connection_->DefaultDatabase(), "dw");
    EXPECT_EQ(connection_->Execute("UPDATE t"), 2);
}

TEST_F(Tds, TheCountIsTheOneOfTheLastStatement) {
    constexpr std::int64_t kFails = -99;
    const Token rows = Rows({{"a", kInt}}, {{"1"}, {"2"}});
    const std::vector<std::pair<std::vector<Token>, std::int64_t>> cases{
        {{Done(4)}, 4},
        {{Done()}, -1},
        {{DoneInProc(7), DoneInProc(9), Done(1)}, 1},  // of a trigger, then its own
        {{DoneInProc(7), Done(0)}, 0},
        {{Done(3), Done(5)}, 5},
        {{rows, Done(2), Done(4)}, 4},
        {{Info(0, "so far"), Done(3), rows, Done(2), Done(4)}, 4},
        {{Done(3), Error(547, 16, "no parent"), Done(), Done(4)}, kFails},
        {{rows, Done(2), Error(547, 16, "no parent")}, kFails},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto& [tokens, expected] = cases[i];
        Connect(On({{"UPDATE", {tokens}}, {"DELETE", {{Done(6)}}}}));
        const auto command = connection_->CreateCommand();
        command->SetText("UPDATE t SET a = ?");
        command->AppendParameter(
            {.Name = "a", .Type = DataType::Integer, .Size = 4, .Value = Value(std::int64_t{1})});
        const auto count = [](auto&& execute) {
            try {
                return static_cast<std::int64_t>(execute());
            } catch (const DatabaseError&) {
                return kFails;
            }
        };
        EXPECT_EQ(count([&] { return connection_->Execute("UPDATE t"); }), expected) << i;
        EXPECT_EQ(count([&] { return command->Execute(); }), expected) << i << ", prepared";
        EXPECT_EQ(connection_->Execute("DELETE FROM t"), 6) << i << ", the connection goes on";
    }
}

TEST_F(Tds, TextsGoInTheirOwnAlphabetAndDatesAsTheyAre) {
    struct {
        DataType Type;
        Value Given;
        bool IsWide;
    } const cases[] = {
        {DataType::VarChar, Value(std::string("green")), false},
        {DataType::VarChar, Value(std::string("grün")), true},
        {DataType::VarChar, Value(std::string("緑 €")), true},
        {DataType::DBTimeStamp, Value(std::string("2020-02-01T00:00:00")), false},
        {DataType::VarChar, Value(), false},
    };
    for (const auto& [type, given, isWide] : cases) {
        Connect(On({{"UPDATE", {{Done(1)}}}}));
        const auto command = connection_->CreateCommand();
        command->SetText("UPDATE t SET a = ?");
        command->AppendParameter({.Name = "a", .Type = type, .Size = 40, .Value = given});
        EXPECT_EQ(command->Execute(), 1);
        const std::vector<Parameter> sent = Sent("UPDATE").Parameters;
        ASSERT_EQ(sent.size(), 1U);
        EXPECT_EQ(sent[0].IsWide(), isWide) << given.Text();
        EXPECT_EQ(sent[0].Text(), given.Text());
        EXPECT_EQ(sent[0].Bytes.has_value(), !given.IsNull());
    }
}

TEST_F(Tds, AConnectionGoesOnAfterTheServerHasEndedItsTransaction) {
    const std::vector<std::pair<const char*, std::vector<Token>>> cases{
        {"deadlock", {Error(1205, 13, "chosen as the deadlock victim"), TransactionEnded()}},
        {"no right", {Error(262, 14, "CREATE TABLE permission denied"), TransactionEnded()}},
        {"still open", {Error(2627, 14, "duplicate key")}},
    };
    for (const auto& [name, tokens] : cases) {
        Connect(On({{"FAILS", {tokens}}, {"UPDATE", {{Done(1)}}}}));
        EXPECT_THROW(
            {
                Transaction transaction(*connection_);
                connection_->Execute("FAILS");
            },
            DatabaseError);
        EXPECT_TRUE(Sent("FAILS").InTransaction) << name;
        try {
            EXPECT_EQ(connection_->Execute("UPDATE alone"), 1);
            Transaction transaction(*connection_);
            EXPECT_EQ(connection_->Execute("UPDATE inside"), 1);
            transaction.Commit();
            EXPECT_EQ(connection_->Execute("UPDATE after"), 1);
        } catch (const DatabaseError& error) {
            ADD_FAILURE() << name << ": " << error.what();
            continue;
        }
        EXPECT_FALSE(Sent("UPDATE alone").InTransaction) << name;
        EXPECT_TRUE(Sent("UPDATE inside").InTransaction) << name;
        EXPECT_FALSE(Sent("UPDATE after").InTransaction) << name;
    }
}

// The rows of sp_columns, which SQLColumns calls: owner, table, column, type, precision, scale.
Token ColumnsOf(const std::vector<Row>& columns) {
    const Type name = NVarChar(128);
    std::vector<Row> rows;
    for (const Row& column : columns) {
        rows.push_back({"dw",
                        column[0],
                        column[1],
                        column[2],
                        "0",
                        column[3],
                        column[4],
                        column[4],
                        column[5],
                        {},
                        "1",
                        {},
                        {},
                        "0",
                        {},
                        {},
                        "1",
                        "YES"});
    }
    return Rows({{"TABLE_QUALIFIER", name},
                 {"TABLE_OWNER", name},
                 {"TABLE_NAME", name},
                 {"COLUMN_NAME", name},
                 {"DATA_TYPE", kSmallInt},
                 {"TYPE_NAME", name},
                 {"PRECISION", kInt},
                 {"LENGTH", kInt},
                 {"SCALE", kSmallInt},
                 {"RADIX", kSmallInt},
                 {"NULLABLE", kSmallInt},
                 {"REMARKS", VarChar(254)},
                 {"COLUMN_DEF", NVarChar(4000)},
                 {"SQL_DATA_TYPE", kSmallInt},
                 {"SQL_DATETIME_SUB", kSmallInt},
                 {"CHAR_OCTET_LENGTH", kInt},
                 {"ORDINAL_POSITION", kInt},
                 {"IS_NULLABLE", VarChar(254)}},
                rows);
}

TEST_F(Tds, ATableIsDescribedByTheCatalogueFunctionsWhereThereAreNoSystemViews) {
    std::vector<Row> columns;
    for (const char* owner : {"archive", "dbo"}) {
        columns.push_back({owner, "sales", "id", "int", "10", "0"});
        columns.push_back({owner, "sales", "price", "decimal", "9", "2"});
        columns.push_back({owner, "sales", "sold", "datetime2", "23", {}});  // no scale: 20 + it
        columns.push_back({owner, "sales", "at", "time", "8", {}});
        columns.push_back({owner, "saleS_", "other", "int", "10", "0"});
    }
    const Type name = NVarChar(128);
    const Token keys = Rows({{"TABLE_QUALIFIER", name},
                             {"TABLE_OWNER", name},
                             {"TABLE_NAME", name},
                             {"COLUMN_NAME", name},
                             {"KEY_SEQ", kSmallInt},
                             {"PK_NAME", name}},
                            {{"dw", "dbo", "sales", "id", "1", "pk_sales"}});
    Connect(On({{"sys.columns", {{Error(208, 16, "Invalid object name 'sys.columns'.")}}},
                {"sp_columns", {{ColumnsOf(columns)}}},
                {"sp_pkeys", {{keys}}}}));
    const TableDefinition table = connection_->DescribeTable("sales");
    std::string described;
    for (const ColumnDefinition& column : table.Columns) {
        described += column.Name + " " + column.TypeName + "(" + std::to_string(column.Precision) +
                     "," + std::to_string(column.Scale) + ") ";
    }
    EXPECT_EQ(described, "id int(0,0) price decimal(9,2) sold datetime2(3,0) at time(0,0) ");
    EXPECT_TRUE(Contains(Sent("sys.columns").Text, "sys.types"));
    ASSERT_TRUE(table.PrimaryKey.has_value());
    EXPECT_EQ(table.PrimaryKey->Columns, std::vector<std::string>{"id"});
}

// A statement's own time-out stands against the one for all.
TEST_F(Tds, AStatementWaitsForTheTimeoutForAllUnlessItHasItsOwn) {
    struct {
        const char* ForAll;
        std::optional<int> Own;
        bool Fails;
    } const cases[] = {{"1", {}, true}, {"1", 0, false}, {"5", 1, true}};
    for (const auto& [forAll, own, fails] : cases) {
        const ScopedVariable timeout("MORVANE_QUERY_TIMEOUT", forAll);
        Connect(On({{"slow", {{Done()}, std::chrono::milliseconds(1300)}}}));
        const auto command = connection_->CreateCommand();
        command->SetText("slow");
        if (own) {
            command->SetTimeout(*own);
        }
        if (fails) {
            EXPECT_THROW(command->Execute(), DatabaseError);
            Sent("attention");
        } else {
            EXPECT_NO_THROW(command->Execute());
        }
    }
}

}  // namespace
}  // namespace morvane::testing::tds
