// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/EmbeddedConnection.h"

#include <algorithm>

#include "base/modFileFunctions.h"
#include "db/embedded/AlterTable.h"
#include "db/embedded/Databases.h"
#include "db/embedded/EmbeddedRecordset.h"
#include "db/embedded/EmbeddedSession.h"
#include "db/embedded/IndexRebuild.h"
#include "db/embedded/Names.h"
#include "sql/MaskPasswords.h"

namespace morvane {

namespace embedded {

namespace {

// SQLite would treat a parameter without a value as NULL.
void RequirePlaces(const SqliteStatement& statement, std::size_t values) {
    if (statement.ParameterCount() != static_cast<int>(values)) {
        throw DatabaseError({"The statement has " + std::to_string(statement.ParameterCount()) +
                             " places and the command " + std::to_string(values) + " parameters."},
                            MaskPasswords(sqlite3_sql(statement.Handle())));
    }
}

}  // namespace

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
    context_.ReadsOnly = EqualsIgnoreCase(Property("Mode"), "Read");
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
    RequireOpen();
    if (!name.empty() && name == context_.Database && !database_->HasMoved()) {
        return;
    }
    SqliteDatabase database =
        SqliteDatabase::OpenFile(DatabaseFile(context_.Folder, name), wait_, context_.ReadsOnly);
    RegisterFunctions(database, functions_);
    literalList_.Forget();
    metaTables_.Forget();
    cache_.Clear();
    database_ = std::move(database);
    context_.Database = name;
}

SqliteDatabase& EmbeddedConnection::RequireOpen() {
    if (!IsOpen()) {
        throw DatabaseError({"The connection is closed."});
    }
    return *database_;
}

Translation EmbeddedConnection::TranslateHere(std::string_view sql) {
    context_.Catalogue = &RequireOpen();
    context_.CopyServer = Property("Copy Server");
    context_.CopyDatabase = Property("Copy Database");
    Translation translation = Translate(sql, context_);
    if (translation.Kind == StatementKind::Update) {
        translation.Sql = RewriteUpdate(database_->Handle(), translation.Sql);
    }
    return translation;
}

// Binds a text that is compared with a date in the stored form. False for any other value.
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
                                     const std::vector<const Value*>& values, DateReader readDate,
                                     std::int64_t expectedRows) {
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
    if (cached.Kind == StatementKind::Delete && expectedRows != 0) {
        rebuild.emplace(*database_, sqlite3_sql(statement.Handle()), expectedRows);
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
                                             DateReader readDate, std::int64_t expectedRows) {
    if (CachedStatement* cached = compileOnly_ ? nullptr : cache_.Find(sql)) {
        return Run(*cached, values, readDate, expectedRows);
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
            cache_.Clear();  // its literals were read in the old order
        }
        return -1;
    }
    if (translation.Kind == StatementKind::Alter) {
        return Alter(sql);
    }
    const AttachedDatabases attached(*database_, translation.AttachedFiles, context_.ReadsOnly);
    if (!translation.NewTable.empty() && !compileOnly_) {
        return SelectInto(translation, sql);
    }
    CachedStatement statement{translation.Kind, database_->Compile(translation.Sql, sql),
                              translation.ParameterDates};
    if (compileOnly_) {
        return -1;
    }
    if (translation.Kind == StatementKind::Definition) {
        cache_.Clear();  // the definition can change what other statements mean
        return Run(statement, values, readDate);
    }
    return keeps && translation.AttachedFiles.empty()
               ? Run(cache_.Add(sql, std::move(statement)), values, readDate, expectedRows)
               : Run(statement, values, readDate, expectedRows);
}

// Creates the table with the types and collations of the columns that the query reads, as the
// server does.
std::int64_t EmbeddedConnection::SelectInto(const Translation& translation, std::string_view sql) {
    std::string columns;
    {
        const SqliteStatement query = database_->Compile(translation.Sql, sql);
        for (int i = 0; i < sqlite3_column_count(query.Handle()); ++i) {
            columns += (columns.empty() ? "" : ", ") + ResultColumnDefinition(query.Handle(), i);
        }
    }
    cache_.Clear();
    database_->Run("CREATE TEMP TABLE " + translation.NewTable + "(" + columns + ")");
    try {
        CachedStatement insert{
            StatementKind::Insert,
            database_->Compile("INSERT INTO " + translation.NewTable + " " + translation.Sql, sql),
            {}};
        return Run(insert, {}, ValueForColumn);
    } catch (...) {
        database_->Run("DROP TABLE temp." + translation.NewTable);
        throw;
    }
}

// The engine's own statements re-create the table, and those are not limited by the guard.
std::int64_t EmbeddedConnection::Alter(std::string_view sql) {
    if (context_.ReadsOnly) {
        throw DatabaseError({"The connection only reads."}, MaskPasswords(sql));
    }
    if (!compileOnly_) {
        cache_.Clear();
        AlterTable(*database_, sql, context_);
    }
    return -1;
}

std::int64_t EmbeddedConnection::Execute(std::string_view sql, std::int64_t expectedRows) {
    RequireOpen();
    if (compileOnly_ || !deleteByLiterals_.Parse(sql)) {
        return ExecuteText(sql, {}, ValueForColumn, expectedRows);
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
    RequireOpen();
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

// A streamed recordset does not use the lookup tables: they can change while it is open.
std::unique_ptr<Recordset> EmbeddedConnection::OpenText(std::string_view sql,
                                                        const std::vector<const Value*>& values,
                                                        RecordsetKind kind) {
    RequireOpen();
    if (kind == RecordsetKind::Buffered) {
        try {
            const std::string faster =
                metaTables_.Replace(*database_, literalList_.Replace(*database_, sql));
            if (faster != sql) {
                return OpenAsWorded(faster, values, kind);
            }
        } catch (const DatabaseError&) {
            // Run the query unchanged; if that fails too, its error is reported.
        }
    }
    return OpenAsWorded(sql, values, kind);
}

// Copies bound values: a streamed recordset outlives the caller's.
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
    // On a full disk SQLite has already rolled back.
    if (sqlite3_get_autocommit(RequireOpen().Handle()) == 0) {
        database_->Run("ROLLBACK");
    }
}

}  // namespace embedded

std::unique_ptr<Connection> CreateEmbeddedConnection(std::function<bool()> cancelRequested) {
    return std::make_unique<embedded::EmbeddedConnection>(std::move(cancelRequested));
}

}  // namespace morvane
