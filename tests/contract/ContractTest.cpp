// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>

#include "contract/Backend.h"
#include "core/Transaction.h"
#include "db/modDatabaseOperations.h"
#include "dialogs/UpdatableRows.h"

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

    // The result of a query, with "|" between columns and a space between rows.
    std::string Text(const std::string& sql) {
        std::string text;
        const auto rows = connection_->OpenRecordset(sql);
        for (; !rows->Eof(); rows->MoveNext()) {
            text += text.empty() ? "" : " ";
            for (std::size_t i = 0; i < rows->Fields().size(); ++i) {
                const Value& value = (*rows)[i];
                text += (i == 0 ? "" : "|") + (value.IsNull() ? "NULL" : value.Text());
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
    try {
        connection_->SetDefaultDatabase("no_such_database");
        ADD_FAILURE() << "no error";
    } catch (const DatabaseError& error) {
        EXPECT_NE(std::string(error.what()).find("no_such_database"), std::string::npos);
    }
    EXPECT_EQ(connection_->DefaultDatabase(), database_->Name());
    Run("create table t(a int)");
    EXPECT_TRUE(connection_->TableExists("t"));
}

TEST_P(Contract, ValuesRoundTrip) {
    Run("create table t(i int, b bigint, s smallint, f bit, d decimal(18,4), v varchar(30), "
        "n nvarchar(30), w datetime, x float)");
    Run("insert into t values (-2147483648, 9007199254740993, -7, 1, -0.5, 'it''s', " +
        std::string(GetParam().SpeaksTSql ? "N" : "") + "'grün', '2024-03-05 14:07:09', 1.1)");
    Run("insert into t values (null, null, null, null, null, null, null, null, null)");
    const auto rows = connection_->OpenRecordset("select * from t");
    EXPECT_EQ((*rows)[0].Integer(), -2147483648LL);
    EXPECT_EQ((*rows)[1].Text(), "9007199254740993");
    EXPECT_EQ((*rows)[2].Integer(), -7);
    EXPECT_TRUE((*rows)[3].Flag());
    EXPECT_EQ((*rows)[4].Text().substr(0, 4), "-0.5");
    EXPECT_EQ((*rows)[5].Text(), "it's");
    EXPECT_EQ((*rows)[6].Text(), "grün");
    EXPECT_EQ((*rows)[7].Text().substr(0, 19), "2024-03-05 14:07:09");
    EXPECT_EQ((*rows)[8].Text(), "1.1");
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

TEST_P(Contract, FieldsHaveTheColumnTypes) {
    if (GetParam().Name == "SqliteOdbc") {
        GTEST_SKIP() << "the SQLite driver takes every other type for a text";
    }
    Run("create table t(i int, b bigint, d decimal(18,4), v varchar(30), n nvarchar(30), w "
        "datetime, c char(3), x float)");
    const auto rows = connection_->OpenRecordset("select * from t");
    EXPECT_TRUE(rows->Eof());
    const std::vector<Field>& fields = rows->Fields();
    EXPECT_EQ(fields[0].Type, DataType::Integer);
    EXPECT_EQ(fields[1].Type, DataType::BigInt);
    EXPECT_EQ(fields[2].Type, DataType::Numeric);
    EXPECT_EQ(fields[2].Precision, 18);
    EXPECT_EQ(fields[2].NumericScale, 4);
    EXPECT_EQ(fields[3].Type, DataType::VarChar);
    EXPECT_EQ(fields[4].Type, DataType::VarWChar);
    EXPECT_EQ(fields[5].Type, DataType::DBTimeStamp);
    EXPECT_EQ(fields[6].Type, DataType::Char);
    EXPECT_EQ(fields[7].Type, DataType::Double);
}

TEST_P(Contract, RowCountsAreExact) {
    Run("create table t(a int)");
    EXPECT_EQ(connection_->Execute("insert into t values (1)"), 1);
    EXPECT_EQ(connection_->Execute("insert into t select a + 1 from t"), 1);
    EXPECT_EQ(connection_->Execute("update t set a = a where a > 0"), 2);
    EXPECT_EQ(connection_->Execute("update t set a = 9 where a = 7"), 0);
    EXPECT_EQ(connection_->Execute("delete from t where a > 7"), 0);
    EXPECT_EQ(connection_->Execute("delete from t where a > 0"), 2);
}

TEST_P(Contract, ParametersAreBoundByPosition) {
    Run("create table t(a int, b varchar(9), w datetime)");
    Run("insert into t values (1, 'x', null)");
    Run("insert into t values (2, 'y', null)");
    Run("insert into t values (2, '', null)");
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
    EXPECT_EQ(command->Execute(), 0) << "x is not of row 2";
    command->SetParameter("b", Value(std::string("y")));
    EXPECT_EQ(command->Execute(), 1);
    command->SetParameter("b", Value());
    EXPECT_EQ(command->Execute(), 0) << "NULL equals nothing, not even an empty text";
    command->SetText("delete from t where w = ? and b = ? and a = ?");
    command->SetParameter("b", Value(std::string("y")));
    EXPECT_EQ(command->Execute(), 1) << "another text keeps the parameters";
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

TEST_P(Contract, ABufferedRecordsetLeavesTheConnectionFree) {
    Run("create table t(a int)");
    Run("insert into t values (1)");
    Run("insert into t values (2)");
    const auto rows = connection_->OpenRecordset("select a from t order by a");
    Run("delete from t");
    EXPECT_EQ((*rows)[0].Integer(), 1);
    rows->MoveNext();
    EXPECT_EQ((*rows)[0].Integer(), 2);
    rows->MoveNext();
    EXPECT_TRUE(rows->Eof());
}

TEST_P(Contract, AStreamedRecordsetFreesTheConnectionAtItsEndOrWhenDestroyed) {
    Run("create table t(a int)");
    Run("insert into t values (1)");
    Run("insert into t values (2)");
    auto rows = connection_->OpenRecordset("select a from t", RecordsetKind::Streamed);
    rows.reset();
    Run("insert into t values (3)");
    rows = connection_->OpenRecordset("select a from t", RecordsetKind::Streamed);
    while (!rows->Eof()) {
        rows->MoveNext();
    }
    Run("delete from t");
    EXPECT_EQ(Text("select count(*) from t"), "0");
}

TEST_P(Contract, ObjectsThatOutliveTheirConnectionThrowAndHoldNoLocks) {
    Run("create table t(a int)");
    Run("insert into t values (1)");
    Run("insert into t values (2)");
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
        EXPECT_EQ((*rows)[0].Integer(), 1) << "the row that was read is its owner's";
        connection_ = database_->Open();
        EXPECT_EQ(connection_->Execute("update t set a = a where a > 0"), 2)
            << "neither a lock nor a row is left behind";
    }
}

TEST_P(Contract, ATransactionIsAllOrNothing) {
    Run("create table t(a int)");
    {
        Transaction transaction(*connection_);
        Run("insert into t values (1)");
    }
    EXPECT_EQ(Text("select count(*) from t"), "0");
    {
        Transaction transaction(*connection_);
        Run("insert into t values (2)");
        transaction.Commit();
    }
    Run("insert into t values (3)");
    EXPECT_EQ(Text("select a from t order by a"), "2 3");
}

TEST_P(Contract, AnErrorInATransactionUndoesAllOfIt) {
    Run("create table t(a int not null, primary key(a))");
    Run("insert into t values (1)");
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
    EXPECT_EQ(Text("select count(*) from t"), "2") << "the connection goes on";
}

TEST_P(Contract, RowsAreSavedByKeyAllOrNone) {
    Run("create table t(a int, b varchar(9), c int)");
    for (const char* row : {"(1, 'x', 0)", "(2, null, 0)", "(3, 'z', 0)", "(3, 'z', 0)"}) {
        Run(std::string("insert into t values ") + row);
    }
    const auto integer = [](const char* name, std::int64_t value) {
        return ColumnValue{
            .Name = name, .Type = DataType::Integer, .Size = 4, .Value = Value(value)};
    };
    const auto text = [](const char* name, Value value) {
        return ColumnValue{
            .Name = name, .Type = DataType::VarChar, .Size = 9, .Value = std::move(value)};
    };
    const RowChange first{{integer("a", 1), text("b", Value(std::string("x")))}, {integer("c", 1)}};
    const RowChange withNull{{integer("a", 2), text("b", Value())}, {integer("c", 2)}};
    SaveRows(*connection_, "t", {first, withNull});
    EXPECT_EQ(Text("select a, c from t where a < 3 order by a"), "1|1 2|2");

    const RowChange again{{integer("a", 1)}, {integer("c", 9)}};
    const RowChange gone{{integer("a", 1), text("b", Value(std::string("old")))},
                         {integer("c", 9)}};
    const RowChange twice{{integer("a", 3)}, {integer("c", 9)}};
    EXPECT_THROW(SaveRows(*connection_, "t", {again, gone}), DatabaseError);
    EXPECT_THROW(SaveRows(*connection_, "t", {again, twice}), DatabaseError);
    EXPECT_EQ(Text("select count(*) from t where c = 9"), "0") << "all or none";
    // A save without changes still finds the row.
    SaveRows(*connection_, "t", {first});
}

TEST_P(Contract, CatalogueNamesAreNotPatterns) {
    Run("create table ax_t(a_b int not null, primary key(a_b))");
    Run("create table bare(a int)");
    EXPECT_TRUE(connection_->TableExists("AX_T"));
    EXPECT_FALSE(connection_->TableExists("a__t"));
    EXPECT_FALSE(connection_->TableExists("ax%"));
    EXPECT_FALSE(connection_->TableExists("it's"));
    EXPECT_TRUE(connection_->ColumnExists("ax_t", "A_B"));
    EXPECT_FALSE(connection_->ColumnExists("ax_t", "a%"));
    EXPECT_FALSE(connection_->ColumnExists("a__t", "a_b"));
    EXPECT_FALSE(connection_->ColumnExists("none", "a"));
    EXPECT_TRUE(connection_->IsIndexed("Ax_t"));
    EXPECT_FALSE(connection_->IsIndexed("bare"));
    EXPECT_FALSE(connection_->IsIndexed("a__t"));
}

TEST_P(Contract, ErrorsContainTheServersMessageAndTheStatement) {
    try {
        Run("update no_such_table set a = 1");
        FAIL() << "no error";
    } catch (const DatabaseError& error) {
        EXPECT_NE(std::string(error.what()).find("no_such_table"), std::string::npos);
        EXPECT_NE(std::string(error.what()).find("Statement: update no_such_table set a = 1"),
                  std::string::npos);
        EXPECT_EQ(error.Descriptions().at(0).find('['), std::string::npos);
    }
    Run("create table t(a int)");
}

// Whether the server honours "Set NOEXEC ON". Some servers accept the option and execute statements
// anyway; this tries it with a harmless query.
bool HonoursNoExec(Connection& connection) {
    connection.Execute("Set NOEXEC ON");
    bool honours = false;
    try {
        honours = connection.OpenRecordset("select 1 as a")->Eof();
    } catch (const DatabaseError&) {
        honours = true;  // not executed, so there are no columns
    }
    connection.Execute("Set NOEXEC OFF");
    return honours;
}

TEST_P(Contract, ACheckedQueryIsCompiledAndNotExecuted) {
    if (!GetParam().SpeaksTSql) {
        GTEST_SKIP() << "this engine does not speak T-SQL";
    }
    Run("create table t(a int)");
    Run("insert into t values (1)");
    std::string error;
    EXPECT_TRUE(ValidateQuery("  ", *connection_, error));
    EXPECT_TRUE(ValidateQuery("select a from t where a = 1", *connection_, error)) << error;
    EXPECT_FALSE(ValidateQuery("select a from t where no_such_column = 1", *connection_, error));
    EXPECT_NE(error.find("no_such_column"), std::string::npos);
    Run("Set NOEXEC OFF");
    if (GetParam().Name == "LiveServer" && !HonoursNoExec(*connection_)) {
        GTEST_SKIP() << "this server executes what it should compile alone";
    }
    EXPECT_TRUE(ValidateQuery("delete from t where a = 1", *connection_, error)) << error;
    EXPECT_EQ(Text("select count(*) from t"), "1");
}

TEST_P(Contract, TheServersDialectIsUnderstood) {
    if (!GetParam().SpeaksTSql) {
        GTEST_SKIP() << "this engine does not speak T-SQL";
    }
    Run("create table dim(k int, mark bit)");
    Run("create table fact(k int, d datetime)");
    Run("insert into dim values (1, 1)");
    Run("insert into dim values (2, 1)");
    try {
        Run("insert into fact values (1, {ts '2024-03-05 14:07:09'})");
    } catch (const DatabaseError& error) {
        GTEST_SKIP() << error.what();  // a server that does not parse ODBC escapes
    }
    Run("insert into fact values (1, getdate())");
    EXPECT_EQ(
        connection_->Execute("UPDATE dim SET mark = 0 FROM dim,fact WHERE \r\ndim.k = fact.k\r\n"),
        1);
    EXPECT_EQ(Text("select k from dim where mark = 1"), "2");
    EXPECT_EQ(Text("select count(*) from fact where d < dateadd(year, -1, getdate())"), "1");
    EXPECT_EQ(
        Text("select count(*) from fact where (datediff(day, '2024-03-05 23:00:00', d) = 0) "),
        "1");
    std::vector<std::string> databases;
    FillDatabaseList(databases, *connection_);
    EXPECT_NE(std::find(databases.begin(), databases.end(), database_->Name()), databases.end());
}

}  // namespace
}  // namespace morvane::testing
