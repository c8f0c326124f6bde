// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>
#include <langinfo.h>

#include <set>
#include <stdexcept>

#include "base/Text.h"
#include "contract/StrictDriver.h"
#include "core/Transaction.h"
#include "db/TableScript.h"
#include "db/odbc/OdbcConnection.h"
#include "db/odbc/OdbcSession.h"
#include "run/StartUp.h"
#include "support/ErrorOf.h"
#include "support/ScopedVariable.h"
#include "support/Texts.h"
#include "tasks/modDeleteRecords.h"

namespace morvane::testing {
namespace {

// The driver in this process. Loading it here keeps it loaded between connections.
StrictDriver& LoadDriver() {
    void* library = dlopen(MORVANE_STRICT_DRIVER, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return *reinterpret_cast<StrictDriver* (*)()>(dlsym(library, kStrictDriverFunction))();
}

// A result from text, with "|" between columns. The column "n:i" has the type of the letter:
// integer, datetime or, without a letter, text. An empty value is NULL.
StrictResult Table(const std::string& head, const std::vector<std::string>& lines) {
    StrictResult result;
    for (const std::string& column : Split(head, '|')) {
        const SQLSMALLINT type = column.ends_with(":i")   ? SQL_INTEGER
                                 : column.ends_with(":d") ? SQL_TYPE_TIMESTAMP
                                                          : SQL_VARCHAR;
        result.Columns.emplace_back(column.substr(0, column.find(':')), type);
    }
    for (const std::string& line : lines) {
        StrictResult::Row& row = result.Rows.emplace_back();
        for (const std::string& value : Split(line, '|')) {
            row.push_back(value.empty() ? std::nullopt : std::optional(value));
        }
    }
    return result;
}

class MicrosoftDriver : public ::testing::Test {
  protected:
    MicrosoftDriver() { driver_ = StrictDriver(); }

    std::unique_ptr<Connection> Connect() {
        auto connection = CreateOdbcConnection(options_);
        connection->SetLogin({"host", false, "u", "p"});
        connection->Open();
        return connection;
    }

    // The text as read from a query that returns it as its only row.
    std::string Fetched(Connection& connection, SQLSMALLINT type, const std::string& text) {
        driver_.Answers = {{"select", {{.Columns = {{"value", type}}, .Rows = {{text}}}}}};
        const auto rows = connection.OpenRecordset("select");
        return rows->Eof() ? "no row" : (*rows)[0].Text();
    }

    // The last event that contains the text.
    std::string Sent(std::string_view text) const {
        std::string sent = "not sent";
        for (const std::string& event : driver_.Events) {
            sent = event.find(text) == std::string::npos ? sent : event;
        }
        return sent;
    }

    StrictDriver& driver_ = LoadDriver();
    OdbcOptions options_{
        .OtherDriver = odbc::OdbcDriver{MORVANE_STRICT_DRIVER, odbc::DriverFamily::Microsoft}};
};

std::string Repeated(std::size_t times, const std::string& text) {
    std::string repeated;
    for (std::size_t i = 0; i < times; ++i) {
        repeated += text;
    }
    return repeated;
}

TEST_F(MicrosoftDriver, ReconnectsWhenTheServerRefusesToChangeTheDatabase) {
    const std::string options = "SET LANGUAGE us_english SET DATEFORMAT mdy SET NOCOUNT OFF";
    using Events = std::vector<std::string>;
    const struct {
        SQLINTEGER UseError;
        std::string Name;
        Events Expected;
        std::string Database;
    } cases[] = {
        {0, "dw", {}, "dw"},
        {911, "dw", {}, "master"},
        {40508, "dw", {"connect dw", options, "disconnect master"}, "dw"},
        {40508, kClosedDatabase, {"connect closed"}, "master"},
    };
    for (const auto& [useError, name, expected, database] : cases) {
        driver_ = StrictDriver();
        driver_.UseError = useError;
        const auto connection = Connect();
        const std::string error =
            ErrorOf([&, &name = name] { connection->SetDefaultDatabase(name); });
        EXPECT_EQ(error == "no error", database == name) << error;
        Events events{"connect master", options, "use " + name};
        events.insert(events.end(), expected.begin(), expected.end());
        EXPECT_EQ(driver_.Events, events);
        EXPECT_EQ(connection->DefaultDatabase(), database);
        EXPECT_EQ(connection->Execute("anything"), -1) << "the connection works";
    }
}

// Non-ASCII texts must be sent as nvarchar, or the server replaces characters outside its code
// page.
TEST_F(MicrosoftDriver, ReceivesParametersOfAnyLength) {
    const std::set<SQLSMALLINT> narrow{SQL_VARCHAR};
    const std::set<SQLSMALLINT> wide{SQL_WVARCHAR};
    const std::set<SQLSMALLINT> either{SQL_VARCHAR, SQL_WVARCHAR};
    const struct {
        DataType Type;
        int Size;
        std::string Text;
        std::set<SQLSMALLINT> SentAs;
    } cases[] = {
        {DataType::VarChar, 0, "", narrow},
        {DataType::VarChar, 8000, std::string(8000, 'x'), narrow},
        {DataType::VarChar, 255, std::string(8001, 'x'), narrow},
        {DataType::VarChar, 9000, "x", narrow},
        {DataType::LongVarChar, 2147483647, "x", narrow},
        {DataType::DBTimeStamp, 0, "2024-03-05 14:07:09", narrow},
        {DataType::VarChar, 255, "ü", wide},
        {DataType::VarChar, 8000, "ü", wide},
        {DataType::VarChar, 0, Repeated(5000, "ü"), wide},
        {DataType::VarWChar, 4000, Repeated(4000, "€"), wide},
        {DataType::VarWChar, 4000, Repeated(4001, "€"), wide},
        {DataType::VarWChar, 255, Repeated(2001, "😀"), wide},
        {DataType::VarWChar, 1073741823, std::string(4001, 'x'), either},
    };
    const auto connection = Connect();
    for (const auto& [type, size, text, sentAs] : cases) {
        const std::string what = text.substr(0, 4) + "... of " + std::to_string(text.size()) +
                                 " bytes, declared with " + std::to_string(size);
        driver_.Executions.clear();
        const auto command = connection->CreateCommand();
        command->SetText("update t set a = ?");
        command->AppendParameter({.Name = "a", .Type = type, .Size = size, .Value = Value(text)});
        EXPECT_EQ(ErrorOf([&] { command->Execute(); }), "no error") << what;
        ASSERT_EQ(driver_.Executions.size(), 1U) << what;
        EXPECT_TRUE(driver_.Executions[0][0].Text == text) << what;
        EXPECT_TRUE(sentAs.contains(driver_.Executions[0][0].Type)) << what;
    }
}

// Binding makes the driver prepare the statement again, which costs two round trips.
TEST_F(MicrosoftDriver, KeepsParametersBoundBetweenExecutions) {
    const auto connection = Connect();
    const auto command = connection->CreateCommand();
    command->SetText("update t set a = ? where k = ? and x = ?");
    command->AppendParameter({.Name = "a", .Type = DataType::VarChar, .Size = 9, .Value = {}});
    command->AppendParameter({.Name = "k", .Type = DataType::Integer, .Size = 4, .Value = {}});
    command->AppendParameter({.Name = "x", .Type = DataType::Double, .Size = 8, .Value = {}});
    const auto execute = [&](const Value& a, std::int64_t k) {
        command->SetParameter("a", a);
        command->SetParameter("k", Value(k));
        command->SetParameter("x", Value(0.5));
        command->Execute();
        const auto& last = driver_.Executions.back();
        EXPECT_EQ(last[0].Text, a.IsNull() ? std::nullopt : std::optional(a.Text()));
        EXPECT_EQ(last[1].Text, std::to_string(k));
        EXPECT_EQ(last[2].Text, std::to_string(0.5));
    };
    execute(Value(std::string("seven")), 1);
    execute(Value(std::string("one")), 2);
    execute(Value(std::string("")), -9007199254740993);
    EXPECT_EQ(driver_.Prepares, 1);
    EXPECT_EQ(driver_.Binds, 3);
    // The remaining values may need other bindings.
    for (const std::string& text :
         {std::string(20, 'y'), std::string("ü"), Repeated(6000, "€"), std::string("z"),
          std::string(9000, 'z'), std::string(20000, 'z')}) {
        execute(Value(text), 3);
        execute(Value(), 4);
    }
    EXPECT_EQ(driver_.Prepares, 1);
}

TEST_F(MicrosoftDriver, TheRowCountIsThatOfTheStatementAndNotOfItsTriggers) {
    driver_.Answers = {{"update t", {{.Count = 7}, Table("a", {"x"}), {.Count = 9}, {.Count = 1}}}};
    EXPECT_EQ(Connect()->Execute("update t"), 1);
}

TEST_F(MicrosoftDriver, DecimalsGetALeadingZero) {
    const auto connection = Connect();
    for (const auto& [sent, expected] : {std::pair(".50", "0.50"),
                                         {"-.5000", "-0.5000"},
                                         {"10.50", "10.50"},
                                         {"-1.5", "-1.5"},
                                         {"7", "7"}}) {
        EXPECT_EQ(Fetched(*connection, SQL_DECIMAL, sent), expected);
    }
    EXPECT_EQ(Fetched(*connection, SQL_VARCHAR, ".50"), ".50");
}

TEST_F(MicrosoftDriver, LongTextsAreReadCompletely) {
    const auto connection = Connect();
    const std::string nul(1, '\0');
    for (const bool tellsRemaining : {false, true}) {
        driver_.TellsRemaining = tellsRemaining;
        for (const std::string& character : {nul, std::string("😀"), "€" + nul, "aü€😀" + nul}) {
            const std::string text = Repeated(20000 / character.size(), character);
            // Each shift puts another byte of a character at the end of a piece.
            for (std::size_t shift = 0; shift < character.size(); ++shift) {
                const std::string shifted = std::string(shift, '-') + text;
                EXPECT_TRUE(Fetched(*connection, SQL_VARCHAR, shifted) == shifted)
                    << "character of " << character.size() << " bytes, shifted by " << shift
                    << ", remaining bytes told: " << tellsRemaining;
            }
        }
        // Texts that end at or near the end of a buffer.
        for (const std::size_t end : {8192U, 16384U}) {
            for (std::size_t length = end - 2; length < end + 2; ++length) {
                const std::string text(length, 'x');
                EXPECT_TRUE(Fetched(*connection, SQL_VARCHAR, text) == text) << length;
            }
        }
    }
}

TEST_F(MicrosoftDriver, AConnectionIsUsableAfterTheServerHasRolledBack) {
    for (const bool rollsBack : {true, false}) {
        driver_ = StrictDriver();
        driver_.Answers = {{"fails", {{.ErrorCode = 1205, .EndsTransaction = rollsBack}}}};
        const auto connection = Connect();
        EXPECT_THROW(
            {
                Transaction transaction(*connection);
                connection->Execute("fails");
            },
            DatabaseError);
        const std::string error = ErrorOf([&] {
            connection->Execute("alone");
            Transaction transaction(*connection);
            connection->Execute("inside");
            transaction.Commit();
            connection->Execute("after");
        });
        EXPECT_EQ(error, "no error");
        EXPECT_EQ(Sent("fails"), "fails (in transaction)");
        EXPECT_EQ(Sent("alone"), "alone");
        EXPECT_EQ(Sent("inside"), "inside (in transaction)");
        EXPECT_EQ(Sent("after"), "after");
    }
}

TEST_F(MicrosoftDriver, AStatementHasTheDefaultTimeoutUnlessItHasItsOwn) {
    const struct {
        const char* ForAll;
        std::optional<int> Own;
        std::optional<SQLULEN> Expected;
    } cases[] = {{"", {}, {}}, {"7", {}, 7}, {"7", 0, 0}, {"7", 1, 1}};
    for (const auto& [forAll, own, expected] : cases) {
        options_.QueryTimeout = forAll;
        const auto connection = Connect();
        driver_.Timeout.reset();
        const auto command = connection->CreateCommand();
        command->SetText("slow");
        if (own) {
            command->SetTimeout(*own);
        }
        command->Execute();
        EXPECT_EQ(driver_.Timeout, expected);
    }
    for (const char* text : {"-1", "2s", "99999999999"}) {
        EXPECT_THROW(odbc::ParseQueryTimeout(text), DatabaseError) << text;
    }
}

TEST_F(MicrosoftDriver, TheSystemViewsDescribeTheTableThatAStatementMeans) {
    const std::string latin = "Latin1_General_CS_AS|";
    driver_.Answers = {
        {"sys.columns",
         {Table("table_id:i|column_name|type_name|max_length:i|precision:i|scale:i|is_nullable:i|"
                "collation_name|default_text|key_name|key_ordinal:i|is_indexed:i",
                {"7|id|int|4|10|0|0||(NEXT VALUE FOR [dbo].[ids])|pk_sales|2|1",
                 "7|code|nvarchar|40|0|0|0|" + latin + "|pk_sales|1|1",
                 "7|note|varchar|-1|0|0|1|" + latin + "('[a].[b]')|||1",
                 "7|price|decimal|9|18|4|1||((0))|||1",
                 "7|sold|datetime2|7|22|3|1||(getdate())|||1", "9|id|int|4|10|0|0|||||1"})}}};
    const auto connection = Connect();
    EXPECT_EQ(CreateTableScript(connection->DescribeTable("sales")),
              "CREATE TABLE sales (\r\n"
              "\t[id] int NOT NULL,\r\n"
              "\t[code] nvarchar(20) COLLATE Latin1_General_CS_AS NOT NULL,\r\n"
              "\t[note] varchar(max) COLLATE Latin1_General_CS_AS NULL DEFAULT ('[a].[b]'),\r\n"
              "\t[price] decimal(18,4) NULL DEFAULT ((0)),\r\n"
              "\t[sold] datetime2(3) NULL DEFAULT (getdate()),\r\n"
              "\tCONSTRAINT [pk_sales] PRIMARY KEY CLUSTERED ([code], [id])\r\n)");
    EXPECT_TRUE(connection->IsIndexed("sales"));
    EXPECT_TRUE(connection->ColumnExists("it's", "SOLD"));
    EXPECT_TRUE(Contains(Sent("sys.columns"), "N'it''s'"));
}

TEST_F(MicrosoftDriver, WithoutSystemViewsTheCatalogueFunctionsDescribeATable) {
    std::vector<std::string> lines;
    for (const std::string table : {"dw|archive|sales|", "dw|dbo|sales|"}) {
        lines.push_back(table + "id|0|int|10|10|0||1");
        lines.push_back(table + "price|0|decimal|9|9|2||1");
        lines.push_back(table + "sold|0|datetime2|23|23|||1");  // 20 characters and the fraction
    }
    lines.emplace_back("dw|dbo|saleS_|other|0|int|10|10|0||1");  // matches "sales" as a pattern
    for (std::string& line : lines) {
        line += "||";
    }
    driver_.Answers = {
        {"sys.columns", {{.ErrorCode = 208}}},
        {"SQLColumns", {Table("1|2|3|4|5:i|6|7:i|8:i|9:i|10:i|11:i|12|13", lines)}},
        {"SQLPrimaryKeys", {Table("1|2|3|4|5:i|6", {"dw|dbo|sales|id|1|pk_sales"})}}};
    EXPECT_EQ(CreateTableScript(Connect()->DescribeTable("sales")),
              "CREATE TABLE sales (\r\n"
              "\t[id] int NOT NULL,\r\n"
              "\t[price] decimal(9,2) NULL,\r\n"
              "\t[sold] datetime2(3) NULL,\r\n"
              "\tCONSTRAINT [pk_sales] PRIMARY KEY CLUSTERED ([id])\r\n)");
}

// Only the server knows whether "Ä1" and "ä1" are equal: the history is merged by its GROUP BY.
TEST_F(MicrosoftDriver, TheServerDecidesWhichTextsAreEqual) {
    const std::vector<std::string> versions = {
        "Ä1|2020-01-01|2021-01-01|0", "ä1|2021-01-01|2022-01-01|0", "ö1|2020-01-01|2021-01-01|0"};
    const struct {
        std::vector<std::string> Groups;
        std::string SecondStart;
    } cases[] = {{{"Ä1|2", "ö1|1"}, "2020-01-01T00:00:00"},
                 {{"Ä1|1", "ä1|1", "ö1|1"}, "2021-01-01T00:00:00"}};
    const auto connection = Connect();
    for (const auto& [groups, secondStart] : cases) {
        driver_.Answers = {{"SELECT DISTINCT original_primary_key", {Table("k", {"code"})}},
                           {"SELECT * FROM client",
                            {Table("code|start_date:d|end_date:d|is_current:i", versions)}},
                           {"GROUP BY code", {Table("code|CntVersions:i", groups)}},
                           {"SELECT code FROM client", {Table("code", {})}},
                           {"sp_execute", {Table("morvane_counts", {"2 1 0 "})}}};
        const bool together =
            groups.size() == 2;  // then the second version is one of those changed
        EXPECT_EQ(RelinkSlowlyMovingHistory("client", *connection, *connection), together ? 2 : 3);
        const std::string request = Sent("sp_execute");
        EXPECT_TRUE(Contains(request, "SET start_date = @P1 WHERE code = @P2"));
        EXPECT_TRUE(Contains(request, "'" + secondStart + "',N'ä1','2022-01-01T00:00:00'"));
    }
}

TEST_F(MicrosoftDriver, TypesAreReadWithoutLoss) {
    const struct {
        SQLSMALLINT Type;
        const char* Sent;
        DataType Expected;
        const char* Text;
    } cases[] = {{SQL_BIT, "1", DataType::Boolean, "1"},
                 {SQL_TINYINT, "255", DataType::TinyInt, "255"},
                 {SQL_SMALLINT, "-5", DataType::SmallInt, "-5"},
                 {SQL_BIGINT, "9007199254740993", DataType::BigInt, "9007199254740993"},
                 {SQL_REAL, "0.1", DataType::Single, "0.1"},
                 {SQL_FLOAT, "0.1", DataType::Double, "0.1"},
                 {SQL_DECIMAL, "-.50", DataType::Numeric, "-0.50"},
                 {SQL_CHAR, "a ", DataType::Char, "a "},
                 {SQL_LONGVARCHAR, "b", DataType::LongVarChar, "b"},
                 {SQL_WCHAR, "ü", DataType::WChar, "ü"},
                 {SQL_WLONGVARCHAR, "ü", DataType::LongVarWChar, "ü"},
                 {SQL_TYPE_TIME, "10:11:12", DataType::VarWChar, "10:11:12"},
                 {SQL_TYPE_DATE, "2024-03-05", DataType::DBTimeStamp, "2024-03-05"},
                 {SQL_GUID, "6F9619FF-8B86", DataType::Guid, "6F9619FF-8B86"}};
    StrictResult result;
    StrictResult::Row values;
    for (const auto& c : cases) {
        result.Columns.emplace_back("c", c.Type);
        values.emplace_back(c.Sent);
    }
    result.Rows = {values, StrictResult::Row(values.size())};
    driver_.Answers = {{"select", {result}}};
    const auto rows = Connect()->OpenRecordset("select");
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(rows->Fields()[i].Type, cases[i].Expected) << i;
        EXPECT_EQ((*rows)[i].Text(), cases[i].Text) << i;
    }
    rows->MoveNext();
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_TRUE((*rows)[i].IsNull()) << i;
    }
}

TEST_F(MicrosoftDriver, ABatchReportsRowCounts) {
    driver_.Answers = {{"DELETE a", {Table("morvane_counts", {"3 0 1 "})}}};
    const auto connection = Connect();
    std::vector<std::int64_t> counts;
    const auto batch =
        connection->CreateBatch([&](std::size_t, std::int64_t rows) { counts.push_back(rows); });
    batch->Add("DELETE a WHERE k = 'it''s ?'");
    batch->Add("DELETE a WHERE k = ?",
               {{.Name = "k", .Size = 3, .Value = Value(std::string("ü"))}});
    batch->Add("DELETE a WHERE k = ?", {{.Name = "k", .Size = 3, .Value = {}}});
    EXPECT_EQ(Sent("DELETE a"), "not sent");
    batch->Finish();
    EXPECT_EQ(counts, (std::vector<std::int64_t>{3, 0, 1}));
    for (const char* part :
         {"N'DELETE a WHERE k = ''it''''s ?'''", "exec sp_execute @h0,N'ü'",
          "exec sp_executesql N'DELETE a WHERE k = @P1',N'@P1 varchar(8000)',null"}) {
        EXPECT_TRUE(Contains(Sent("DELETE a"), part));
    }

    const Value integer(std::int64_t{5});
    batch->Add("DELETE a WHERE x IN (?, ?, ?, ?, ?)",
               {{.Name = "1", .Type = DataType::Boolean, .Value = integer},
                {.Name = "2", .Type = DataType::BigInt, .Value = integer},
                {.Name = "3", .Type = DataType::Double, .Value = Value(0.5)},
                {.Name = "4", .Type = DataType::VarBinary, .Value = Value(std::string("0x0aFF"))},
                {.Name = "5", .Value = Value(std::string(8001, 'x'))}});
    EXPECT_THROW(batch->Finish(), DatabaseError) << "three counts for one statement";
    for (const std::string& part :
         {std::string("N'@P1 bit,@P2 bigint,@P3 float,@P4 varbinary(max),@P5 varchar(max)'"),
          "5,5,5.000000e-01,0x0aFF,'" + std::string(8001, 'x')}) {
        EXPECT_TRUE(Contains(Sent("DELETE a"), part));
    }
}

TEST_F(MicrosoftDriver, AnErrorInABatchNamesTheStatement) {
    for (const bool told : {true, false}) {
        driver_.Answers = {{"DELETE b",
                            {{.Count = 7},
                             told ? Table("morvane_failed", {"1"}) : StrictResult{.Count = 1},
                             {.ErrorCode = 547}}}};
        const auto connection = Connect();
        const auto batch = connection->CreateBatch();
        batch->Add("DELETE b WHERE k = 1");
        batch->Add("DELETE b WHERE k = 2");
        try {
            batch->Finish();
            ADD_FAILURE() << "no error";
        } catch (const DatabaseError& error) {
            EXPECT_EQ(error.Statement(), told ? "DELETE b WHERE k = 2" : "DELETE b WHERE k = 1");
            EXPECT_NE(bool(Contains(error.what(), "2 statements were sent together")), told);
            EXPECT_TRUE(Contains(error.what(), "scripted"));
        }
    }
}

// Drivers take the encoding of the program's texts from the C library.
TEST(UseSystemLocale, SetsUtf8InEveryLocale) {
    for (const char* locale : {"C", "de_DE.ISO-8859-1", "zz_ZZ"}) {
        const ScopedVariable all("LC_ALL", locale);
        UseSystemLocale();
        EXPECT_STREQ(nl_langinfo(CODESET), "UTF-8") << locale;
    }
}

}  // namespace
}  // namespace morvane::testing
