// SPDX-License-Identifier: Apache-2.0
#include "tasks/modDeleteRecords.h"

#include <optional>
#include <string>

#include "base/Text.h"
#include "core/Transaction.h"

namespace morvane {

namespace {

void PrepareDeletionProgress(Connection& warehouse, ProgressWindow& progress) {
    const auto count = warehouse.OpenRecordset(
        "SELECT COUNT(*) FROM dwm_tables WHERE UPPER(table_type)='DIMENSION' AND is_selected = 1");
    const std::int64_t tables = (*count)[0].Integer();
    if (tables < 1) {
        progress.SetProgressRange(0, 1);
        progress.SetProgressValue(1);
    } else {
        progress.SetProgressRange(0, static_cast<float>(tables));
        progress.SetProgressValue(0);
    }
}

void FinishDeletionProgress(ProgressWindow& progress) {
    progress.SetProgressValue(0);
    progress.Comment("");
    progress.Refresh();
}

// A second connection to the same database with the same login: all writing goes through it, while
// the first one reads.
std::unique_ptr<Connection> OpenDeletionConnection(const Connection& warehouse,
                                                   const ConnectionFactory& factory) {
    const ServerLogin login = warehouse.Login();
    auto connection = factory(login.Server);
    connection->SetConnectionTimeout(warehouse.ConnectionTimeout());
    connection->SetLogin(login);
    connection->Open();
    connection->SetDefaultDatabase(warehouse.DefaultDatabase());
    return connection;
}

std::int64_t DeleteDeletableRows(const std::string& table, Connection& deletion) {
    return deletion.Execute("DELETE FROM " + table + " WHERE is_deletable = 1");
}

void DeleteFromTable(const std::string& table, bool slowMoving, bool atomic, Connection& warehouse,
                     Connection& deletion, RunResult& result) {
    const TableTimer timer(result, table);
    if (atomic && slowMoving) {
        const AtomicCounts counts = DeleteAtomically(table, warehouse, deletion);
        result.Of(table).Marked = counts.Marked;
        result.Of(table).Deleted = counts.Deleted;
        return;
    }
    std::optional<Transaction> transaction;
    std::optional<std::int64_t> relinked;
    if (!atomic) {
        transaction.emplace(deletion);
    }
    if (slowMoving) {
        relinked = RelinkSlowlyMovingHistory(table, warehouse, deletion);
    }
    const std::int64_t deleted = DeleteDeletableRows(table, deletion);
    if (transaction) {
        transaction->Commit();
    }
    TableResult& entry = result.Of(table);
    entry.Marked = entry.Deleted = deleted;
    entry.Relinked = relinked;
}

}  // namespace

Outcome DeleteRecords(RunState& state, ProgressWindow& progress, const ConnectionFactory& factory,
                      bool atomic) {
    return TrapOutcome(state.ErrorText, [&] {
        Connection& warehouse = *state.WarehouseConnection;
        PrepareDeletionProgress(warehouse, progress);
        const auto tables = warehouse.OpenRecordset(
            "SELECT DISTINCT table_name,slow_moving_dim FROM dwm_tables,dwm_star_relations WHERE "
            "table_type='Dimension' AND dwm_star_relations.primary_table = dwm_tables.table_name "
            "AND dwm_tables.is_selected = 1");
        const auto deletion = OpenDeletionConnection(warehouse, factory);
        for (; !tables->Eof(); tables->MoveNext()) {
            if (progress.CheckCancelState()) {
                return Outcome::Cancelled;
            }
            const std::string table = tables->ValueOf("table_name").Text();
            warehouse.RequireTableName(table);
            progress.Comment("Deleting records from Dimension table : " + std::string(Trim(table)));
            DeleteFromTable(table, tables->ValueOf("slow_moving_dim").Flag(), atomic, warehouse,
                            *deletion, state.Result);
            progress.ProgressVal(progress.ProgressVal() + 1);
            progress.Refresh();
        }
        FinishDeletionProgress(progress);
        return Outcome::Done;
    });
}

}  // namespace morvane
