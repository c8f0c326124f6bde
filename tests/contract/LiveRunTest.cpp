// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>

#include "base/Text.h"
#include "contract/Backend.h"
#include "contract/UnattendedRun.h"
#include "db/ConnectionFactory.h"
#include "db/TableScript.h"
#include "demo/DemoWarehouse.h"
#include "support/TempFolder.h"

namespace morvane::testing {
namespace {

constexpr std::size_t kRowsAStatement = 500;

std::unique_ptr<Connection> OpenEmbedded(const std::string& folder) {
    auto connection = CreateConnection("sqlite:" + folder);
    connection->SetProperty("Data Source", "sqlite:" + folder);
    connection->Open();
    connection->SetDefaultDatabase("retail");
    return connection;
}

std::vector<std::string> TableNames(Connection& connection) {
    std::vector<std::string> names = {"dwm_tables", "dwm_star_relations"};
    const auto rows = connection.OpenRecordset("select table_name from dwm_tables");
    for (; !rows->Eof(); rows->MoveNext()) {
        names.push_back((*rows)[0].Text());
    }
    return names;
}

std::string Literal(const Value& value) {
    if (value.IsNull()) {
        return "null";
    }
    if (!value.IsText()) {
        return value.Text();
    }
    std::string quoted = "N'";
    for (const char c : value.Text()) {
        quoted += c;
        if (c == '\'') {
            quoted += c;
        }
    }
    return quoted + "'";
}

// The same table with the same rows on another engine.
void CopyTable(Connection& from, Connection& to, const std::string& table) {
    TableDefinition definition = from.DescribeTable(table);
    for (ColumnDefinition& column : definition.Columns) {
        column.Collation.clear();  // the server's own ignores letter case
    }
    to.Execute(CreateTableScript(definition));
    const auto rows = from.OpenRecordset("select * from " + table, RecordsetKind::Streamed);
    while (!rows->Eof()) {
        std::string sql = "insert into " + table + " values ";
        for (std::size_t i = 0; i < kRowsAStatement && !rows->Eof(); ++i, rows->MoveNext()) {
            sql += i == 0 ? "(" : ",(";
            for (std::size_t column = 0; column < rows->Fields().size(); ++column) {
                sql += (column == 0 ? "" : ",") + Literal((*rows)[column]);
            }
            sql += ")";
        }
        to.Execute(sql);
    }
}

// A value as both engines could write it: a number without trailing zeros, a date to its second.
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

// The demo warehouse on the embedded engine and on a live server, cleaned by the same run.
class LiveRun : public OnLiveServer<::testing::TestWithParam<bool>> {
  protected:
    void Prepare() override {
        demo::MakeDemoWarehouse(folder_.Path(), 1, true, [] { return false; });
        live_ = MakeLiveDatabase(server_);
        const auto embedded = OpenEmbedded(folder_.Path());
        const auto connection = live_->Open();
        for (const std::string& table : TableNames(*embedded)) {
            CopyTable(*embedded, *connection, table);
        }
        // The one fact table without a primary key.
        connection->Execute("create index ix_shipments_sale on shipments (sale_id)");
    }

    RunSettings Settings() const {
        RunSettings settings;
        settings.CheckMetaData = settings.DetectAndMark = true;
        settings.GenerateReports = settings.DeleteMarked = true;
        settings.AtomicDeletion = GetParam();
        settings.LogGiven = true;
        settings.LogDirectory = logs_.Path();
        return settings;
    }

    TempFolder folder_;
    TempFolder logs_;
    std::unique_ptr<TestDatabase> live_;
};

INSTANTIATE_TEST_SUITE_P(Deletions, LiveRun, ::testing::Bool(),
                         [](const auto& instance) { return instance.param ? "Atomic" : "Normal"; });

TEST_P(LiveRun, LeavesBehindWhatTheEmbeddedEngineLeaves) {
    RunSettings embedded = Settings();
    embedded.Machine = "sqlite:" + folder_.Path();
    embedded.NTAuthentication = true;
    embedded.Database = "retail";
    ASSERT_EQ(RunUnattended(embedded), "");

    RunSettings live = Settings();
    live.Machine = server_.Server;
    live.UserName = server_.User;
    live.Password = server_.Password;
    live.Database = live_->Name();
    ASSERT_EQ(RunUnattended(live), "");

    const auto ours = OpenEmbedded(folder_.Path());
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

}  // namespace
}  // namespace morvane::testing
