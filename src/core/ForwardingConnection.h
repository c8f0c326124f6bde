// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <utility>

#include "core/Connection.h"

namespace morvane {

// Forwards every call to another command. Base class for decorators.
class ForwardingCommand : public Command {
  public:
    explicit ForwardingCommand(std::unique_ptr<Command> target) : target_(std::move(target)) {}

    void SetText(std::string_view sql) override { target_->SetText(sql); }
    void SetType(CommandType type) override { target_->SetType(type); }
    void SetTimeout(int seconds) override { target_->SetTimeout(seconds); }
    void AppendParameter(Parameter parameter) override {
        target_->AppendParameter(std::move(parameter));
    }
    void DeleteParameter(std::size_t position) override { target_->DeleteParameter(position); }
    void SetParameter(std::string_view name, const Value& value) override {
        target_->SetParameter(name, value);
    }
    std::int64_t Execute() override { return target_->Execute(); }
    std::unique_ptr<Recordset> OpenRecordset() override { return target_->OpenRecordset(); }

  private:
    std::unique_ptr<Command> target_;
};

// Forwards every call to another connection. Base class for decorators.
class ForwardingConnection : public Connection {
  public:
    explicit ForwardingConnection(std::unique_ptr<Connection> target)
        : target_(std::move(target)) {}

    std::string Property(std::string_view name) const override { return target_->Property(name); }
    void SetProperty(std::string_view name, std::string_view value) override {
        target_->SetProperty(name, value);
    }
    int ConnectionTimeout() const override { return target_->ConnectionTimeout(); }
    void SetConnectionTimeout(int seconds) override { target_->SetConnectionTimeout(seconds); }
    void Open() override { target_->Open(); }
    void Close() override { target_->Close(); }
    bool IsOpen() const override { return target_->IsOpen(); }
    std::string DefaultDatabase() const override { return target_->DefaultDatabase(); }
    void SetDefaultDatabase(std::string_view name) override { target_->SetDefaultDatabase(name); }

    std::int64_t Execute(std::string_view sql, std::int64_t expectedRows) override {
        return target_->Execute(sql, expectedRows);
    }
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override {
        return target_->OpenRecordset(sql, kind);
    }
    std::unique_ptr<Command> CreateCommand() override { return target_->CreateCommand(); }
    std::unique_ptr<StatementBatch> CreateBatch(RowCountSink counted) override {
        return target_->CreateBatch(std::move(counted));
    }

    void BeginTrans() override { target_->BeginTrans(); }
    void CommitTrans() override { target_->CommitTrans(); }
    void RollbackTrans() override { target_->RollbackTrans(); }

    void RequireName(NameOf what, std::string_view name) const override {
        target_->RequireName(what, name);
    }

    bool TableExists(std::string_view table) override { return target_->TableExists(table); }
    std::optional<NamedTable> FindTable(std::string_view table) override {
        return target_->FindTable(table);
    }
    std::vector<std::vector<std::string>> IndexColumns(std::string_view table) override {
        return target_->IndexColumns(table);
    }
    TableDefinition DescribeTable(std::string_view table) override {
        return target_->DescribeTable(table);
    }

  private:
    std::unique_ptr<Connection> target_;
};

}  // namespace morvane
