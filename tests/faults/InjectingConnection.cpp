// SPDX-License-Identifier: Apache-2.0
#include "InjectingConnection.h"

#include <signal.h>
#include <unistd.h>

#include <utility>

#include "core/ForwardingConnection.h"
#include "db/ConnectionFactory.h"
#include "sql/MaskPasswords.h"

namespace morvane::testing {

namespace {

// A streamed recordset: each row is a point.
class InjectingRecordset : public Recordset {
  public:
    InjectingRecordset(std::unique_ptr<Recordset> rows, FaultPlan& plan, std::string_view sql)
        : rows_(std::move(rows)), plan_(plan), name_("the next row of " + std::string(sql)) {}

    bool Eof() const override { return rows_->Eof(); }
    void MoveNext() override {
        plan_.Pass(name_, false, [&] { rows_->MoveNext(); });
    }
    const std::vector<Field>& Fields() const override { return rows_->Fields(); }

  private:
    std::unique_ptr<Recordset> rows_;
    FaultPlan& plan_;
    std::string name_;
};

class InjectingCommand : public ForwardingCommand {
  public:
    InjectingCommand(std::unique_ptr<Command> command, FaultPlan& plan)
        : ForwardingCommand(std::move(command)), plan_(plan) {}

    void SetText(std::string_view sql) override {
        text_ = MaskPasswords(sql).Text;
        ForwardingCommand::SetText(sql);
    }
    std::int64_t Execute() override {
        return plan_.Pass(text_, true, [this] { return ForwardingCommand::Execute(); });
    }
    std::unique_ptr<Recordset> OpenRecordset() override {
        return plan_.Pass(text_, false, [this] { return ForwardingCommand::OpenRecordset(); });
    }

  private:
    FaultPlan& plan_;
    std::string text_;
};

class InjectingConnection : public ForwardingConnection {
  public:
    InjectingConnection(std::unique_ptr<Connection> connection, FaultPlan& plan)
        : ForwardingConnection(std::move(connection)), plan_(plan) {}

    void Open() override {
        plan_.Pass("connecting", false, [this] { ForwardingConnection::Open(); });
    }
    void SetDefaultDatabase(std::string_view name) override {
        plan_.Pass("choosing a database", false,
                   [&] { ForwardingConnection::SetDefaultDatabase(name); });
    }

    std::int64_t Execute(std::string_view sql, std::int64_t expectedRows) override {
        return plan_.Pass(MaskPasswords(sql).Text, true,
                          [&] { return ForwardingConnection::Execute(sql, expectedRows); });
    }
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override {
        auto rows =
            plan_.Pass(sql, false, [&] { return ForwardingConnection::OpenRecordset(sql, kind); });
        return kind == RecordsetKind::Buffered
                   ? std::move(rows)
                   : std::make_unique<InjectingRecordset>(std::move(rows), plan_, sql);
    }
    std::unique_ptr<Command> CreateCommand() override {
        return std::make_unique<InjectingCommand>(ForwardingConnection::CreateCommand(), plan_);
    }
    // Every statement of a batch is a point.
    std::unique_ptr<StatementBatch> CreateBatch(RowCountSink counted) override {
        return std::make_unique<ImmediateBatch>(
            [this](std::string_view sql) { return Execute(sql, 0); },
            [this] { return CreateCommand(); }, std::move(counted));
    }

    // Drivers send BEGIN together with the next statement, so its answer cannot be lost.
    void BeginTrans() override {
        plan_.Pass("BEGIN", false, [this] { ForwardingConnection::BeginTrans(); });
    }
    void CommitTrans() override {
        plan_.Pass("COMMIT", true, [this] { ForwardingConnection::CommitTrans(); });
    }
    void RollbackTrans() override {
        plan_.Pass("ROLLBACK", true, [this] { ForwardingConnection::RollbackTrans(); });
    }

    bool TableExists(std::string_view table) override {
        return plan_.Pass("is there a table", false,
                          [&] { return ForwardingConnection::TableExists(table); });
    }
    std::optional<NamedTable> FindTable(std::string_view table) override {
        return plan_.Pass("what is the table", false,
                          [&] { return ForwardingConnection::FindTable(table); });
    }
    TableDefinition DescribeTable(std::string_view table) override {
        return plan_.Pass("describe the table", false,
                          [&] { return ForwardingConnection::DescribeTable(table); });
    }

  private:
    FaultPlan& plan_;
};

}  // namespace

FaultPlan::Verdict FaultPlan::Judge(std::string_view statement, bool changes) {
    const std::size_t point = passed_++;
    if (fault_ == Fault::None) {
        Points.push_back({Stage ? Stage() : "", std::string(statement), changes});
        return Verdict::Perform;
    }
    if (point != at_) {
        const bool lasts = fault_ == Fault::ServerLost || fault_ == Fault::OutOfMemory;
        return happened_ && lasts ? Verdict::Refuse : Verdict::Perform;
    }
    happened_ = true;
    if (fault_ == Fault::Killed) {
        kill(getpid(), SIGKILL);
    }
    return changes && fault_ != Fault::Refused ? Verdict::LoseAnswer : Verdict::Refuse;
}

ConnectionFactory InjectFaults(FaultPlan& plan) {
    return [&plan](std::string_view server) {
        return std::make_unique<InjectingConnection>(CreateConnection(server), plan);
    };
}

}  // namespace morvane::testing
