#include "db/embedded/EmbeddedConnection.h"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "core/Text.h"
#include "core/modFileFunctions.h"
#include "db/embedded/EmbeddedRecordset.h"
#include "db/embedded/SemiJoin.h"
#include "db/embedded/SqlFunctions.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/StatementCache.h"
#include "db/embedded/Tokens.h"
#include "db/embedded/Translation.h"

namespace morvane {

namespace embedded {

namespace {

struct IgnoreCaseLess {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const {
        return ToLower(a) < ToLower(b);
    }
};

class EmbeddedConnection;

class EmbeddedCommand : public Command {
  public:
    explicit EmbeddedCommand(EmbeddedConnection& connection) : connection_(connection) {}

    void SetText(std::string_view sql) override { text_ = sql; }
    void AppendParameter(Parameter parameter) override {
        parameters_.push_back(std::move(parameter));
    }
    void SetParameter(std::string_view name, const Value& value) override;
    std::int64_t Execute() override;
    std::unique_ptr<Recordset> OpenRecordset() override;

  private:
    void BindParameters(SqliteStatement& statement) const;

    EmbeddedConnection& connection_;
    std::string text_;
    std::vector<Parameter> parameters_;
};

class EmbeddedConnection : public Connection {
  public:
    std::string Property(std::string_view name) const override {
        if (open_ && EqualsIgnoreCase(name, "Server Name")) {
            return Property("Data Source");
        }
        const auto found = properties_.find(name);
        return found == properties_.end() ? "" : found->second;
    }
    void SetProperty(std::string_view name, std::string_view value) override {
        properties_[std::string(name)] = value;
    }

    int ConnectionTimeout() const override { return timeoutSeconds_; }
    void SetConnectionTimeout(int seconds) override { timeoutSeconds_ = seconds; }

    void Open() override;
    void Close() override;
    bool IsOpen() const override { return open_; }

    std::string DefaultDatabase() const override { return context_.Database; }
    void SetDefaultDatabase(std::string_view name) override;

    std::int64_t Execute(std::string_view sql) override;
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override;
    std::unique_ptr<Command> CreateCommand() override {
        return std::make_unique<EmbeddedCommand>(*this);
    }

    void BeginTrans() override { Handle().Run("BEGIN IMMEDIATE"); }
    void CommitTrans() override { Handle().Run("COMMIT"); }
    void RollbackTrans() override;

    bool TableExists(std::string_view table) override;
    bool ColumnExists(std::string_view table, std::string_view column) override;
    bool IsIndexed(std::string_view table) override;

    // What the commands of this connection need. A prepared statement belongs to the connection.
    CachedStatement& Prepare(std::string_view sql);
    SqliteStatement CompileQuery(std::string_view sql) {
        return Compile(Handle().Handle(), sql).Statement;
    }
    // Runs a bound statement to its end; returns the rows affected.
    std::int64_t Run(CachedStatement& cached);
    std::unique_ptr<Recordset> Open(SqliteStatement statement, RecordsetKind kind);

  private:
    SqliteDatabase& Handle();
    CachedStatement Compile(sqlite3* database, std::string_view sql) const;
    bool SwitchCompileOnly(std::string_view sql);
    bool HasRow(std::string_view sql, std::string_view first, std::string_view second = {});

    std::map<std::string, std::string, IgnoreCaseLess> properties_;
    int timeoutSeconds_ = 15;
    bool open_ = false;
    bool compileOnly_ = false;
    TranslationContext context_;
    // Outlives the database, whose functions point to it.
    FunctionContext functions_;
    std::optional<SqliteDatabase> database_;
    StatementCache cache_;
    DeleteByLiterals deleteByLiterals_;
};

void EmbeddedConnection::Open() {
    const std::string server = Property("Data Source");
    const std::string folder = server.substr(std::min(kEmbeddedPrefix.size(), server.size()));
    if (!FolderExists(folder)) {
        throw DatabaseError({"There is no folder \"" + folder + "\" with embedded databases."});
    }
    context_ = {folder, {}};
    database_ = SqliteDatabase::InMemory();
    RegisterFunctions(*database_, functions_);
    open_ = true;
    compileOnly_ = false;
    if (const std::string catalog = Property("Initial Catalog"); !catalog.empty()) {
        SetDefaultDatabase(catalog);
    }
}

void EmbeddedConnection::Close() {
    cache_.Clear();
    database_.reset();
    context_.Database.clear();
    open_ = false;
}

void EmbeddedConnection::SetDefaultDatabase(std::string_view name) {
    Handle();
    if (!name.empty() && name == context_.Database) {
        return;
    }
    if (name.empty() || name.find_first_of("/\\") != std::string_view::npos) {
        throw DatabaseError({"\"" + std::string(name) + "\" is not the name of a database."});
    }
    SqliteDatabase database =
        SqliteDatabase::OpenFile(context_.Folder + kPathSeparator + std::string(name) + ".db");
    database.SetBusyTimeout(timeoutSeconds_);
    RegisterFunctions(database, functions_);
    cache_.Clear();
    database_ = std::move(database);
    context_.Database = name;
}

SqliteDatabase& EmbeddedConnection::Handle() {
    if (!open_) {
        throw DatabaseError({"The connection is closed."});
    }
    return *database_;
}

CachedStatement& EmbeddedConnection::Prepare(std::string_view sql) {
    sqlite3* database = Handle().Handle();
    return cache_.Get(sql, [&] { return Compile(database, sql); });
}

CachedStatement EmbeddedConnection::Compile(sqlite3* database, std::string_view sql) const {
    const Translation translation = Translate(sql, context_);
    if (translation.Kind == StatementKind::NoExecOn ||
        translation.Kind == StatementKind::NoExecOff) {
        throw DatabaseError({"SET is a statement of its own."}, std::string(sql));
    }
    const std::string text = translation.Kind == StatementKind::Update
                                 ? RewriteUpdate(database, translation.Sql)
                                 : translation.Sql;
    return {translation.Kind, SqliteStatement(database, text, sql)};
}

std::int64_t EmbeddedConnection::Run(CachedStatement& cached) {
    struct ResetAtEnd {
        SqliteStatement& Statement;
        ~ResetAtEnd() { Statement.Reset(); }
    } const resetAtEnd{cached.Statement};
    functions_.StartStatement();
    while (cached.Statement.Step()) {
    }
    const bool counts = cached.Kind == StatementKind::Insert ||
                        cached.Kind == StatementKind::Update ||
                        cached.Kind == StatementKind::Delete;
    return counts ? sqlite3_changes64(database_->Handle()) : -1;
}

bool EmbeddedConnection::SwitchCompileOnly(std::string_view sql) {
    if (Trim(sql).empty() || (Trim(sql)[0] | 0x20) != 's') {
        return false;
    }
    const std::vector<Token> tokens = Tokenize(sql);
    if (tokens.size() != 3 || !tokens[0].Is("set") || !tokens[1].Is("noexec")) {
        return false;
    }
    compileOnly_ = tokens[2].Is("on");
    return true;
}

std::int64_t EmbeddedConnection::Execute(std::string_view sql) {
    sqlite3* database = Handle().Handle();
    if (SwitchCompileOnly(sql)) {
        return -1;
    }
    if (compileOnly_) {
        Compile(database, sql);
        return -1;
    }
    if (!deleteByLiterals_.Parse(sql)) {
        CachedStatement& cached = Prepare(sql);
        const StatementKind kind = cached.Kind;
        const std::int64_t affected = Run(cached);
        if (kind == StatementKind::Definition) {
            cache_.Clear();  // other statements may mean something else now
        }
        return affected;
    }
    CachedStatement& cached = Prepare(deleteByLiterals_.Shape());
    int place = 0;
    for (const Value& literal : deleteByLiterals_.Literals()) {
        cached.Statement.BindLent(++place, literal);
    }
    return Run(cached);
}

std::unique_ptr<Recordset> EmbeddedConnection::OpenRecordset(std::string_view sql,
                                                             RecordsetKind kind) {
    return Open(Compile(Handle().Handle(), sql).Statement, kind);
}

std::unique_ptr<Recordset> EmbeddedConnection::Open(SqliteStatement statement, RecordsetKind kind) {
    functions_.StartStatement();
    auto rows = std::make_unique<EmbeddedRecordset>(database_->Handle(), std::move(statement));
    return kind == RecordsetKind::Buffered ? BufferRecordset(*rows) : std::move(rows);
}

void EmbeddedConnection::RollbackTrans() {
    // After a full disk SQLite has rolled back by itself.
    if (sqlite3_get_autocommit(Handle().Handle()) == 0) {
        database_->Run("ROLLBACK");
    }
}

bool EmbeddedConnection::HasRow(std::string_view sql, std::string_view first,
                                std::string_view second) {
    SqliteStatement statement(Handle().Handle(), sql, sql);
    statement.Bind(1, Value(std::string(first)));
    if (statement.ParameterCount() > 1) {
        statement.Bind(2, Value(std::string(second)));
    }
    return statement.Step();
}

bool EmbeddedConnection::TableExists(std::string_view table) {
    return HasRow(
        "SELECT 1 FROM sqlite_schema WHERE type IN ('table', 'view')"
        " AND name = ? COLLATE NOCASE",
        table);
}

bool EmbeddedConnection::ColumnExists(std::string_view table, std::string_view column) {
    return HasRow("SELECT 1 FROM pragma_table_info(?) WHERE name = ? COLLATE NOCASE", table,
                  column);
}

bool EmbeddedConnection::IsIndexed(std::string_view table) {
    // SQLite keeps an INTEGER PRIMARY KEY in the table itself, without a line in the index list.
    return HasRow(
        "SELECT 1 FROM pragma_index_list(?1) UNION ALL"
        " SELECT 1 FROM pragma_table_info(?1) WHERE pk > 0",
        table);
}

void EmbeddedCommand::SetParameter(std::string_view name, const Value& value) {
    for (Parameter& parameter : parameters_) {
        if (EqualsIgnoreCase(parameter.Name, name)) {
            parameter.Value = value;
            return;
        }
    }
    throw DatabaseError({"The command has no parameter \"" + std::string(name) + "\"."}, text_);
}

void EmbeddedCommand::BindParameters(SqliteStatement& statement) const {
    if (statement.ParameterCount() != static_cast<int>(parameters_.size())) {
        throw DatabaseError(
            {"The statement has " + std::to_string(statement.ParameterCount()) +
             " places and the command " + std::to_string(parameters_.size()) + " parameters."},
            text_);
    }
    for (std::size_t i = 0; i < parameters_.size(); ++i) {
        statement.BindLent(static_cast<int>(i) + 1, parameters_[i].Value);
    }
}

std::int64_t EmbeddedCommand::Execute() {
    CachedStatement& cached = connection_.Prepare(text_);
    BindParameters(cached.Statement);
    return connection_.Run(cached);
}

// The rows are read to their end here, while the parameters that the statement borrows live.
std::unique_ptr<Recordset> EmbeddedCommand::OpenRecordset() {
    SqliteStatement statement = connection_.CompileQuery(text_);
    BindParameters(statement);
    return connection_.Open(std::move(statement), RecordsetKind::Buffered);
}

}  // namespace

}  // namespace embedded

std::unique_ptr<Connection> CreateEmbeddedConnection() {
    return std::make_unique<embedded::EmbeddedConnection>();
}

}  // namespace morvane
