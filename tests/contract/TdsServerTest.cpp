// SPDX-License-Identifier: Apache-2.0
#include "contract/TdsServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include "base/Text.h"
#include "contract/Backend.h"
#include "core/Transaction.h"
#include "db/TableScript.h"
#include "db/odbc/CallWatch.h"
#include "db/odbc/OdbcConnection.h"
#include "db/odbc/OdbcSession.h"
#include "run/WarehouseAccess.h"
#include "support/ScriptedPrompt.h"
#include "tasks/modDeleteRecords.h"

namespace morvane::testing::tds {
namespace {

bool Contains(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

// Answers a request with the first entry whose text it contains.
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

// Rows with "|" between columns. The head has each column's name and type letter; an empty value is
// NULL.
Token Table(const std::string& head, const std::vector<std::string>& lines) {
    const std::map<char, Type> types{{'n', NVarChar(128)}, {'v', VarChar(254)}, {'s', kSmallInt},
                                     {'i', kInt},          {'l', kBigInt},      {'b', kBit},
                                     {'d', kDateTime},     {'e', kDateTime2}};
    std::vector<Column> columns;
    for (const std::string& column : Split(head, '|')) {
        columns.push_back({column.substr(0, column.size() - 2), types.at(column.back())});
    }
    std::vector<Row> rows;
    for (const std::string& line : lines) {
        Row& row = rows.emplace_back();
        for (const std::string& value : Split(line, '|')) {
            row.push_back(value.empty() ? std::nullopt : std::optional(value));
        }
    }
    return Rows(columns, rows);
}

// Tests of the ODBC engine over FreeTDS and a scripted server.
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
        connection_ = CreateOdbcConnection(options_);
        connection_->SetProperty("Data Source", server_->Server());
        connection_->SetProperty("User ID", "somebody");
        connection_->Open();
    }

    // Each login must be followed by the session options, in a batch.
    void ExpectOptionsAfterEachLogin() const {
        const std::vector<Request> requests = server_->Requests();
        for (std::size_t i = 0; i < requests.size(); ++i) {
            if (requests[i].Text == "login") {
                ASSERT_LT(i + 1, requests.size());
                EXPECT_EQ(requests[i + 1].Procedure, "") << "it would hold for the call alone";
                for (const char* option :
                     {"SET LANGUAGE us_english", "SET DATEFORMAT mdy", "SET NOCOUNT OFF"}) {
                    EXPECT_TRUE(Contains(requests[i + 1].Text, option)) << requests[i + 1].Text;
                }
            }
        }
    }

    // The last request that contains the text.
    Request Sent(std::string_view text) const {
        Request found;
        for (const Request& request : server_->Requests()) {
            found = Contains(request.Text, text) ? request : found;
        }
        EXPECT_NE(found.Text, "") << text << " was not sent";
        return found;
    }

    OdbcOptions options_{.Driver = "FreeTDS", .Keywords = "Encryption=off"};
    std::unique_ptr<TdsServer> server_;
    std::unique_ptr<Connection> connection_;
};

TEST_F(Tds, ValuesAreReadAsSent) {
    const std::string line =
        "-5|9007199254740993|1|it's|grün €|2020-02-01 03:04:05|2020-02-01 03:04:05";
    const Token table = Table("a i|b l|c b|d v|e n|f d|g e", {line, "||||||"});
    Connect(On({{"select", {{table, Done(2)}}}}));
    const auto rows = connection_->OpenRecordset("select");
    std::string read;
    for (const Field& field : rows->Fields()) {
        read += (read.empty() ? "" : "|") + field.Value.Text().substr(0, 19);
    }
    EXPECT_EQ(read, line);
    rows->MoveNext();
    for (const Field& field : rows->Fields()) {
        EXPECT_TRUE(field.Value.IsNull()) << field.Name;
    }
    rows->MoveNext();
    EXPECT_TRUE(rows->Eof());
}

TEST_F(Tds, EverySessionHasTheSameOptions) {
    for (const char* language : {"us_english", "Deutsch"}) {
        Connect(On({}), {.Language = language});
        ExpectOptionsAfterEachLogin();
    }
}

TEST_F(Tds, TheLockIsTakenUnderALoginWithNoCount) {
    Connect(On({{"OBJECT_ID", {{Table("a i|b i", {"1|"})}}},
                {"Select * from dwm_multiuse", {{Table("lock b|user_name v", {"0|x"})}}},
                {"UPDATE dwm_multiuse", {{Done(1)}}}}),
            {.NoCount = true});
    RunState state;
    state.WarehouseConnection = std::move(connection_);
    ScriptedPrompt prompt;
    EXPECT_EQ(AcquireLock(state, prompt), Outcome::Done) << state.ErrorText;
    EXPECT_TRUE(state.LockHeld);
}

TEST_F(Tds, TheRowCountIsTheLastStatements) {
    static constexpr std::int64_t kFails = -99;
    const Token rows = Table("a i", {"1", "2"});
    const std::vector<std::pair<std::vector<Token>, std::int64_t>> cases{
        {{Done(4)}, 4},
        {{Done()}, -1},
        {{DoneInProc(7), DoneInProc(9), Done(1)}, 1},  // a trigger's, then its own
        {{DoneInProc(7), Done(0)}, 0},
        {{Done(3), Done(5)}, 5},
        {{rows, Done(2), Done(4)}, 4},
        {{Info(0, "so far"), Done(3), rows, Done(2), Done(4)}, 4},
        {{Error(547, 16, "no parent")}, kFails},
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
        EXPECT_EQ(count([&] { return connection_->Execute("DELETE FROM t"); }), 6) << i << ", next";
    }
}

TEST_F(Tds, NonAsciiTextsAreSentAsNVarChar) {
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

TEST_F(Tds, AConnectionIsUsableAfterTheServerHasRolledBack) {
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

// A row of sp_columns, which SQLColumns calls; the description is type, precision and scale.
std::string ColumnLine(const std::string& table, const std::string& column,
                       const std::string& description) {
    const std::vector<std::string> parts = Split(description, '|');
    return "dw|" + table + "|" + column + "|0|" + parts[0] + "|" + parts[1] + "|" + parts[1] + "|" +
           parts[2] + "||1|||0|||1|YES";
}

TEST_F(Tds, WithoutSystemViewsTheCatalogueFunctionsDescribeATable) {
    std::vector<std::string> columns;
    for (const char* table : {"archive|sales", "dbo|sales"}) {
        columns.push_back(ColumnLine(table, "id", "int|10|0"));
        columns.push_back(ColumnLine(table, "price", "decimal|9|2"));
        columns.push_back(ColumnLine(table, "sold",
                                     "datetime2|23|"));  // no scale: 20 characters and the fraction
    }
    columns.push_back(ColumnLine("dbo|saleS_", "other", "int|10|0"));
    const std::string name = "TABLE_QUALIFIER n|TABLE_OWNER n|TABLE_NAME n|COLUMN_NAME n|";
    const Token described = Table(
        name +
            "DATA_TYPE s|TYPE_NAME n|PRECISION i|LENGTH i|SCALE s|RADIX s|NULLABLE s|REMARKS v|"
            "COLUMN_DEF n|SQL_DATA_TYPE s|SQL_DATETIME_SUB s|CHAR_OCTET_LENGTH i|"
            "ORDINAL_POSITION i|IS_NULLABLE v",
        columns);
    Connect(On(
        {{"sys.columns", {{Error(208, 16, "Invalid object name 'sys.columns'.")}}},
         {"sp_columns", {{described}}},
         {"sp_pkeys", {{Table(name + "KEY_SEQ s|PK_NAME n", {"dw|dbo|sales|id|1|pk_sales"})}}}}));
    const TableDefinition table = connection_->DescribeTable("sales");
    std::string text;
    for (const ColumnDefinition& column : table.Columns) {
        text += column.Name + " " + column.TypeName + "(" + std::to_string(column.Precision) + "," +
                std::to_string(column.Scale) + ") ";
    }
    EXPECT_EQ(text, "id int(0,0) price decimal(9,2) sold datetime2(3,0) ");
    EXPECT_TRUE(Contains(Sent("sys.columns").Text, "sys.types"));
    ASSERT_TRUE(table.PrimaryKey.has_value());
    EXPECT_EQ(table.PrimaryKey->Columns, std::vector<std::string>{"id"});
}

TEST_F(Tds, AStatementHasTheDefaultTimeoutUnlessItHasItsOwn) {
    struct {
        const char* ForAll;
        std::optional<int> Own;
        bool Fails;
    } const cases[] = {{"1", {}, true}, {"1", 0, false}, {"5", 1, true}};
    for (const auto& [forAll, own, fails] : cases) {
        options_.QueryTimeout = forAll;
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

TEST(QueryTimeout, MustBeANumberOfSeconds) {
    for (const char* text : {"-1", "2s", "soon", "99999999999"}) {
        EXPECT_THROW(odbc::ParseQueryTimeout(text), DatabaseError) << text;
    }
    EXPECT_EQ(odbc::ParseQueryTimeout(""), 0);
}

// An incomplete result must not be taken for the complete one.
TEST_F(Tds, AConnectionLostInTheMiddleOfAnAnswerIsAnError) {
    const std::vector<std::string> lines(2000, "a line of a report|1");
    Connect(On({{"SELECT", {.Tokens = {Table("a v|b i", lines), Done(2000)}, .Cut = true}}}));
    EXPECT_THROW(connection_->OpenRecordset("SELECT"), DatabaseError);
    Connect(On({{"UPDATE", {.Tokens = {Done(1)}, .Cut = true}}}));
    Transaction transaction(*connection_);
    EXPECT_THROW(connection_->Execute("UPDATE t"), DatabaseError);
    EXPECT_THROW(transaction.Commit(), DatabaseError);
}

// Only the server knows whether "Ä1" and "ä1" are equal: the history is merged by its GROUP BY.
// Reading and writing use the same connection here.
TEST_F(Tds, TheServerDecidesWhichTextsAreEqual) {
    const std::vector<std::string> versions = {
        "Ä1|2020-01-01|2021-01-01|0", "ä1|2021-01-01|2022-01-01|0", "ö1|2020-01-01|2021-01-01|0"};
    struct {
        std::vector<std::string> Groups;
        std::string SecondStart;
    } const cases[] = {{{"Ä1|2", "ö1|1"}, "2020-01-01T00:00:00"},
                       {{"Ä1|1", "ä1|1", "ö1|1"}, "2021-01-01T00:00:00"}};
    for (const auto& [groups, secondStart] : cases) {
        Connect(On({{"SELECT DISTINCT original_primary_key", {{Table("k v", {"code"})}}},
                    {"SELECT * FROM client",
                     {{Table("code n|start_date d|end_date d|is_current b", versions)}}},
                    {"GROUP BY code", {{Table("code n|CntVersions i", groups)}}},
                    {"SELECT code FROM client", {{Table("code n", {})}}},
                    {"sp_execute", {{Table("morvane_counts v", {""})}}}}));
        RelinkSlowlyMovingHistory("client", *connection_, *connection_);
        const std::string request = Sent("sp_execute").Text;
        EXPECT_TRUE(Contains(request, "SET start_date = @P1 WHERE code = @P2")) << request;
        EXPECT_TRUE(Contains(request, "'" + secondStart + "',N'ä1','2022-01-01T00:00:00'"))
            << request;
    }
}

TEST_F(Tds, ABatchReportsRowCounts) {
    Connect(On({{"DELETE a", {{Table("morvane_counts v", {"3 0 1 "})}}}}));
    std::vector<std::int64_t> counts;
    const auto batch =
        connection_->CreateBatch([&](std::size_t, std::int64_t rows) { counts.push_back(rows); });
    batch->Add("DELETE a WHERE k = 'it''s ?'");
    batch->Add("DELETE a WHERE k = ?",
               {{.Name = "k", .Size = 3, .Value = Value(std::string("ü"))}});
    batch->Add("DELETE a WHERE k = ?", {{.Name = "k", .Size = 3, .Value = {}}});
    EXPECT_TRUE(server_->Requests().size() == 2) << "nothing is sent yet";
    batch->Finish();
    EXPECT_EQ(counts, (std::vector<std::int64_t>{3, 0, 1}));
    EXPECT_TRUE(Contains(Sent("DELETE a").Text, "N'DELETE a WHERE k = ''it''''s ?'''"));
    for (const char* call :
         {"exec sp_execute @h0,N'ü'", "exec sp_executesql N'DELETE a WHERE k = @P1'"}) {
        EXPECT_TRUE(Contains(Sent("DELETE a").Text, call)) << Sent("DELETE a").Text;
    }

    // One parameter of each type.
    batch->Add("DELETE a WHERE x IN (?, ?, ?, ?, ?, ?, ?, ?)",
               {{.Name = "1", .Type = DataType::Boolean, .Value = Value(std::int64_t{1})},
                {.Name = "2", .Type = DataType::TinyInt, .Value = Value(std::int64_t{2})},
                {.Name = "3", .Type = DataType::SmallInt, .Value = Value(std::int64_t{3})},
                {.Name = "4", .Type = DataType::Integer, .Value = Value(std::int64_t{4})},
                {.Name = "5", .Type = DataType::BigInt, .Value = Value(std::int64_t{5})},
                {.Name = "6", .Type = DataType::Double, .Value = Value(0.5)},
                {.Name = "7", .Type = DataType::VarBinary, .Value = Value(std::string("0x0aFF"))},
                {.Name = "8", .Value = Value(std::string(8001, 'x'))}});
    // The server reports three counts for one statement.
    EXPECT_THROW(batch->Finish(), DatabaseError);
    for (const std::string& part :
         {std::string("N'@P1 bit,@P2 tinyint,@P3 smallint,@P4 int,@P5 bigint,@P6 float,"
                      "@P7 varbinary(max),@P8 varchar(max)'"),
          "1,2,3,4,5,5.000000e-01,0x0aFF,'" + std::string(8001, 'x')}) {
        EXPECT_TRUE(Contains(Sent("DELETE a").Text, part)) << part;
    }
}

TEST_F(Tds, AnErrorInABatchNamesTheStatement) {
    for (const bool told : {true, false}) {
        std::vector<Token> answer{DoneInProc(7)};
        if (told) {
            answer.push_back(Table("morvane_failed i", {"1"}));
        }
        answer.push_back(Error(547, 16, "The DELETE statement conflicted."));
        Connect(On({{"DELETE b", {answer}}}));
        const auto batch = connection_->CreateBatch();
        batch->Add("DELETE b WHERE k = 1");
        batch->Add("DELETE b WHERE k = 2");
        try {
            batch->Finish();
            ADD_FAILURE() << "no error";
        } catch (const DatabaseError& error) {
            EXPECT_EQ(error.Statement(), told ? "DELETE b WHERE k = 2" : "DELETE b WHERE k = 1");
            EXPECT_EQ(Contains(error.what(), "2 statements were sent together"), !told);
            EXPECT_TRUE(Contains(error.what(), "conflicted")) << error.what();
        }
    }
}

// A row of the catalogue query. The description is type, length in bytes, precision, scale,
// nullability, collation, default and position in the key.
std::string ViewLine(int table, const std::string& column, const std::string& description) {
    const std::vector<std::string> parts = Split(description, '|');
    return std::to_string(table) + "|" + column + "|" + parts[0] + "|" + parts[1] + "|" + parts[2] +
           "|" + parts[3] + "|" + parts[4] + "|" + parts[5] + "|" + parts[6] + "|" +
           (parts[7] == "0" ? "|" : "pk_sales|" + parts[7]) + "|1";
}

TEST_F(Tds, TheSystemViewsDescribeTheTableThatAStatementMeans) {
    const std::string latin = "Latin1_General_CS_AS";
    Connect(On({{"sys.columns",
                 {{Table("table_id i|column_name n|type_name n|max_length i|precision i|scale i|"
                         "is_nullable b|collation_name n|default_text n|key_name n|key_ordinal i|"
                         "is_indexed i",
                         {ViewLine(7, "id", "int|4|10|0|0||(NEXT VALUE FOR [dbo].[ids])|2"),
                          ViewLine(7, "code", "nvarchar|40|0|0|0|" + latin + "||1"),
                          ViewLine(7, "note", "varchar|-1|0|0|1|" + latin + "|('[a].[b]')|0"),
                          ViewLine(7, "price", "decimal|9|18|4|1||((0))|0"),
                          ViewLine(7, "sold", "datetime2|7|22|3|1||(getdate())|0"),
                          ViewLine(9, "id", "int|4|10|0|0|||0")})}}}}));
    EXPECT_EQ(CreateTableScript(connection_->DescribeTable("sales")),
              "CREATE TABLE sales (\r\n"
              "\t[id] int NOT NULL,\r\n"
              "\t[code] nvarchar(20) COLLATE Latin1_General_CS_AS NOT NULL,\r\n"
              "\t[note] varchar(max) COLLATE Latin1_General_CS_AS NULL DEFAULT ('[a].[b]'),\r\n"
              "\t[price] decimal(18,4) NULL DEFAULT ((0)),\r\n"
              "\t[sold] datetime2(3) NULL DEFAULT (getdate()),\r\n"
              "\tCONSTRAINT [pk_sales] PRIMARY KEY CLUSTERED ([code], [id])\r\n)");
    EXPECT_TRUE(connection_->IsIndexed("sales"));
    EXPECT_TRUE(connection_->ColumnExists("it's", "SOLD"));
    EXPECT_TRUE(Contains(Sent("sys.columns").Text, "N'it''s'"));
}

TEST(CallWatch, ContinuesWhenTheCancelCallbackThrows) {
    std::atomic<int> asked = 0;
    const odbc::CallWatch watch([&asked]() -> bool {
        ++asked;
        asked.notify_all();
        throw std::bad_alloc();
    });
    asked.wait(0);
    asked.wait(1);
    EXPECT_GE(asked, 2);
}

// A server that stops answering, and one that answers too slowly.
TEST_F(Tds, NoCallWaitsLongerThanItsLimit) {
    struct {
        const char* Name;
        Answer Reply;
        std::chrono::milliseconds PerByte;
        bool Cancels;
        std::chrono::seconds Most;
    } const cases[] = {
        {"a statement when the run is cancelled",
         {.Silent = true},
         {},
         true,
         odbc::CallWatch::kGrace + odbc::CallWatch::kCancelling + std::chrono::seconds(3)},
        {"a login", {.Tokens = {}}, std::chrono::milliseconds(300), false, std::chrono::seconds(5)},
    };
    for (const auto& [name, reply, perByte, cancels, most] : cases) {
        server_ = std::make_unique<TdsServer>(On({{"UPDATE", reply}}), Traits{.PerByte = perByte});
        std::atomic<bool> cancelled = false;
        connection_ = CreateOdbcConnection(options_, [&cancelled] { return cancelled.load(); });
        connection_->SetProperty("Data Source", server_->Server());
        connection_->SetProperty("User ID", "somebody");
        connection_->SetConnectionTimeout(2);
        const auto start = std::chrono::steady_clock::now();
        try {
            connection_->Open();
            cancelled = cancels;
            connection_->Execute("UPDATE t");
            ADD_FAILURE() << name;
        } catch (const DatabaseError& error) {
            EXPECT_TRUE(Contains(error.what(), cancels ? "given up" : "after 2 seconds"))
                << name << ": " << error.what();
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, most) << name;
    }
}

}  // namespace
}  // namespace morvane::testing::tds
