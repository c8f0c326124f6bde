// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Text.h"
#include "core/Connection.h"
#include "db/embedded/Catalogue.h"
#include "db/embedded/DateLiterals.h"
#include "db/embedded/LookupTables.h"
#include "db/embedded/SqlFunctions.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/StatementCache.h"
#include "db/embedded/Translation.h"

namespace morvane::embedded {

struct IgnoreCaseLess {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const {
        return ToLower(a) < ToLower(b);
    }
};

// How to read a text compared with a date: as a literal of the statement or as a bound value.
using DateReader = std::string (*)(std::string_view text, DateParameter meets, DateOrder order);

class EmbeddedConnection;

// How commands and batches refer to their connection: it expires when the connection is closed.
using OpenConnection = std::weak_ptr<EmbeddedConnection>;

class EmbeddedConnection : public Connection {
  public:
    explicit EmbeddedConnection(std::function<bool()> cancelRequested)
        : wait_(std::move(cancelRequested)) {}

    std::string Property(std::string_view name) const override {
        if (IsOpen() && EqualsIgnoreCase(name, "Server Name")) {
            return Property("Data Source");
        }
        if (EqualsIgnoreCase(name, "Affected Rows")) {
            return "Changed";
        }
        const auto found = properties_.find(name);
        return found == properties_.end() ? "" : found->second;
    }
    void SetProperty(std::string_view name, std::string_view value) override {
        properties_[std::string(name)] = value;
    }

    int ConnectionTimeout() const override { return wait_.Seconds(); }
    void SetConnectionTimeout(int seconds) override { wait_.SetSeconds(seconds); }

    void Open() override;
    void Close() override;
    bool IsOpen() const override { return self_ != nullptr; }

    std::string DefaultDatabase() const override { return context_.Database; }
    void SetDefaultDatabase(std::string_view name) override;

    std::int64_t Execute(std::string_view sql, std::int64_t expectedRows) override;
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override;
    std::unique_ptr<Command> CreateCommand() override;
    std::unique_ptr<StatementBatch> CreateBatch(RowCountSink counted) override;

    void BeginTrans() override { RequireOpen().Run("BEGIN IMMEDIATE"); }
    void CommitTrans() override { RequireOpen().Run("COMMIT"); }
    void RollbackTrans() override;

    void RequireName(NameOf what, std::string_view name) const override;

    bool TableExists(std::string_view table) override {
        return embedded::TableExists(RequireOpen(), table);
    }
    std::optional<NamedTable> FindTable(std::string_view table) override {
        return embedded::FindTable(RequireOpen(), table);
    }

    std::vector<std::vector<std::string>> IndexColumns(std::string_view table) override {
        return embedded::IndexColumns(RequireOpen(), table);
    }
    TableDefinition DescribeTable(std::string_view table) override {
        return embedded::DescribeTable(RequireOpen(), table);
    }

    // For commands and batches. `values` are the parameters in order.
    std::int64_t ExecuteText(std::string_view sql, const std::vector<const Value*>& values,
                             DateReader readDate = ValueForColumn, std::int64_t expectedRows = 0);
    std::int64_t ExecuteProcedure(std::string_view name, const std::vector<const Value*>& values);
    std::int64_t Run(CachedStatement& cached, const std::vector<const Value*>& values,
                     DateReader readDate, std::int64_t expectedRows = 0);
    Translation TranslateHere(std::string_view sql);
    // Throws DatabaseError if the connection is closed.
    SqliteDatabase& RequireOpen();
    std::unique_ptr<Recordset> OpenText(std::string_view sql,
                                        const std::vector<const Value*>& values,
                                        RecordsetKind kind);

  private:
    std::unique_ptr<Recordset> OpenAsWorded(std::string_view sql,
                                            const std::vector<const Value*>& values,
                                            RecordsetKind kind);
    bool BindDate(SqliteStatement& statement, const std::vector<DateParameter>& meets,
                  std::size_t i, const Value& value, DateReader readDate) const;
    std::int64_t SelectInto(const Translation& translation, std::string_view sql);
    std::int64_t Alter(std::string_view sql);

    // Does not own the connection. Null while it is closed; see OpenConnection.
    std::shared_ptr<EmbeddedConnection> self_;
    std::map<std::string, std::string, IgnoreCaseLess> properties_;
    bool compileOnly_ = false;
    TranslationContext context_;
    // The database points to both and must be destroyed first.
    BusyWait wait_;
    FunctionContext functions_;
    std::optional<SqliteDatabase> database_;
    MetaTableCopies metaTables_;
    LiteralList literalList_;
    StatementCache cache_;
    DeleteByLiterals deleteByLiterals_;
    std::vector<const Value*> literals_;  // keeps its capacity between statements
};

}  // namespace morvane::embedded
