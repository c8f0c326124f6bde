// SPDX-License-Identifier: Apache-2.0
// Commands and batches of the embedded engine.

#include <algorithm>

#include "db/embedded/EmbeddedSession.h"
#include "db/embedded/HistoryIndex.h"
#include "sql/MaskPasswords.h"

namespace morvane::embedded {

namespace {

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
    // The connection limits the only wait, for another process's lock.
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

// Keeps statements with parameters prepared. An update that reads more rows than an index for it
// would cost gets one until Finish().
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
    // About 20 milliseconds: a shorter batch gains nothing from an index.
    static constexpr std::int64_t kStepsBeforeAsking = 1000000;

    Prepared& PreparedFor(EmbeddedConnection& connection, std::string_view sql);
    void CountSteps(const SqliteDatabase& database, Prepared& prepared);

    OpenConnection connection_;
    RowCountSink counted_;
    std::size_t added_ = 0;
    std::weak_ptr<sqlite3> database_;  // of the prepared statements
    std::vector<Prepared> prepared_;   // one or two
    std::vector<const Value*> values_;
};

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
        rows = connection->Execute(sql, 0);
    } else {
        values_.clear();
        for (const Parameter& parameter : parameters) {
            values_.push_back(&parameter.Value);
        }
        Prepared& prepared = PreparedFor(*connection, sql);
        rows = connection->Run(prepared.Statement, values_, ValueForColumn);
        CountSteps(connection->RequireOpen(), prepared);
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
    const SqliteDatabase& database = connection.RequireOpen();
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

std::unique_ptr<Command> EmbeddedConnection::CreateCommand() {
    RequireOpen();
    return std::make_unique<EmbeddedCommand>(self_);
}

std::unique_ptr<StatementBatch> EmbeddedConnection::CreateBatch(RowCountSink counted) {
    RequireOpen();
    return std::make_unique<EmbeddedBatch>(self_, std::move(counted));
}

}  // namespace morvane::embedded
