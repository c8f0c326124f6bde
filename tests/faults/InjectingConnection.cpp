// SPDX-License-Identifier: Apache-2.0
#include "InjectingConnection.h"

#include <signal.h>
#include <unistd.h>

#include <utility>

#include "core/ImmediateBatch.h"
#include "db/ConnectionFactory.h"
#include "sql/MaskPasswords.h"

namespace morvane::testing {

namespace {

// Rows that still come from the server while they are read.
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

class InjectingCommand : public Command {
  public:
    InjectingCommand(std::unique_ptr<Command> command, FaultPlan& plan)
        : command_(std::move(command)), plan_(plan) {}

    void SetText(std::string_view sql) override {
        text_ = MaskPasswords(sql).Text;
        command_->SetText(sql);
    }
    void SetType(CommandType type) override { command_->SetType(type); }
    void SetTimeout(int seconds) override { command_->SetTimeout(seconds); }
    void AppendParameter(Parameter parameter) override {
        command_->AppendParameter(std::move(parameter));
    }
    void DeleteParameter(std::size_t position) override { command_->DeleteParameter(position); }
    void SetParameter(std::string_view name, const Value& value) override {
        command_->SetParameter(name, value);
    }
    std::int64_t Execute() override {
        return plan_.Pass(text_, true, [&] { return command_->Execute(); });
    }
    std::unique_ptr<Recordset> OpenRecordset() override {
        return plan_.Pass(text_, false, [&] { return command_->OpenRecordset(); });
    }

  private:
    std::unique_ptr<Command> command_;
    FaultPlan& plan_;
    std::string text_;
};

class InjectingConnection : public Connection {
  public:
    InjectingConnection(std::unique_ptr<Connection> connection, FaultPlan& plan)
        : connection_(std::move(connection)), plan_(plan) {}

    std::string Property(std::string_view name) const override {
        return connection_->Property(name);
    }
    void SetProperty(std::string_view name, std::string_view value) override {
        connection_->SetProperty(name, value);
    }
    int ConnectionTimeout() const override { return connection_->ConnectionTimeout(); }
    void SetConnectionTimeout(int seconds) override { connection_->SetConnectionTimeout(seconds); }
    void Open() override {
        plan_.Pass("connecting", false, [&] { connection_->Open(); });
    }
    void Close() override { connection_->Close(); }
    bool IsOpen() const override { return connection_->IsOpen(); }
    std::string DefaultDatabase() const override { return connection_->DefaultDatabase(); }
    void SetDefaultDatabase(std::string_view name) override {
        plan_.Pass("choosing a database", false, [&] { connection_->SetDefaultDatabase(name); });
    }

    std::int64_t Execute(std::string_view sql) override {
        return plan_.Pass(MaskPasswords(sql).Text, true, [&] { return connection_->Execute(sql); });
    }
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override {
        auto rows = plan_.Pass(sql, false, [&] { return connection_->OpenRecordset(sql, kind); });
        return kind == RecordsetKind::Buffered
                   ? std::move(rows)
                   : std::make_unique<InjectingRecordset>(std::move(rows), plan_, sql);
    }
    std::unique_ptr<Command> CreateCommand() override {
        return std::make_unique<InjectingCommand>(connection_->CreateCommand(), plan_);
    }
    // Every statement of a batch is a point.
    std::unique_ptr<StatementBatch> CreateBatch(RowCountSink counted) override {
        return std::make_unique<ImmediateBatch>(
            [this](std::string_view sql) { return Execute(sql); },
            [this] { return CreateCommand(); }, std::move(counted));
    }

    // Beginning waits for no answer that could be lost: drivers send it with what follows.
    void BeginTrans() override {
        plan_.Pass("BEGIN", false, [&] { connection_->BeginTrans(); });
    }
    void CommitTrans() override {
        plan_.Pass("COMMIT", true, [&] { connection_->CommitTrans(); });
    }
    void RollbackTrans() override {
        plan_.Pass("ROLLBACK", true, [&] { connection_->RollbackTrans(); });
    }

    void RequireName(NameOf what, std::string_view name) const override {
        connection_->RequireName(what, name);
    }

    bool TableExists(std::string_view table) override {
        return plan_.Pass("is there a table", false,
                          [&] { return connection_->TableExists(table); });
    }
    std::optional<NamedTable> FindTable(std::string_view table) override {
        return plan_.Pass("what is the table", false,
                          [&] { return connection_->FindTable(table); });
    }
    TableDefinition DescribeTable(std::string_view table) override {
        return plan_.Pass("describe the table", false,
                          [&] { return connection_->DescribeTable(table); });
    }

  private:
    std::unique_ptr<Connection> connection_;
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
