// SPDX-License-Identifier: Apache-2.0
#include "db/StatementTrace.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "base/modFileFunctions.h"
#include "core/ForwardingConnection.h"
#include "sql/MaskPasswords.h"

namespace morvane {

namespace {

// The statement followed by the parameter values, with passwords masked.
std::string WithValues(std::string statement, const std::vector<Parameter>& parameters) {
    for (const Parameter& parameter : parameters) {
        const Value& value = parameter.Value;
        statement += " [" + (value.IsNull() ? "NULL" : value.Text()) + "]";
    }
    return MaskPasswords(statement).Text;
}

class TracedBatch : public StatementBatch {
  public:
    TracedBatch(std::unique_ptr<StatementBatch> batch, const StatementSink& sink)
        : batch_(std::move(batch)), sink_(sink) {}

    void Add(std::string_view sql, const std::vector<Parameter>& parameters) override {
        sink_(WithValues(std::string(sql) + (parameters.empty() ? "" : " --"), parameters));
        batch_->Add(sql, parameters);
    }

    void Finish() override { batch_->Finish(); }

  private:
    std::unique_ptr<StatementBatch> batch_;
    StatementSink sink_;
};

class TracedCommand : public ForwardingCommand {
  public:
    TracedCommand(std::unique_ptr<Command> command, const StatementSink& sink)
        : ForwardingCommand(std::move(command)), sink_(sink) {}

    void SetText(std::string_view sql) override {
        text_ = sql;
        ForwardingCommand::SetText(sql);
    }

    void DeleteParameter(std::size_t position) override {
        parameters_.erase(parameters_.begin() + static_cast<std::ptrdiff_t>(position));
        ForwardingCommand::DeleteParameter(position);
    }

    void AppendParameter(Parameter parameter) override {
        parameters_.push_back(parameter);
        ForwardingCommand::AppendParameter(std::move(parameter));
    }

    void SetParameter(std::string_view name, const Value& value) override {
        ForwardingCommand::SetParameter(name, value);
        SetParameterValue(parameters_, name, value);
    }

    std::int64_t Execute() override {
        Show();
        return ForwardingCommand::Execute();
    }

    std::unique_ptr<Recordset> OpenRecordset() override {
        Show();
        return ForwardingCommand::OpenRecordset();
    }

  private:
    void Show() const { sink_(WithValues(text_ + " --", parameters_)); }

    StatementSink sink_;
    std::string text_;
    std::vector<Parameter> parameters_;
};

class TracedConnection : public ForwardingConnection {
  public:
    TracedConnection(std::unique_ptr<Connection> connection, StatementSink sink,
                     StatementSink catalogue)
        : ForwardingConnection(std::move(connection)),
          sink_(std::move(sink)),
          catalogue_(std::move(catalogue)) {}

    std::int64_t Execute(std::string_view sql, std::int64_t expectedRows) override {
        sink_(MaskPasswords(sql).Text);
        return ForwardingConnection::Execute(sql, expectedRows);
    }
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override {
        sink_(MaskPasswords(sql).Text);
        return ForwardingConnection::OpenRecordset(sql, kind);
    }
    std::unique_ptr<Command> CreateCommand() override {
        return std::make_unique<TracedCommand>(ForwardingConnection::CreateCommand(), sink_);
    }
    std::unique_ptr<StatementBatch> CreateBatch(RowCountSink counted) override {
        return std::make_unique<TracedBatch>(ForwardingConnection::CreateBatch(std::move(counted)),
                                             sink_);
    }

    void BeginTrans() override {
        sink_("BEGIN");
        ForwardingConnection::BeginTrans();
    }
    void CommitTrans() override {
        sink_("COMMIT");
        ForwardingConnection::CommitTrans();
    }
    void RollbackTrans() override {
        sink_("ROLLBACK");
        ForwardingConnection::RollbackTrans();
    }

    bool TableExists(std::string_view table) override {
        ShowQuery("does the table exist: ", table);
        return ForwardingConnection::TableExists(table);
    }
    std::optional<NamedTable> FindTable(std::string_view table) override {
        ShowQuery("columns and indexes of ", table);
        return ForwardingConnection::FindTable(table);
    }
    TableDefinition DescribeTable(std::string_view table) override {
        ShowQuery("definition of ", table);
        return ForwardingConnection::DescribeTable(table);
    }

  private:
    void ShowQuery(std::string_view query, std::string_view table) {
        if (catalogue_) {
            catalogue_("-- catalogue: " + std::string(query) + std::string(table));
        }
    }

    StatementSink sink_;
    StatementSink catalogue_;
};

// Each line of the log is one statement.
std::string WithoutLineBreaks(std::string_view statement) {
    std::string line(statement);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return line;
}

}  // namespace

std::unique_ptr<Connection> TraceStatements(std::unique_ptr<Connection> connection,
                                            StatementSink sink, StatementSink catalogue) {
    return std::make_unique<TracedConnection>(std::move(connection), std::move(sink),
                                              std::move(catalogue));
}

std::unique_ptr<Connection> LogStatements(std::unique_ptr<Connection> connection,
                                          const std::string& path) {
    std::string reason;
    const std::shared_ptr<std::FILE> file = OpenToAppend(ToPath(path), reason);
    if (file == nullptr) {
        throw FileError("Cannot write the file \"" + path + "\": " + reason);
    }
    const StatementSink write = [file](std::string_view statement) {
        const std::string line = WithoutLineBreaks(statement) + '\n';
        std::fwrite(line.data(), 1, line.size(), file.get());
        std::fflush(file.get());
    };
    return TraceStatements(std::move(connection), write, write);
}

}  // namespace morvane
