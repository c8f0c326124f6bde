#include "db/StatementTrace.h"

#include <string>
#include <utility>
#include <vector>

#include "core/MaskPasswords.h"
#include "core/Text.h"

namespace morvane {

namespace {

class TracedCommand : public Command {
  public:
    TracedCommand(std::unique_ptr<Command> command, const StatementSink& sink)
        : command_(std::move(command)), sink_(sink) {}

    void SetText(std::string_view sql) override {
        text_ = sql;
        command_->SetText(sql);
    }

    void SetType(CommandType type) override { command_->SetType(type); }
    void SetTimeout(int seconds) override { command_->SetTimeout(seconds); }

    void DeleteParameter(std::size_t position) override {
        values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(position));
        command_->DeleteParameter(position);
    }

    void AppendParameter(Parameter parameter) override {
        values_.emplace_back(parameter.Name, parameter.Value);
        command_->AppendParameter(std::move(parameter));
    }

    void SetParameter(std::string_view name, const Value& value) override {
        command_->SetParameter(name, value);
        for (auto& [heldName, held] : values_) {
            if (EqualsIgnoreCase(heldName, name)) {
                held = value;
                break;
            }
        }
    }

    std::int64_t Execute() override {
        Show();
        return command_->Execute();
    }

    std::unique_ptr<Recordset> OpenRecordset() override {
        Show();
        return command_->OpenRecordset();
    }

  private:
    void Show() const {
        std::string shown = text_ + " --";
        for (const auto& [name, value] : values_) {
            shown += " [" + (value.IsNull() ? "NULL" : value.Text()) + "]";
        }
        sink_(MaskPasswords(shown));
    }

    std::unique_ptr<Command> command_;
    StatementSink sink_;
    std::string text_;
    std::vector<std::pair<std::string, Value>> values_;
};

class TracedConnection : public Connection {
  public:
    TracedConnection(std::unique_ptr<Connection> connection, StatementSink sink)
        : connection_(std::move(connection)), sink_(std::move(sink)) {}

    std::string Property(std::string_view name) const override {
        return connection_->Property(name);
    }
    void SetProperty(std::string_view name, std::string_view value) override {
        connection_->SetProperty(name, value);
    }
    int ConnectionTimeout() const override { return connection_->ConnectionTimeout(); }
    void SetConnectionTimeout(int seconds) override { connection_->SetConnectionTimeout(seconds); }
    void Open() override { connection_->Open(); }
    void Close() override { connection_->Close(); }
    bool IsOpen() const override { return connection_->IsOpen(); }
    std::string DefaultDatabase() const override { return connection_->DefaultDatabase(); }
    void SetDefaultDatabase(std::string_view name) override {
        connection_->SetDefaultDatabase(name);
    }

    std::int64_t Execute(std::string_view sql) override {
        sink_(MaskPasswords(sql));
        return connection_->Execute(sql);
    }
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override {
        sink_(MaskPasswords(sql));
        return connection_->OpenRecordset(sql, kind);
    }
    std::unique_ptr<Command> CreateCommand() override {
        return std::make_unique<TracedCommand>(connection_->CreateCommand(), sink_);
    }

    void BeginTrans() override {
        sink_("BEGIN");
        connection_->BeginTrans();
    }
    void CommitTrans() override {
        sink_("COMMIT");
        connection_->CommitTrans();
    }
    void RollbackTrans() override {
        sink_("ROLLBACK");
        connection_->RollbackTrans();
    }

    bool TableExists(std::string_view table) override { return connection_->TableExists(table); }
    bool ColumnExists(std::string_view table, std::string_view column) override {
        return connection_->ColumnExists(table, column);
    }
    bool IsIndexed(std::string_view table) override { return connection_->IsIndexed(table); }
    TableDefinition DescribeTable(std::string_view table) override {
        return connection_->DescribeTable(table);
    }

  private:
    std::unique_ptr<Connection> connection_;
    StatementSink sink_;
};

}  // namespace

std::unique_ptr<Connection> TraceStatements(std::unique_ptr<Connection> connection,
                                            StatementSink sink) {
    return std::make_unique<TracedConnection>(std::move(connection), std::move(sink));
}

}  // namespace morvane
