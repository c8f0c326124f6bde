// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>

#include "contract/Backend.h"
#include "core/Transaction.h"
#include "db/modDatabaseOperations.h"
#include "support/ErrorOf.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

// Test cases that run against every engine.
class Contract : public ::testing::TestWithParam<Backend> {
  protected:
    void SetUp() override {
        if (!GetParam().Unavailable.empty()) {
            GTEST_SKIP() << GetParam().Unavailable;
        }
        database_ = GetParam().Make();
        connection_ = database_->Open();
    }

    void Run(const std::string& sql) { connection_->Execute(sql); }

    // The table t(a int) with the given rows.
    void MakeNumbers(std::initializer_list<const char*> rows) {
        Run("create table t(a int)");
        for (const char* row : rows) {
            Run(std::string("insert into t values (") + row + ")");
        }
    }

    // The result of a query, with "|" between columns and a space between rows.
    std::string Text(const std::string& sql) {
        std::string text;
        const auto rows = connection_->OpenRecordset(sql);
        for (; !rows->Eof(); rows->MoveNext()) {
            text += text.empty() ? "" : " ";
            for (std::size_t i = 0; i < rows->Fields().size(); ++i) {
                text += (i == 0 ? "" : "|") + (*rows)[i].Text();
            }
        }
        return text;
    }

    std::unique_ptr<TestDatabase> database_;
    std::unique_ptr<Connection> connection_;
};

INSTANTIATE_TEST_SUITE_P(Engines, Contract, ::testing::ValuesIn(AllBackends()),
                         [](const auto& instance) { return instance.param.Name; });

TEST_P(Contract, AMissingDatabaseIsAnErrorAndLeavesTheOldOneSelected) {
    if (GetParam().Name == "SqliteOdbc") {
        GTEST_SKIP() << "the SQLite driver makes a missing file";
    }
    EXPECT_TRUE(Contains(ErrorOf([&] { connection_->SetDefaultDatabase("no_such_database"); }),
                         "no_such_database"));
    EXPECT_EQ(connection_->DefaultDatabase(), database_->Name());
    MakeNumbers({});
    EXPECT_TRUE(connection_->TableExists("t"));
    std::vector<std::string> databases;
    FillDatabaseList(databases, *connection_);
    EXPECT_NE(std::find(databases.begin(), databases.end(), database_->Name()), databases.end());
}

TEST_P(Contract, ValuesRoundTrip) {
    const struct {
        const char* Type;
        std::string Literal;
        std::string Read;  // further digits may follow
        DataType FieldType;
    } cases[] = {
        {"int", "-2147483648", "-2147483648", DataType::Integer},
        {"bigint", "9007199254740993", "9007199254740993", DataType::BigInt},
        {"smallint", "-7", "-7", DataType::SmallInt},
        {"bit", "1", "1", DataType::Boolean},
        {"decimal(18,4)", "-0.5", "-0.5", DataType::Numeric},
        {"varchar(30)", "'it''s'", "it's", DataType::VarChar},
        {"nvarchar(30)", GetParam().SpeaksTSql ? "N'grün'" : "'grün'", "grün", DataType::VarWChar},
        {"char(3)", "'abc'", "abc", DataType::Char},
        {"datetime", "'2024-03-05 14:07:09'", "2024-03-05 14:07:09", DataType::DBTimeStamp},
        {"float", "1.1", "1.1", DataType::Double},
    };
    std::string columns;
    std::string values;
    std::string nulls;
    for (const auto& [type, literal, read, fieldType] : cases) {
        const std::string separator = columns.empty() ? "" : ",";
        columns += separator + "c" + std::to_string(columns.size()) + " " + type;
        values += separator + literal;
        nulls += separator + "null";
    }
    Run("create table t(" + columns + ")");
    Run("insert into t values (" + values + ")");
    Run("insert into t values (" + nulls + ")");
    const auto rows = connection_->OpenRecordset("select * from t");
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const Field& field = rows->Fields().at(i);
        EXPECT_TRUE(field.Value.Text().starts_with(cases[i].Read)) << field.Value.Text();
        if (GetParam().Name != "SqliteOdbc") {  // most types are texts to the SQLite driver
            EXPECT_EQ(field.Type, cases[i].FieldType) << cases[i].Type;
        }
    }
    rows->MoveNext();
    for (const Field& field : rows->Fields()) {
        EXPECT_TRUE(field.Value.IsNull()) << field.Name;
    }
}

TEST_P(Contract, LongTextsAreReadCompletely) {
    const bool tSql = GetParam().SpeaksTSql;
    Run(std::string("create table t(c ") + (tSql ? "nvarchar(max))" : "text)"));
    std::string text;
    while (text.size() < 20000) {
        text += "ü€";
    }
    // Each shift puts another byte of a character at the end of a piece.
    for (const char* shift : {"", "-", "--", "---", "----"}) {
        Run("delete from t");
        Run(std::string("insert into t values (") + (tSql ? "N'" : "'") + shift + text + "')");
        EXPECT_TRUE(Text("select c from t") == shift + text) << shift;
    }
}

TEST_P(Contract, RowCountsAreExact) {
    MakeNumbers({});
    EXPECT_EQ(connection_->Execute("insert into t values (1)"), 1);
    EXPECT_EQ(connection_->Execute("insert into t select a + 1 from t"), 1);
    EXPECT_EQ(connection_->Execute("update t set a = a where a > 0"), 2);
    EXPECT_EQ(connection_->Execute("update t set a = 9 where a = 7"), 0);
    EXPECT_EQ(connection_->Execute("delete from t where a > 0"), 2);
}

TEST_P(Contract, ParametersAreBoundByPosition) {
    Run("create table t(a int, b varchar(9), w datetime)");
    for (const char* row : {"(1, 'x', null)", "(2, 'y', null)", "(2, '', null)"}) {
        Run(std::string("insert into t values ") + row);
    }
    const auto command = connection_->CreateCommand();
    command->SetText("update t set w = ? where b = ? and a = ?");
    command->AppendParameter({.Name = "w",
                              .Type = DataType::DBTimeStamp,
                              .Size = 0,
                              .Value = Value(std::string("2024-03-05 14:07:09"))});
    command->AppendParameter(
        {.Name = "b", .Type = DataType::VarChar, .Size = 9, .Value = Value(std::string("x"))});
    command->AppendParameter(
        {.Name = "a", .Type = DataType::Integer, .Size = 4, .Value = Value(std::int64_t{1})});
    EXPECT_EQ(command->Execute(), 1);
    command->SetParameter("A", Value(std::int64_t{2}));
    EXPECT_EQ(command->Execute(), 0) << "x is not in row 2";
    command->SetParameter("b", Value(std::string("y")));
    EXPECT_EQ(command->Execute(), 1);
    command->SetParameter("b", Value());
    EXPECT_EQ(command->Execute(), 0) << "NULL equals nothing, not even an empty text";
    command->SetText("delete from t where w = ? and b = ? and a = ?");
    command->SetParameter("b", Value(std::string("y")));
    EXPECT_EQ(command->Execute(), 1) << "a new text keeps the parameters";
    EXPECT_EQ(Text("select a, b from t order by a"), "1|x 2|");
}

TEST_P(Contract, ACommandOpensRecordsetsRepeatedly) {
    Run("create table t(a int, b varchar(9))");
    Run("insert into t values (1, 'x')");
    const auto command = connection_->CreateCommand();
    command->SetText("select 7 as number, count(*) as n from t where b = ?");
    command->AppendParameter({.Name = "b", .Type = DataType::VarChar, .Size = 255, .Value = {}});
    for (const auto& [value, count] : {std::pair("x", 1), std::pair("y", 0), std::pair("x", 1)}) {
        command->SetParameter("b", Value(std::string(value)));
        EXPECT_EQ(command->OpenRecordset()->ValueOf("n").Integer(), count);
    }
}

TEST_P(Contract, RecordsetsLeaveTheConnectionFree) {
    MakeNumbers({"1", "2"});
    const auto buffered = connection_->OpenRecordset("select a from t order by a");
    auto streamed = connection_->OpenRecordset("select a from t", RecordsetKind::Streamed);
    streamed.reset();
    Run("insert into t values (3)");
    streamed = connection_->OpenRecordset("select a from t", RecordsetKind::Streamed);
    while (!streamed->Eof()) {
        streamed->MoveNext();
    }
    Run("delete from t");
    EXPECT_EQ(Text("select count(*) from t"), "0");
    EXPECT_EQ((*buffered)[0].Integer(), 1);
    buffered->MoveNext();
    EXPECT_EQ((*buffered)[0].Integer(), 2);
    buffered->MoveNext();
    EXPECT_TRUE(buffered->Eof());
}

TEST_P(Contract, ObjectsThatOutliveTheirConnectionThrowAndHoldNoLocks) {
    MakeNumbers({"1", "2"});
    const std::function<void()> endings[] = {
        [&] {
            connection_->Close();
            EXPECT_FALSE(connection_->IsOpen());
            EXPECT_THROW(Run("update t set a = 9"), DatabaseError);
        },
        [&] {
            connection_->Close();
            connection_->Open();
            connection_->SetDefaultDatabase(database_->Name());
            EXPECT_EQ(Text("select count(*) from t"), "2");
        },
        [&] { connection_.reset(); },
    };
    for (const auto& end : endings) {
        connection_ = database_->Open();
        const auto command = connection_->CreateCommand();
        command->SetText("insert into t values (3)");
        const auto used = connection_->CreateCommand();
        used->SetText("update t set a = a where a = 1");
        EXPECT_EQ(used->Execute(), 1);
        const auto batch = connection_->CreateBatch();
        connection_->BeginTrans();
        Run("insert into t values (4)");
        const auto rows =
            connection_->OpenRecordset("select a from t order by a", RecordsetKind::Streamed);
        end();
        EXPECT_THROW(command->Execute(), DatabaseError);
        EXPECT_THROW(used->Execute(), DatabaseError);
        EXPECT_THROW(command->OpenRecordset(), DatabaseError);
        EXPECT_THROW(
            {
                batch->Add("insert into t values (5)");
                batch->Finish();
            },
            DatabaseError);
        EXPECT_THROW(rows->MoveNext(), DatabaseError);
        EXPECT_EQ((*rows)[0].Integer(), 1) << "the current row stays readable";
        connection_ = database_->Open();
        EXPECT_EQ(connection_->Execute("update t set a = a where a > 0"), 2)
            << "neither a lock nor a row is left behind";
    }
}

TEST_P(Contract, ATransactionIsAllOrNothing) {
    Run("create table t(a int not null, primary key(a))");
    {
        Transaction transaction(*connection_);
        Run("insert into t values (1)");
    }
    EXPECT_EQ(Text("select count(*) from t"), "0");
    {
        Transaction transaction(*connection_);
        Run("insert into t values (1)");
        transaction.Commit();
    }
    {
        Transaction transaction(*connection_);
        Run("insert into t values (2)");
        EXPECT_THROW(Run("insert into t values (1)"), DatabaseError);
        if (GetParam().Name != "Embedded") {  // the server may have rolled back
            EXPECT_THROW(Run("insert into t values (4)"), DatabaseError);
            EXPECT_THROW(transaction.Commit(), DatabaseError);
        }
    }
    EXPECT_EQ(Text("select a from t"), "1");
    Run("insert into t values (3)");
    EXPECT_EQ(Text("select count(*) from t"), "2") << "the connection stays usable";
}

TEST_P(Contract, CatalogueNamesAreNotPatterns) {
    Run("create table ax_t(a_b int not null, primary key(a_b))");
    Run("create table bare(a int)");
    EXPECT_TRUE(connection_->TableExists("AX_T"));
    EXPECT_TRUE(connection_->ColumnExists("ax_t", "A_B"));
    EXPECT_FALSE(connection_->ColumnExists("ax_t", "a%"));
    EXPECT_TRUE(connection_->IsIndexed("Ax_t"));
    EXPECT_FALSE(connection_->IsIndexed("bare"));
    Run("create table two(a int, b int, c int)");
    Run("create index ix_two on two (c, a)");
    EXPECT_EQ(connection_->IndexColumns("two"),
              (std::vector<std::vector<std::string>>{{"c", "a"}}));
    EXPECT_EQ(connection_->IndexColumns("ax_t").at(0), std::vector<std::string>{"a_b"});
    for (const char* missing : {"a__t", "ax%", "it's"}) {
        EXPECT_FALSE(connection_->TableExists(missing));
        EXPECT_FALSE(connection_->ColumnExists(missing, "a_b"));
        EXPECT_FALSE(connection_->IsIndexed(missing));
    }
}

TEST_P(Contract, ErrorsContainTheServersMessageAndTheStatement) {
    try {
        Run("update no_such_table set a = 1");
        FAIL() << "no error";
    } catch (const DatabaseError& error) {
        EXPECT_TRUE(Contains(error.Descriptions().at(0), "no_such_table"));
        EXPECT_EQ(error.Descriptions().at(0).find('['), std::string::npos);
        EXPECT_TRUE(Contains(error.what(), "Statement: update no_such_table set a = 1"));
    }
    MakeNumbers({});
}

TEST_P(Contract, ACheckedQueryIsCompiledAndNotExecuted) {
    if (!GetParam().SpeaksTSql) {
        GTEST_SKIP() << "this engine does not speak T-SQL";
    }
    MakeNumbers({"1"});
    std::string error;
    EXPECT_TRUE(ValidateQuery("select a from t where a = 1", *connection_, error)) << error;
    EXPECT_FALSE(ValidateQuery("select a from t where no_such_column = 1", *connection_, error));
    EXPECT_TRUE(Contains(error, "no_such_column"));
    Run("Set NOEXEC OFF");
    EXPECT_TRUE(ValidateQuery("delete from t where a = 1", *connection_, error)) << error;
    if (GetParam().Name == "LiveServer" && Text("select count(*) from t") == "0") {
        GTEST_SKIP() << "this server ignores NOEXEC";
    }
    EXPECT_EQ(Text("select count(*) from t"), "1");
}

}  // namespace
}  // namespace morvane::testing
