// SPDX-License-Identifier: Apache-2.0
#include "db/StatementTrace.h"

#include <string>
#include <utility>
#include <vector>

#include "base/Text.h"
#include "sql/MaskPasswords.h"

namespace morvane {

namespace {

void AppendValue(std::string& shown, const Value& value) {
    shown += " [" + (value.IsNull() ? "NULL" : value.Text()) + "]";
}

class TracedBatch : public StatementBatch {
  public:
    TracedBatch(std::unique_ptr<StatementBatch> batch, const StatementSink& sink)
        : batch_(std::move(batch)), sink_(sink) {}

    void Add(std::string_view sql, const std::vector<Parameter>& parameters) override {
        std::string shown(sql);
        shown += parameters.empty() ? "" : " --";
        for (const Parameter& parameter : parameters) {
            AppendValue(shown, parameter.Value);
        }
        sink_(MaskPasswords(shown).Text);
        batch_->Add(sql, parameters);
    }

    void Finish() override { batch_->Finish(); }

  private:
    std::unique_ptr<StatementBatch> batch_;
    StatementSink sink_;
};

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
            AppendValue(shown, value);
        }
        sink_(MaskPasswords(shown).Text);
    }

    std::unique_ptr<Command> command_;
    StatementSink sink_;
    std::string text_;
    std::vector<std::pair<std::string, Value>> values_;
};

class TracedConnection : public Connection {
  public:
    TracedConnection(std::unique_ptr<Connection> connection, StatementSink sink,
                     StatementSink catalogue)
        : connection_(std::move(connection)),
          sink_(std::move(sink)),
          catalogue_(std::move(catalogue)) {}

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
        sink_(MaskPasswords(sql).Text);
        return connection_->Execute(sql);
    }
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override {
        sink_(MaskPasswords(sql).Text);
        return connection_->OpenRecordset(sql, kind);
    }
    std::unique_ptr<Command> CreateCommand() override {
        return std::make_unique<TracedCommand>(connection_->CreateCommand(), sink_);
    }
    std::unique_ptr<StatementBatch> CreateBatch(RowCountSink counted) override {
        return std::make_unique<TracedBatch>(connection_->CreateBatch(std::move(counted)), sink_);
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

    void RequireName(NameOf what, std::string_view name) const override {
        connection_->RequireName(what, name);
    }

    bool TableExists(std::string_view table) override {
        ShowQuestion("does the table exist: ", table);
        return connection_->TableExists(table);
    }
    std::optional<NamedTable> FindTable(std::string_view table) override {
        ShowQuestion("columns and indexes of ", table);
        return connection_->FindTable(table);
    }
    TableDefinition DescribeTable(std::string_view table) override {
        ShowQuestion("definition of ", table);
        return connection_->DescribeTable(table);
    }

  private:
    void ShowQuestion(std::string_view question, std::string_view table) {
        if (catalogue_) {
            catalogue_("-- catalogue: " + std::string(question) + std::string(table));
        }
    }

    std::unique_ptr<Connection> connection_;
    StatementSink sink_;
    StatementSink catalogue_;
};

}  // namespace

std::unique_ptr<Connection> TraceStatements(std::unique_ptr<Connection> connection,
                                            StatementSink sink, StatementSink catalogue) {
    return std::make_unique<TracedConnection>(std::move(connection), std::move(sink),
                                              std::move(catalogue));
}

}  // namespace morvane
