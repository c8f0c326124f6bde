// SPDX-License-Identifier: Apache-2.0
#include "tasks/modArchiveFactTables.h"

#include <fmt/format.h>

#include <string>

#include "base/Clock.h"
#include "base/Text.h"
#include "core/Transaction.h"
#include "db/ConnectionFactory.h"
#include "db/modDatabaseOperations.h"
#include "sql/MaskPasswords.h"

namespace morvane {

namespace {

class Archiving {
  public:
    Archiving(RunState& state, ProgressWindow& progress, LogStream& log)
        : result_(state.Result),
          warehouse_(*state.WarehouseConnection),
          archive_(*state.ArchiveConnection),
          progress_(progress),
          log_(log) {}

    Outcome Run(const Clock& clock);
    void WriteEnd();

  private:
    void WriteHead();
    void PrepareArchiveProgress();
    void MoveRows(const std::string& table, const std::string& condition);
    void RefuseWarehouseAsArchive();
    void RefuseAzureSqlDatabase();
    void DeleteArchivedRows(const std::string& table, const std::string& condition,
                            std::int64_t archived);
    void FinishArchiveProgress();

    RunResult& result_;
    Connection& warehouse_;
    Connection& archive_;
    ProgressWindow& progress_;
    LogStream& log_;
    LocalMoment timestamp_;
};

Outcome Archiving::Run(const Clock& clock) {
    log_.WriteLine("---------------------------------");
    log_.WriteLine("Start of Archiving of Fact Tables");
    log_.WriteLine("---------------------------------");
    log_.WriteLine("");
    const auto tables = warehouse_.OpenRecordset(
        "select table_name, where_clause from dwm_tables where upper(table_type) = 'FACT'");
    timestamp_ = clock.Now();
    WriteHead();
    PrepareArchiveProgress();
    for (; !tables->Eof(); tables->MoveNext()) {
        if (progress_.CheckCancelState()) {
            return Outcome::Cancelled;
        }
        const std::string table = NullToText((*tables)[0], "");
        const std::string condition(Trim(NullToText((*tables)[1], "")));
        progress_.Comment("Archiving Table : " + table);
        if (!condition.empty()) {
            warehouse_.RequireTableName(table);
            MoveRows(std::string(Trim(table)), condition);
        }
        progress_.ProgressVal(progress_.ProgressVal() + 1);
    }
    FinishArchiveProgress();
    WriteEnd();
    return Outcome::Done;
}

void Archiving::WriteHead() {
    log_.WriteLine("Date of Archiving: " + IsoDateTime(timestamp_));
    log_.WriteLine("");
    log_.WriteLine("Data Warehouse Server: " + warehouse_.Property("Server Name"));
    log_.WriteLine("Data Warehouse Database: " + warehouse_.DefaultDatabase());
    log_.WriteLine("Archive Server: " + archive_.Property("Server Name"));
    log_.WriteLine("Archive Database: " + archive_.DefaultDatabase());
    log_.WriteLine("");
}

void Archiving::WriteEnd() {
    log_.WriteLine("-------------------------------");
    log_.WriteLine("End of Archiving of Fact Tables");
    log_.WriteLine("-------------------------------");
    log_.WriteLine("");
}

void Archiving::PrepareArchiveProgress() {
    const auto count = warehouse_.OpenRecordset(
        "Select COUNT(*) from dwm_tables where Upper(table_type) = 'FACT'");
    const std::int64_t tables = (*count)[0].Integer();
    progress_.SetProgressRange(0, tables < 1 ? 1.0F : static_cast<float>(tables));
    progress_.SetProgressValue(tables < 1 ? 1.0F : 0.0F);
}

void Archiving::MoveRows(const std::string& table, const std::string& condition) {
    const TableTimer timer(result_, table);
    log_.WriteLine("***");
    log_.WriteLine("Fact Table: " + table);
    log_.WriteLine("Condition: " + condition);
    RefuseWarehouseAsArchive();
    RefuseAzureSqlDatabase();
    if (!archive_.TableExists(table)) {
        CreateArchiveCopy(warehouse_, archive_, table);
        log_.WriteLine("- Table created in Archive database");
    }
    const std::int64_t archived =
        CopyToArchive(warehouse_, archive_, table, condition, IsoDateTime(timestamp_));
    log_.WriteLine(fmt::format("- {} records archived", archived));
    log_.WriteLine("***");
    log_.WriteLine("");
    DeleteArchivedRows(table, condition, archived);
    result_.Of(table).Archived = archived;
}

void Archiving::RefuseWarehouseAsArchive() {
    if (IsSameDatabase(warehouse_, archive_)) {
        throw DatabaseError({"The archive database " + archive_.DefaultDatabase() +
                             " is the warehouse itself. Nothing was archived"});
    }
}

// The rows are copied by the server itself, and an Azure SQL Database cannot reach other databases.
void Archiving::RefuseAzureSqlDatabase() {
    constexpr std::string_view kAzureSqlDatabase = "5";  // SERVERPROPERTY('EngineEdition')
    for (const Connection* connection : {&warehouse_, &archive_}) {
        if (connection->Property("Engine Edition") == kAzureSqlDatabase) {
            throw DatabaseError(
                {"Azure SQL Database cannot copy rows to another server or database: archiving "
                 "needs a SQL Server or a Managed Instance on both sides. Nothing was archived"});
        }
    }
}

// Evaluates the condition a second time. If the warehouse was loaded meanwhile, or the condition
// depends on the clock, it may match rows that were not copied; then the DELETE is rolled back.
void Archiving::DeleteArchivedRows(const std::string& table, const std::string& condition,
                                   std::int64_t archived) {
    Transaction transaction(warehouse_);
    const std::string sql = "delete from " + table + " where " + condition;
    const std::int64_t deleted = warehouse_.Execute(sql, archived);
    if (deleted > archived) {
        throw DatabaseError(
            {fmt::format("{} rows of {} meet the condition now, and {} were archived: none of "
                         "them was deleted",
                         deleted, table, archived)},
            MaskPasswords(sql));
    }
    transaction.Commit();
}

void Archiving::FinishArchiveProgress() {
    progress_.SetProgressValue(0);
    progress_.Comment("");
    progress_.Refresh();
}

}  // namespace

Outcome ArchiveFactTables(RunState& state, ProgressWindow& progress, const Clock& clock,
                          LogStream& log) {
    Archiving archiving(state, progress, log);
    const Outcome outcome = TrapOutcome(state.ErrorText, [&] { return archiving.Run(clock); });
    if (outcome == Outcome::Failed) {
        log.WriteLine("An error occurred during archiving of fact tables.");
        log.WriteLine("");
        archiving.WriteEnd();
    }
    return outcome;
}

}  // namespace morvane
