// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcConnection.h"

#include <map>
#include <optional>

#include "base/Text.h"
#include "core/Command.h"
#include "db/odbc/OdbcBatch.h"
#include "db/odbc/OdbcCatalogue.h"
#include "db/odbc/OdbcCommand.h"
#include "db/odbc/OdbcRecordset.h"
#include "db/odbc/OdbcSession.h"
#include "sql/MaskPasswords.h"

namespace morvane {

namespace odbc {

namespace {

// Azure SQL Database: "USE statement is not supported to switch between databases."
constexpr int kUseNotSupported = 40508;

class OdbcConnection : public Connection {
  public:
    OdbcConnection(OdbcOptions options, CancelRequest cancel)
        : options_(std::move(options)), cancel_(std::move(cancel)) {}
    ~OdbcConnection() override { Close(); }

    std::string Property(std::string_view name) const override;
    void SetProperty(std::string_view name, std::string_view value) override {
        properties_[ToLower(name)] = value;
    }
    int ConnectionTimeout() const override { return timeoutSeconds_; }
    void SetConnectionTimeout(int seconds) override { timeoutSeconds_ = seconds; }

    void Open() override;
    void Close() override;
    bool IsOpen() const override { return session_ != nullptr; }

    std::string DefaultDatabase() const override { return database_; }
    void SetDefaultDatabase(std::string_view name) override;

    std::int64_t Execute(std::string_view sql, std::int64_t) override {
        return Session(sql).Execute(sql);
    }
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override;
    std::unique_ptr<Command> CreateCommand() override {
        RequireOpen();
        return std::make_unique<OdbcCommand>(session_);
    }
    std::unique_ptr<StatementBatch> CreateBatch(RowCountSink counted) override;

    void BeginTrans() override { Session().BeginTrans(); }
    void CommitTrans() override { Session().CommitTrans(); }
    void RollbackTrans() override { Session().RollbackTrans(); }

    // The login's permissions decide what a statement may do.
    void RequireName(NameOf, std::string_view) const override {}

    bool TableExists(std::string_view table) override { return Catalogue().TableExists(table); }
    std::optional<NamedTable> FindTable(std::string_view table) override {
        return Catalogue().FindTable(table);
    }
    std::vector<std::vector<std::string>> IndexColumns(std::string_view table) override {
        return Catalogue().IndexColumns(table);
    }
    TableDefinition DescribeTable(std::string_view table) override {
        return Catalogue().DescribeTable(table);
    }

  private:
    // Throws if the connection is closed.
    void RequireOpen(std::string_view statement = {}) const;
    OdbcSession& Session(std::string_view statement = {}) const {
        RequireOpen(statement);
        return *session_;
    }
    OdbcCatalogue& Catalogue();
    void Use(std::shared_ptr<OdbcSession> session, const std::string& database);
    std::shared_ptr<OdbcSession> LogIn(const std::string& database) const;

    OdbcOptions options_;
    CancelRequest cancel_;
    std::map<std::string, std::string, std::less<>> properties_;  // by lower-case name
    int timeoutSeconds_ = 15;
    OdbcDriver driver_;
    std::shared_ptr<OdbcSession> session_;
    std::optional<OdbcCatalogue> catalogue_;
    std::string database_;
};

void OdbcConnection::Open() {
    Close();
    driver_ = options_.OtherDriver ? *options_.OtherDriver
                                   : PickDriver(InstalledDrivers(), options_.Driver);
    const std::string database = Property("Initial Catalog");
    Use(LogIn(database), database);
}

std::shared_ptr<OdbcSession> OdbcConnection::LogIn(const std::string& database) const {
    const LoginDetails details{Login(), database, options_.Keywords,
                               ParseQueryTimeout(options_.QueryTimeout)};
    return OdbcSession::Login(driver_, details, timeoutSeconds_, cancel_);
}

void OdbcConnection::Use(std::shared_ptr<OdbcSession> session, const std::string& database) {
    Close();
    session_ = std::move(session);
    catalogue_.emplace(session_);
    database_ = session_->SpeaksTSql() ? session_->CurrentCatalog() : database;
}

// Recordsets and commands may still refer to the session.
void OdbcConnection::Close() {
    if (session_ != nullptr) {
        session_->Close();
    }
    catalogue_.reset();
    session_.reset();
    database_.clear();
}

void OdbcConnection::RequireOpen(std::string_view statement) const {
    if (session_ == nullptr) {
        throw DatabaseError({"The connection is closed."}, MaskPasswords(statement));
    }
}

OdbcCatalogue& OdbcConnection::Catalogue() {
    RequireOpen();
    return *catalogue_;
}

std::string OdbcConnection::Property(std::string_view name) const {
    const bool asksServer = session_ != nullptr && session_->SpeaksTSql();
    if (asksServer && EqualsIgnoreCase(name, "Server Name")) {
        return session_->ServerName();
    }
    if (asksServer && EqualsIgnoreCase(name, "Engine Edition")) {
        return session_->SingleValue("SELECT CAST(SERVERPROPERTY('EngineEdition') AS int)");
    }
    const auto found = properties_.find(ToLower(name));
    return found == properties_.end() ? "" : found->second;
}

void OdbcConnection::SetDefaultDatabase(std::string_view name) {
    RequireOpen();
    if (name == database_ && !name.empty()) {
        return;
    }
    const std::string database(name);
    if (!session_->SpeaksTSql()) {
        Use(LogIn(database), database);
        return;
    }
    try {
        session_->UseCatalog(database);
        database_ = name;
    } catch (const DatabaseError& error) {
        if (error.Code() != kUseNotSupported) {
            throw;
        }
        // The old session stays open if the new login fails.
        Use(LogIn(database), database);
    }
}

std::unique_ptr<Recordset> OdbcConnection::OpenRecordset(std::string_view sql, RecordsetKind kind) {
    RequireOpen(sql);
    OdbcStatement statement(session_, std::string(sql));
    statement.ExecuteDirectly();
    auto rows = std::make_unique<OdbcRecordset>(std::move(statement));
    if (kind == RecordsetKind::Streamed) {
        return rows;
    }
    return BufferRecordset(*rows);
}

std::unique_ptr<StatementBatch> OdbcConnection::CreateBatch(RowCountSink counted) {
    if (!Session().SpeaksTSql()) {
        return std::make_unique<ImmediateBatch>(
            [session = session_](std::string_view sql) { return session->Execute(sql); },
            [session = session_] { return std::make_unique<OdbcCommand>(session); },
            std::move(counted));
    }
    return std::make_unique<OdbcBatch>(session_, std::move(counted));
}

}  // namespace

}  // namespace odbc

std::unique_ptr<Connection> CreateOdbcConnection(OdbcOptions options, odbc::CancelRequest cancel) {
    return std::make_unique<odbc::OdbcConnection>(std::move(options), std::move(cancel));
}

}  // namespace morvane
