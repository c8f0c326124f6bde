// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>

#include "base/Text.h"
#include "contract/Backend.h"
#include "db/TableScript.h"
#include "demo/DemoWarehouse.h"
#include "support/RunFixture.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

constexpr std::size_t kRowsPerStatement = 500;

std::vector<std::string> TableNames(Connection& connection) {
    std::vector<std::string> names = {"dwm_tables", "dwm_star_relations"};
    const auto rows = connection.OpenRecordset("select table_name from dwm_tables");
    for (; !rows->Eof(); rows->MoveNext()) {
        names.push_back((*rows)[0].Text());
    }
    return names;
}

std::string Literal(const Value& value) {
    return value.IsNull()   ? "null"
           : value.IsText() ? "N'" + ReplaceAll(value.Text(), "'", "''") + "'"
                            : value.Text();
}

// Copies a table with its rows to another engine.
void CopyTable(Connection& from, Connection& to, const std::string& table) {
    TableDefinition definition = from.DescribeTable(table);
    for (ColumnDefinition& column : definition.Columns) {
        column.Collation.clear();  // the default collation ignores case
    }
    to.Execute(CreateTableScript(definition));
    const auto rows = from.OpenRecordset("select * from " + table, RecordsetKind::Streamed);
    while (!rows->Eof()) {
        std::string sql = "insert into " + table + " values ";
        for (std::size_t i = 0; i < kRowsPerStatement && !rows->Eof(); ++i, rows->MoveNext()) {
            sql += i == 0 ? "(" : ",(";
            for (std::size_t column = 0; column < rows->Fields().size(); ++column) {
                sql += (column == 0 ? "" : ",") + Literal((*rows)[column]);
            }
            sql += ")";
        }
        to.Execute(sql);
    }
}

// A value in a form that both engines share: numbers without trailing zeros, dates to the second.
std::string Comparable(const Field& field) {
    std::string text = field.Value.IsNull() ? "NULL" : field.Value.Text();
    if (field.Type == DataType::DBTimeStamp) {
        return text.substr(0, 19);
    }
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    return isNumber ? fmt::format("{}", number) : text;
}

std::vector<std::string> SortedRows(Connection& connection, const std::string& table) {
    std::vector<std::string> lines;
    const auto rows = connection.OpenRecordset("select * from " + table, RecordsetKind::Streamed);
    for (; !rows->Eof(); rows->MoveNext()) {
        std::string line;
        for (const Field& field : rows->Fields()) {
            line += Comparable(field) + "|";
        }
        lines.push_back(std::move(line));
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

RunSettings LiveSettings(const LiveServer& server, const TestDatabase& database,
                         const TempFolder& logs) {
    RunSettings settings;
    settings.Machine = server.Server;
    settings.UserName = server.User;
    settings.Password = server.Password;
    settings.Database = database.Name();
    settings.LogGiven = true;
    settings.LogDirectory = logs.Path();
    return settings;
}

// The demo warehouse on the embedded engine and on a live server, cleaned by the same run.
class LiveRun : public OnLiveServer<::testing::TestWithParam<bool>> {
  protected:
    void Prepare() override {
        demo::MakeDemoWarehouse(folder_.Path(), 1, true, [] { return false; });
        live_ = MakeLiveDatabase(server_);
        const auto connection = live_->Open();
        const auto embedded = ConnectTo(embedded_, "retail");
        for (const std::string& table : TableNames(*embedded)) {
            CopyTable(*embedded, *connection, table);
        }
        // The one fact table without a primary key.
        connection->Execute("create index ix_shipments_sale on shipments (sale_id)");
    }

    static void Clean(RunSettings settings) {
        settings.CheckMetaData = settings.DetectAndMark = settings.GenerateReports =
            settings.DeleteMarked = true;
        settings.AtomicDeletion = GetParam();
        ASSERT_EQ(RunUnattended(settings, LiveConnections()), "");
    }

    TempFolder folder_;
    TempFolder logs_;
    const std::string embedded_ = "sqlite:" + folder_.Path();
    std::unique_ptr<TestDatabase> live_;
};

INSTANTIATE_TEST_SUITE_P(Deletions, LiveRun, ::testing::Bool(),
                         [](const auto& instance) { return instance.param ? "Atomic" : "Normal"; });

TEST_P(LiveRun, GivesTheSameResultAsTheEmbeddedEngine) {
    RunSettings embedded = EveryTask(embedded_, logs_.Path());
    embedded.Database = "retail";
    Clean(embedded);
    Clean(LiveSettings(server_, *live_, logs_));

    const auto ours = ConnectTo(embedded_, "retail");
    const auto theirs = live_->Open();
    for (const std::string& table : TableNames(*ours)) {
        const std::vector<std::string> expected = SortedRows(*ours, table);
        const std::vector<std::string> actual = SortedRows(*theirs, table);
        EXPECT_EQ(actual.size(), expected.size()) << table;
        const auto [left, right] =
            std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
        EXPECT_TRUE(left == expected.end() && right == actual.end())
            << table << "\nembedded: " << (left == expected.end() ? "" : *left)
            << "\nserver:   " << (right == actual.end() ? "" : *right);
    }
}

class LiveArchive : public OnLiveServer<::testing::Test> {
  protected:
    void Prepare() override {
        warehouse_ = MakeLiveDatabase(server_);
        archive_ = MakeLiveDatabase(server_);
        const auto connection = warehouse_->Open();
        for (const char* sql :
             {"create table dwm_tables(table_name varchar(128), table_type varchar(20),"
              " where_clause varchar(8000), is_selected bit)",
              "create table sales(id int not null, sold datetime, amount decimal(9,2),"
              " constraint pk_sales primary key (id))",
              "insert into sales values (1, '2018-12-31 23:59:59', 1.5)",
              "insert into sales values (2, '2019-01-01', 2.5)",
              "insert into sales values (3, null, 3)",
              "insert into dwm_tables values ('sales', 'FACT', 'sold < ''2019-01-01''', 1)"}) {
            connection->Execute(sql);
        }
    }

    static std::string Ids(TestDatabase& database) {
        std::string ids;
        const auto connection = database.Open();
        const auto rows = connection->OpenRecordset("select id from sales order by id");
        for (; !rows->Eof(); rows->MoveNext()) {
            ids += (*rows)[0].Text() + " ";
        }
        return ids;
    }

    TempFolder logs_;
    std::unique_ptr<TestDatabase> warehouse_;
    std::unique_ptr<TestDatabase> archive_;
};

TEST_F(LiveArchive, MovesTheRowsOrReportsWhyNot) {
    RunSettings settings = LiveSettings(server_, *warehouse_, logs_);
    settings.ArchiveFactTables = true;
    settings.ArchiveMachine = settings.Machine;
    settings.ArchiveUserName = settings.UserName;
    settings.ArchivePassword = settings.Password;
    settings.ArchiveDatabase = archive_->Name();
    const std::string error = RunUnattended(settings, LiveConnections());
    if (error.empty()) {
        EXPECT_TRUE(archive_->Open()->ColumnExists("sales", "date_of_archiving"));
        EXPECT_EQ(Ids(*warehouse_), "2 3 ");
        EXPECT_EQ(Ids(*archive_), "1 ");
        return;
    }
    EXPECT_EQ(Ids(*warehouse_), "1 2 3 ") << "what was not copied is not deleted";
    const auto archive = archive_->Open();
    EXPECT_EQ(archive->TableExists("sales"), archive->ColumnExists("sales", "date_of_archiving"))
        << "a table is made whole or not at all";
    EXPECT_EQ(error.find(server_.Password), std::string::npos);
    GTEST_SKIP() << "this server cannot archive, and nothing was lost: " << error;
}

}  // namespace
}  // namespace morvane::testing
