#include "db/odbc/OdbcConnection.h"

#include <array>
#include <cstdlib>
#include <map>
#include <optional>

#include "core/Text.h"
#include "db/odbc/OdbcCatalogue.h"
#include "db/odbc/OdbcDriver.h"
#include "db/odbc/OdbcHandle.h"
#include "db/odbc/OdbcRecordset.h"
#include "db/odbc/OdbcStatement.h"

namespace morvane {

namespace odbc {

namespace {

std::optional<std::string> EnvironmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

class OdbcConnection;

class OdbcCommand : public Command {
  public:
    explicit OdbcCommand(OdbcConnection& connection) : connection_(connection) {}

    void SetText(std::string_view sql) override {
        text_ = sql;
        prepared_ = false;
    }
    void SetType(CommandType type) override { type_ = type; }
    void SetTimeout(int seconds) override { timeoutSeconds_ = seconds; }
    void AppendParameter(Parameter parameter) override {
        parameters_.push_back(std::move(parameter));
    }
    void DeleteParameter(std::size_t position) override {
        parameters_.erase(parameters_.begin() + static_cast<std::ptrdiff_t>(position));
        prepared_ = false;
    }
    void SetParameter(std::string_view name, const Value& value) override;
    std::int64_t Execute() override;
    std::unique_ptr<Recordset> OpenRecordset() override;

  private:
    // Prepares and binds what has changed.
    void Ready();

    OdbcConnection& connection_;
    CommandType type_ = CommandType::Text;
    std::optional<int> timeoutSeconds_;  // without a value the default one
    std::string text_;
    std::string sql_;  // the text as it is sent
    bool prepared_ = false;
    std::vector<Parameter> parameters_;
    BoundParameters bound_;
    OdbcHandle statement_;
};

class OdbcConnection : public Connection {
  public:
    ~OdbcConnection() override { Disconnect(); }

    std::string Property(std::string_view name) const override;
    void SetProperty(std::string_view name, std::string_view value) override {
        properties_[ToLower(name)] = value;
    }
    int ConnectionTimeout() const override { return timeoutSeconds_; }
    void SetConnectionTimeout(int seconds) override { timeoutSeconds_ = seconds; }

    void Open() override;
    void Close() override { Disconnect(); }
    bool IsOpen() const override { return open_; }

    std::string DefaultDatabase() const override { return database_; }
    void SetDefaultDatabase(std::string_view name) override;

    std::int64_t Execute(std::string_view sql) override;
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override;
    std::unique_ptr<Command> CreateCommand() override {
        Handle();
        return std::make_unique<OdbcCommand>(*this);
    }

    void BeginTrans() override;
    void CommitTrans() override { EndTransaction(SQL_COMMIT, "COMMIT"); }
    void RollbackTrans() override { EndTransaction(SQL_ROLLBACK, "ROLLBACK"); }

    bool TableExists(std::string_view table) override { return odbc::TableExists(Handle(), table); }
    bool ColumnExists(std::string_view table, std::string_view column) override {
        return odbc::ColumnExists(Handle(), table, column);
    }
    bool IsIndexed(std::string_view table) override { return odbc::IsIndexed(Handle(), table); }
    TableDefinition DescribeTable(std::string_view table) override {
        return odbc::DescribeTable(Handle(), table);
    }

    // Throws when the connection is closed, and inside a transaction that an error has ended.
    const OdbcHandle& Handle(std::string_view statement = {}) const;
    // Runs the call of a statement. An error inside a transaction ends the transaction: the server
    // may have rolled it back, and what came after would stand by itself.
    template <typename Call>
    auto Guarded(Call&& call) {
        try {
            return call();
        } catch (const DatabaseError&) {
            transactionFailed_ = inTransaction_;
            throw;
        }
    }
    // SQLite tells texts apart by their trailing blanks, SQL Server does not.
    bool BlanksCount() const { return driver_.Family == DriverFamily::Sqlite; }

  private:
    void Connect(const std::string& database);
    void Disconnect();
    void EndTransaction(SQLSMALLINT how, const char* name);
    std::string CurrentCatalog() const;

    std::map<std::string, std::string, std::less<>> properties_;  // by lower-case name
    int timeoutSeconds_ = 15;
    OdbcDriver driver_;
    OdbcHandle environment_;
    OdbcHandle connection_;
    std::string database_;
    bool open_ = false;
    bool inTransaction_ = false;
    bool transactionFailed_ = false;
};

void OdbcConnection::Open() {
    Disconnect();
    driver_ = PickDriver(InstalledDrivers(), EnvironmentVariable("MORVANE_ODBC_DRIVER"));
    Connect(Property("Initial Catalog"));
}

void OdbcConnection::Connect(const std::string& database) {
    LoginDetails login;
    login.Server = Property("Data Source");
    login.IntegratedSecurity = EqualsIgnoreCase(Property("Integrated Security"), "SSPI");
    login.UserName = Property("User ID");
    login.Password = Property("Password");
    login.Database = database;
    login.ExtraOptions = EnvironmentVariable("MORVANE_ODBC_OPTIONS").value_or("");
    login.QueryTimeout = DefaultQueryTimeout();
    const std::string text = BuildConnectionString(driver_, login);

    environment_ = OdbcHandle::Environment();
    OdbcHandle connection(SQL_HANDLE_DBC, environment_);
    SQLSetConnectAttr(connection.Get(), SQL_ATTR_LOGIN_TIMEOUT,
                      reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(timeoutSeconds_)), 0);
    SQLSMALLINT length = 0;
    // Without the text in the error: it holds the password.
    Check(SQLDriverConnect(connection.Get(), nullptr, OdbcText(text),
                           static_cast<SQLSMALLINT>(text.size()), nullptr, 0, &length,
                           SQL_DRIVER_NOPROMPT),
          connection);
    connection_ = std::move(connection);
    open_ = true;
    database_ = driver_.Family == DriverFamily::Sqlite ? database : CurrentCatalog();
}

void OdbcConnection::Disconnect() {
    if (open_) {
        if (inTransaction_) {
            SQLEndTran(SQL_HANDLE_DBC, connection_.Get(), SQL_ROLLBACK);
        }
        SQLDisconnect(connection_.Get());
    }
    connection_ = OdbcHandle();
    environment_ = OdbcHandle();
    database_.clear();
    open_ = inTransaction_ = transactionFailed_ = false;
}

const OdbcHandle& OdbcConnection::Handle(std::string_view statement) const {
    if (!open_) {
        throw DatabaseError({"The connection is closed."}, std::string(statement));
    }
    if (transactionFailed_) {
        throw DatabaseError({"The transaction has ended with an error before this statement."},
                            std::string(statement));
    }
    return connection_;
}

std::string OdbcConnection::Property(std::string_view name) const {
    if (open_ && EqualsIgnoreCase(name, "Server Name") && driver_.Family != DriverFamily::Sqlite) {
        std::array<SQLCHAR, 512> server{};
        SQLSMALLINT length = 0;
        Check(SQLGetInfo(connection_.Get(), SQL_SERVER_NAME, server.data(), server.size(), &length),
              connection_);
        return reinterpret_cast<const char*>(server.data());
    }
    const auto found = properties_.find(ToLower(name));
    return found == properties_.end() ? "" : found->second;
}

std::string OdbcConnection::CurrentCatalog() const {
    std::array<SQLCHAR, 512> catalog{};
    SQLINTEGER length = 0;
    const SQLRETURN result = SQLGetConnectAttr(connection_.Get(), SQL_ATTR_CURRENT_CATALOG,
                                               catalog.data(), catalog.size(), &length);
    return SQL_SUCCEEDED(result) ? reinterpret_cast<const char*>(catalog.data()) : "";
}

void OdbcConnection::SetDefaultDatabase(std::string_view name) {
    Handle();
    if (name == database_ && !name.empty()) {
        return;
    }
    if (driver_.Family == DriverFamily::Sqlite) {
        Disconnect();
        Connect(std::string(name));
        return;
    }
    std::string text(name);
    Check(SQLSetConnectAttr(connection_.Get(), SQL_ATTR_CURRENT_CATALOG, text.data(),
                            static_cast<SQLINTEGER>(text.size())),
          connection_, "use " + text);
    database_ = name;
}

std::int64_t OdbcConnection::Execute(std::string_view sql) {
    return Guarded([&] {
        const OdbcHandle statement(SQL_HANDLE_STMT, Handle(sql));
        SetQueryTimeout(statement);
        const SQLRETURN result =
            SQLExecDirect(statement.Get(), OdbcText(sql), static_cast<SQLINTEGER>(sql.size()));
        return FinishStatement(statement, result, sql);
    });
}

std::unique_ptr<Recordset> OdbcConnection::OpenRecordset(std::string_view sql, RecordsetKind kind) {
    return Guarded([&]() -> std::unique_ptr<Recordset> {
        OdbcHandle statement(SQL_HANDLE_STMT, Handle(sql));
        SetQueryTimeout(statement);
        Check(SQLExecDirect(statement.Get(), OdbcText(sql), static_cast<SQLINTEGER>(sql.size())),
              statement, sql);
        auto rows =
            std::make_unique<OdbcRecordset>(std::move(statement), std::string(sql), BlanksCount());
        if (kind == RecordsetKind::Streamed) {
            return rows;
        }
        return BufferRecordset(*rows);
    });
}

void OdbcConnection::BeginTrans() {
    Check(SQLSetConnectAttr(Handle().Get(), SQL_ATTR_AUTOCOMMIT,
                            reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(SQL_AUTOCOMMIT_OFF)),
                            SQL_IS_UINTEGER),
          connection_, "BEGIN TRANSACTION");
    inTransaction_ = true;
    transactionFailed_ = false;
}

// Always ended before autocommit returns, which would roll back what is pending.
void OdbcConnection::EndTransaction(SQLSMALLINT how, const char* name) {
    if (!inTransaction_) {
        return;
    }
    if (how == SQL_COMMIT) {
        Handle(name);
    }
    const SQLRETURN ended = SQLEndTran(SQL_HANDLE_DBC, connection_.Get(), how);
    if (!SQL_SUCCEEDED(ended)) {
        transactionFailed_ = true;
        ThrowDiagnostics(connection_, name);
    }
    inTransaction_ = transactionFailed_ = false;
    Check(SQLSetConnectAttr(connection_.Get(), SQL_ATTR_AUTOCOMMIT,
                            reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(SQL_AUTOCOMMIT_ON)),
                            SQL_IS_UINTEGER),
          connection_, name);
}

void OdbcCommand::SetParameter(std::string_view name, const Value& value) {
    for (Parameter& parameter : parameters_) {
        if (EqualsIgnoreCase(parameter.Name, name)) {
            parameter.Value = value;
            return;
        }
    }
    throw DatabaseError({"The command has no parameter \"" + std::string(name) + "\"."}, text_);
}

void OdbcCommand::Ready() {
    const OdbcHandle& connection = connection_.Handle(text_);
    if (!prepared_) {
        sql_ = type_ == CommandType::Text ? text_ : CallText(text_, parameters_.size());
        statement_ = OdbcHandle(SQL_HANDLE_STMT, connection);
        SetQueryTimeout(statement_, timeoutSeconds_);
        Check(SQLPrepare(statement_.Get(), OdbcText(sql_), static_cast<SQLINTEGER>(sql_.size())),
              statement_, sql_);
        prepared_ = true;
    }
    bound_.Bind(statement_, parameters_, sql_);
}

std::int64_t OdbcCommand::Execute() {
    return connection_.Guarded([&] {
        Ready();
        return FinishStatement(statement_, SQLExecute(statement_.Get()), sql_);
    });
}

std::unique_ptr<Recordset> OdbcCommand::OpenRecordset() {
    return connection_.Guarded([&] {
        Ready();
        Check(SQLExecute(statement_.Get()), statement_, sql_);
        OdbcRecordset rows(std::move(statement_), sql_, connection_.BlanksCount());
        prepared_ = false;  // the statement went with the rows
        return BufferRecordset(rows);
    });
}

}  // namespace

}  // namespace odbc

std::unique_ptr<Connection> CreateOdbcConnection() {
    return std::make_unique<odbc::OdbcConnection>();
}

}  // namespace morvane
