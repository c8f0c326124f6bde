// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/EmbeddedConnection.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "db/embedded/AlterTable.h"
#include "db/embedded/AttachedDatabases.h"
#include "db/embedded/BusyWait.h"
#include "db/embedded/Catalogue.h"
#include "db/embedded/Databases.h"
#include "db/embedded/DateLiterals.h"
#include "db/embedded/EmbeddedRecordset.h"
#include "db/embedded/HistoryIndex.h"
#include "db/embedded/IndexRebuild.h"
#include "db/embedded/LiteralList.h"
#include "db/embedded/MetaTableCopies.h"
#include "db/embedded/Names.h"
#include "db/embedded/SemiJoin.h"
#include "db/embedded/SqlFunctions.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/StatementCache.h"
#include "db/embedded/Translation.h"
#include "sql/MaskPasswords.h"

namespace morvane {

namespace embedded {

namespace {

struct IgnoreCaseLess {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const {
        return ToLower(a) < ToLower(b);
    }
};

// A place without a value would silently be NULL.
void RequirePlaces(const SqliteStatement& statement, std::size_t values) {
    if (statement.ParameterCount() != static_cast<int>(values)) {
        throw DatabaseError({"The statement has " + std::to_string(statement.ParameterCount()) +
                             " places and the command " + std::to_string(values) + " parameters."},
                            MaskPasswords(sqlite3_sql(statement.Handle())));
    }
}

// How a text is read that meets a date: as a literal of the statement or as a program's value.
using DateReader = std::string (*)(std::string_view text, DateParameter meets, DateOrder order);

class EmbeddedConnection;

// What outlives a connection knows it by this, which expires when it is closed.
using OpenConnection = std::weak_ptr<EmbeddedConnection>;

std::shared_ptr<EmbeddedConnection> Require(const OpenConnection& open,
                                            std::string_view statement) {
    auto connection = open.lock();
    if (connection == nullptr) {
        throw DatabaseError({"The connection is closed."}, MaskPasswords(statement));
    }
    return connection;
}

class EmbeddedCommand : public Command {
  public:
    explicit EmbeddedCommand(OpenConnection connection) : connection_(std::move(connection)) {}

    void SetText(std::string_view sql) override { text_ = sql; }
    void SetType(CommandType type) override { type_ = type; }
    // Only another process's lock is waited for, as long as the connection says.
    void SetTimeout(int) override {}
    void AppendParameter(Parameter parameter) override {
        parameters_.push_back(std::move(parameter));
    }
    void DeleteParameter(std::size_t position) override {
        parameters_.erase(parameters_.begin() + static_cast<std::ptrdiff_t>(position));
    }
    void SetParameter(std::string_view name, const Value& value) override;
    std::int64_t Execute() override;
    std::unique_ptr<Recordset> OpenRecordset() override;

  private:
    std::vector<const Value*> Values() const;

    OpenConnection connection_;
    CommandType type_ = CommandType::Text;
    std::string text_;
    std::vector<Parameter> parameters_;
};

// Statements with parameters stay prepared for as long as the batch lives. An update that turns out
// to read more rows than an index for it would cost gets one, until Finish().
class EmbeddedBatch : public StatementBatch {
  public:
    EmbeddedBatch(OpenConnection connection, RowCountSink counted)
        : connection_(std::move(connection)), counted_(std::move(counted)) {}

    void Add(std::string_view sql, const std::vector<Parameter>& parameters) override;
    void Finish() override;

  private:
    struct Prepared {
        std::string Text;
        CachedStatement Statement;
        std::unique_ptr<HistoryIndex> Index;
        std::int64_t Steps = 0;
        std::int64_t StepsBeforeIndex = kStepsBeforeAsking;
        bool Indexed = false;
    };
    // Some 20 milliseconds: a batch that is over before gains nothing from an index.
    static constexpr std::int64_t kStepsBeforeAsking = 1000000;

    Prepared& PreparedFor(EmbeddedConnection& connection, std::string_view sql);
    void CountSteps(const SqliteDatabase& database, Prepared& prepared);

    OpenConnection connection_;
    RowCountSink counted_;
    std::size_t added_ = 0;
    std::weak_ptr<sqlite3> database_;  // where the statements are prepared
    std::vector<Prepared> prepared_;   // a text or two
    std::vector<const Value*> values_;
};

class EmbeddedConnection : public Connection {
  public:
    explicit EmbeddedConnection(std::function<bool()> cancelRequested)
        : wait_(std::move(cancelRequested)) {}

    std::string Property(std::string_view name) const override {
        if (IsOpen() && EqualsIgnoreCase(name, "Server Name")) {
            return Property("Data Source");
        }
        const auto found = properties_.find(name);
        return found == properties_.end() ? "" : found->second;
    }
    void SetProperty(std::string_view name, std::string_view value) override;

    int ConnectionTimeout() const override { return wait_.Seconds(); }
    void SetConnectionTimeout(int seconds) override { wait_.SetSeconds(seconds); }

    void Open() override;
    void Close() override;
    bool IsOpen() const override { return self_ != nullptr; }

    std::string DefaultDatabase() const override { return context_.Database; }
    void SetDefaultDatabase(std::string_view name) override;

    std::int64_t Execute(std::string_view sql) override;
    std::unique_ptr<Recordset> OpenRecordset(std::string_view sql, RecordsetKind kind) override;
    std::unique_ptr<Command> CreateCommand() override {
        Handle();
        return std::make_unique<EmbeddedCommand>(self_);
    }
    std::unique_ptr<StatementBatch> CreateBatch(RowCountSink counted) override {
        Handle();
        return std::make_unique<EmbeddedBatch>(self_, std::move(counted));
    }

    void BeginTrans() override { Handle().Run("BEGIN IMMEDIATE"); }
    void CommitTrans() override { Handle().Run("COMMIT"); }
    void RollbackTrans() override;

    void RequireName(NameOf what, std::string_view name) const override;

    bool TableExists(std::string_view table) override {
        return embedded::TableExists(Handle(), table);
    }
    std::optional<NamedTable> FindTable(std::string_view table) override {
        return embedded::FindTable(Handle(), table);
    }

    TableDefinition DescribeTable(std::string_view table) override {
        return embedded::DescribeTable(Handle(), table);
    }

    // What the commands of this connection need; the values fill the places in their order.
    std::int64_t ExecuteText(std::string_view sql, const std::vector<const Value*>& values,
                             DateReader readDate = ValueForColumn);
    std::int64_t ExecuteProcedure(std::string_view name, const std::vector<const Value*>& values);
    std::int64_t Run(CachedStatement& cached, const std::vector<const Value*>& values,
                     DateReader readDate);
    Translation TranslateHere(std::string_view sql);
    SqliteDatabase& Handle();
    std::unique_ptr<Recordset> OpenText(std::string_view sql,
                                        const std::vector<const Value*>& values,
                                        RecordsetKind kind);

  private:
    std::unique_ptr<Recordset> OpenAsWorded(std::string_view sql,
                                            const std::vector<const Value*>& values,
                                            RecordsetKind kind);
    bool BindDate(SqliteStatement& statement, const std::vector<DateParameter>& meets,
                  std::size_t i, const Value& value, DateReader readDate) const;
    std::int64_t Alter(std::string_view sql);

    // Owns nothing; there while the connection is open, for what may outlive it.
    std::shared_ptr<EmbeddedConnection> self_;
    std::map<std::string, std::string, IgnoreCaseLess> properties_;
    std::int64_t expectedRows_ = 0;  // that the next DELETE takes; 0 when nobody said
    bool compileOnly_ = false;
    TranslationContext context_;
    // Both outlive the database, which points to them.
    BusyWait wait_;
    FunctionContext functions_;
    std::optional<SqliteDatabase> database_;
    MetaTableCopies metaTables_;
    LiteralList literalList_;
    StatementCache cache_;
    DeleteByLiterals deleteByLiterals_;
    std::vector<const Value*> literals_;  // keeps its memory between the statements of a deletion
};

void EmbeddedConnection::SetProperty(std::string_view name, std::string_view value) {
    if (EqualsIgnoreCase(name, "Expected Rows")) {
        std::from_chars(value.data(), value.data() + value.size(), expectedRows_);
        return;
    }
    properties_[std::string(name)] = value;
}

void EmbeddedConnection::Open() {
    const std::string server = Property("Data Source");
    const std::string folder = server.substr(std::min(kEmbeddedPrefix.size(), server.size()));
    if (const std::error_code error = CheckFolder(folder)) {
        throw DatabaseError({"The folder \"" + folder +
                             "\" with embedded databases cannot be used: " + error.message()});
    }
    Close();
    context_ = {};
    context_.Folder = folder;
    database_ = SqliteDatabase::InMemory();
    RegisterFunctions(*database_, functions_);
    self_ = {this, [](EmbeddedConnection*) {}};
    compileOnly_ = false;
    if (const std::string catalog = Property("Initial Catalog"); !catalog.empty()) {
        SetDefaultDatabase(catalog);
    }
}

void EmbeddedConnection::Close() {
    self_.reset();
    cache_.Clear();
    database_.reset();
    context_.Database.clear();
}

void EmbeddedConnection::SetDefaultDatabase(std::string_view name) {
    Handle();
    if (!name.empty() && name == context_.Database) {
        return;
    }
    SqliteDatabase database = SqliteDatabase::OpenFile(DatabaseFile(context_.Folder, name), wait_);
    RegisterFunctions(database, functions_);
    literalList_.Forget();
    metaTables_.Forget();
    cache_.Clear();
    database_ = std::move(database);
    context_.Database = name;
}

SqliteDatabase& EmbeddedConnection::Handle() {
    if (!IsOpen()) {
        throw DatabaseError({"The connection is closed."});
    }
    return *database_;
}

Translation EmbeddedConnection::TranslateHere(std::string_view sql) {
    context_.Catalogue = &Handle();
    context_.CopyServer = Property("Copy Server");
    context_.CopyDatabase = Property("Copy Database");
    Translation translation = Translate(sql, context_);
    if (translation.Kind == StatementKind::Update) {
        translation.Sql = RewriteUpdate(database_->Handle(), translation.Sql);
    }
    return translation;
}

// Binds a text that meets a date in the form in which columns hold it; false for any other value.
bool EmbeddedConnection::BindDate(SqliteStatement& statement,
                                  const std::vector<DateParameter>& meets, std::size_t i,
                                  const Value& value, DateReader readDate) const {
    if (i >= meets.size() || meets[i].Kind == DateKind::None || !value.IsText()) {
        return false;
    }
    try {
        const std::string& text = std::get<std::string>(value.Data());
        statement.Bind(static_cast<int>(i) + 1, Value(readDate(text, meets[i], context_.Order)));
    } catch (const DatabaseError& error) {
        throw DatabaseError(error.Descriptions(), MaskPasswords(statement.ShownAs()));
    }
    return true;
}

std::int64_t EmbeddedConnection::Run(CachedStatement& cached,
                                     const std::vector<const Value*>& values, DateReader readDate) {
    SqliteStatement& statement = cached.Statement;
    RequirePlaces(statement, values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!BindDate(statement, cached.ParameterDates, i, *values[i], readDate)) {
            statement.BindLent(static_cast<int>(i) + 1, *values[i]);
        }
    }
    struct ResetAtEnd {
        SqliteStatement& Statement;
        ~ResetAtEnd() { Statement.Reset(); }
    } const resetAtEnd{statement};
    std::optional<IndexRebuild> rebuild;
    if (cached.Kind == StatementKind::Delete && expectedRows_ != 0) {
        rebuild.emplace(*database_, sqlite3_sql(statement.Handle()),
                        std::exchange(expectedRows_, 0));
    }
    functions_.StartStatement();
    while (statement.Step()) {
    }
    const bool counts = cached.Kind == StatementKind::Insert ||
                        cached.Kind == StatementKind::Update ||
                        cached.Kind == StatementKind::Delete;
    const std::int64_t changes = counts ? sqlite3_changes64(database_->Handle()) : -1;
    if (rebuild) {
        rebuild->Finish();
    }
    return changes;
}

std::int64_t EmbeddedConnection::ExecuteText(std::string_view sql,
                                             const std::vector<const Value*>& values,
                                             DateReader readDate) {
    if (CachedStatement* cached = compileOnly_ ? nullptr : cache_.Find(sql)) {
        return Run(*cached, values, readDate);
    }
    const Translation translation = TranslateHere(sql);
    const bool keeps = !metaTables_.MayChange(sql);
    if (translation.Kind == StatementKind::NoExecOn ||
        translation.Kind == StatementKind::NoExecOff) {
        compileOnly_ = translation.Kind == StatementKind::NoExecOn;
        return -1;
    }
    if (translation.Kind == StatementKind::Setting) {
        const DateOrder order = translation.NewOrder.value_or(context_.Order);
        if (!compileOnly_ && order != context_.Order) {
            context_.Order = order;
            cache_.Clear();  // the literals of its statements were read in the old order
        }
        return -1;
    }
    if (translation.Kind == StatementKind::Alter) {
        return Alter(sql);
    }
    // Before the statement and gone after it: a file in use is detached by nobody.
    const AttachedDatabases attached(*database_, translation.AttachedFiles);
    CachedStatement statement{translation.Kind, database_->Compile(translation.Sql, sql),
                              translation.ParameterDates};
    if (compileOnly_) {
        return -1;
    }
    if (translation.Kind == StatementKind::Definition) {
        cache_.Clear();  // other statements may mean something else afterwards
        return Run(statement, values, readDate);
    }
    return keeps && translation.AttachedFiles.empty()
               ? Run(cache_.Add(sql, std::move(statement)), values, readDate)
               : Run(statement, values, readDate);
}

std::int64_t EmbeddedConnection::Alter(std::string_view sql) {
    if (!compileOnly_) {
        cache_.Clear();
        AlterTable(*database_, sql, context_);
    }
    return -1;
}

std::int64_t EmbeddedConnection::Execute(std::string_view sql) {
    Handle();
    if (compileOnly_ || !deleteByLiterals_.Parse(sql)) {
        return ExecuteText(sql, {});
    }
    literals_.clear();
    for (const Value& literal : deleteByLiterals_.Literals()) {
        literals_.push_back(&literal);
    }
    return ExecuteText(deleteByLiterals_.Shape(), literals_,
                       [](std::string_view text, DateParameter meets, DateOrder order) {
                           return DateForColumn(text, meets.Kind, order);
                       });
}

std::int64_t EmbeddedConnection::ExecuteProcedure(std::string_view name,
                                                  const std::vector<const Value*>& values) {
    Handle();
    const std::string server = values.empty() ? "" : std::string(Trim(values[0]->Text()));
    auto& linked = context_.LinkedServers;
    const auto found = std::find_if(linked.begin(), linked.end(), [&](const std::string& known) {
        return EqualsIgnoreCase(known, server);
    });
    const bool adds = EqualsIgnoreCase(name, "sp_addlinkedserver");
    const bool drops = EqualsIgnoreCase(name, "sp_dropserver");
    if (!adds && !drops && !EqualsIgnoreCase(name, "sp_addlinkedsrvlogin")) {
        throw DatabaseError({"Could not find stored procedure '" + std::string(name) + "'."});
    }
    if (values.size() != (drops ? 1U : 2U) || server.empty()) {
        throw DatabaseError({"Procedure " + std::string(name) + " has other parameters."});
    }
    if (adds && found != linked.end()) {
        throw DatabaseError({"The server '" + server + "' already exists."});
    }
    if (!adds && found == linked.end()) {
        throw DatabaseError({"The server '" + server + "' does not exist."});
    }
    if (adds) {
        linked.push_back(server);
    } else if (drops) {
        linked.erase(found);
    }
    return -1;
}

std::unique_ptr<Recordset> EmbeddedConnection::OpenRecordset(std::string_view sql,
                                                             RecordsetKind kind) {
    return OpenText(sql, {}, kind);
}

// The engine's own tables may change while a streamed recordset is open: it never reads them.
std::unique_ptr<Recordset> EmbeddedConnection::OpenText(std::string_view sql,
                                                        const std::vector<const Value*>& values,
                                                        RecordsetKind kind) {
    Handle();
    if (kind == RecordsetKind::Buffered) {
        try {
            const std::string faster =
                metaTables_.Replace(*database_, literalList_.Replace(*database_, sql));
            if (faster != sql) {
                return OpenAsWorded(faster, values, kind);
            }
        } catch (const DatabaseError&) {
            // As it is worded, then; if that fails too, it tells why.
        }
    }
    return OpenAsWorded(sql, values, kind);
}

// Bound values are copied: a streamed recordset outlives its caller's.
std::unique_ptr<Recordset> EmbeddedConnection::OpenAsWorded(std::string_view sql,
                                                            const std::vector<const Value*>& values,
                                                            RecordsetKind kind) {
    const Translation translation = TranslateHere(sql);
    SqliteStatement statement = database_->Compile(translation.Sql, sql);
    RequirePlaces(statement, values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!BindDate(statement, translation.ParameterDates, i, *values[i], ValueForColumn)) {
            statement.Bind(static_cast<int>(i) + 1, *values[i]);
        }
    }
    functions_.StartStatement();
    auto rows = std::make_unique<EmbeddedRecordset>(database_->Watched(), std::move(statement));
    return kind == RecordsetKind::Buffered ? BufferRecordset(*rows) : std::move(rows);
}

void EmbeddedConnection::RequireName(NameOf what, std::string_view name) const {
    const bool table = what == NameOf::Table;
    if (table ? !IsTableName(name) : !IsColumnName(name)) {
        throw DatabaseError({"\"" + std::string(name) +
                             "\" in the meta tables is not the name of a " +
                             (table ? "table" : "column") + ": it must be one identifier."});
    }
}

void EmbeddedConnection::RollbackTrans() {
    // After a full disk SQLite has rolled back by itself.
    if (sqlite3_get_autocommit(Handle().Handle()) == 0) {
        database_->Run("ROLLBACK");
    }
}

void EmbeddedCommand::SetParameter(std::string_view name, const Value& value) {
    if (!SetParameterValue(parameters_, name, value)) {
        throw DatabaseError({"The command has no parameter \"" + std::string(name) + "\"."},
                            MaskPasswords(text_));
    }
}

std::vector<const Value*> EmbeddedCommand::Values() const {
    std::vector<const Value*> values;
    for (const Parameter& parameter : parameters_) {
        values.push_back(&parameter.Value);
    }
    return values;
}

std::int64_t EmbeddedCommand::Execute() {
    const auto connection = Require(connection_, text_);
    return type_ == CommandType::Text ? connection->ExecuteText(text_, Values())
                                      : connection->ExecuteProcedure(text_, Values());
}

std::unique_ptr<Recordset> EmbeddedCommand::OpenRecordset() {
    return Require(connection_, text_)->OpenText(text_, Values(), RecordsetKind::Buffered);
}

void EmbeddedBatch::Add(std::string_view sql, const std::vector<Parameter>& parameters) {
    const auto connection = Require(connection_, sql);
    std::int64_t rows = 0;
    if (parameters.empty()) {
        rows = connection->Execute(sql);
    } else {
        values_.clear();
        for (const Parameter& parameter : parameters) {
            values_.push_back(&parameter.Value);
        }
        Prepared& prepared = PreparedFor(*connection, sql);
        rows = connection->Run(prepared.Statement, values_, ValueForColumn);
        CountSteps(connection->Handle(), prepared);
    }
    if (counted_) {
        counted_(added_, rows);
    }
    ++added_;
}

void EmbeddedBatch::Finish() {
    for (Prepared& prepared : prepared_) {
        if (prepared.Index) {
            prepared.Index->Drop();
        }
    }
    prepared_.clear();
}

EmbeddedBatch::Prepared& EmbeddedBatch::PreparedFor(EmbeddedConnection& connection,
                                                    std::string_view sql) {
    const SqliteDatabase& database = connection.Handle();
    if (database_.lock().get() != database.Handle()) {
        prepared_.clear();
        database_ = database.Watched();
    }
    for (Prepared& prepared : prepared_) {
        if (prepared.Text == sql) {
            return prepared;
        }
    }
    Translation translation = connection.TranslateHere(sql);
    prepared_.push_back({.Text = std::string(sql),
                         .Statement = {translation.Kind, database.Compile(translation.Sql, sql),
                                       std::move(translation.ParameterDates)},
                         .Index = HistoryIndex::For(database, translation.Sql)});
    return prepared_.back();
}

void EmbeddedBatch::CountSteps(const SqliteDatabase& database, Prepared& prepared) {
    if (!prepared.Index || prepared.Indexed) {
        return;
    }
    SqliteStatement& statement = prepared.Statement.Statement;
    prepared.Steps += sqlite3_stmt_status(statement.Handle(), SQLITE_STMTSTATUS_VM_STEP, 1);
    if (prepared.Steps < prepared.StepsBeforeIndex) {
        return;
    }
    if (prepared.StepsBeforeIndex == kStepsBeforeAsking) {
        prepared.StepsBeforeIndex = std::max(kStepsBeforeAsking + 1, prepared.Index->CostInSteps());
        return;
    }
    if (!prepared.Index->Create()) {
        prepared.Index.reset();
        return;
    }
    prepared.Indexed = true;
    statement = database.Compile(prepared.Index->Statement(), prepared.Text);
}

}  // namespace

}  // namespace embedded

std::unique_ptr<Connection> CreateEmbeddedConnection(std::function<bool()> cancelRequested) {
    return std::make_unique<embedded::EmbeddedConnection>(std::move(cancelRequested));
}

}  // namespace morvane
