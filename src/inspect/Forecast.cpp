// SPDX-License-Identifier: Apache-2.0
#include "inspect/Forecast.h"

#include <algorithm>

#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/modDatabaseOperations.h"

namespace morvane {

namespace {

bool Holds(const std::vector<std::string>& names, const std::string& table) {
    return std::ranges::any_of(
        names, [&](const std::string& name) { return EqualsIgnoreCase(name, table); });
}

}  // namespace

std::string NewTemporaryName() {
    static int number = 0;
    return "[#morvane_" + std::to_string(++number) + "]";
}

std::string KeyColumn(std::size_t position) {
    return "k" + std::to_string(position);
}

std::int64_t QueryNumber(Connection& connection, const std::string& sql) {
    const auto rows = connection.OpenRecordset(sql);
    return rows->Eof() || (*rows)[0].IsNull() ? 0 : (*rows)[0].Integer();
}

void DropTemporary(Connection& connection, const std::string& table) {
    std::string ignored;
    TrapErrors(ignored, [&] {
        connection.Execute("DROP TABLE " + table);
        return true;
    });
}

MarkingForecast::MarkingForecast(Connection& connection, StepReport report)
    : connection_(connection), report_(std::move(report)), walk_(connection) {
    ReadFactTables();
    reset_ = SelectedDimensions(connection);
}

MarkingForecast::~MarkingForecast() {
    for (const std::string& table : temporaryTables_) {
        DropTemporary(connection_, table);
    }
}

void MarkingForecast::ReadFactTables() {
    const auto tables = connection_.OpenRecordset(
        "select table_name, where_clause from dwm_tables where upper(table_type) = 'FACT'");
    for (; !tables->Eof(); tables->MoveNext()) {
        const std::string table(Trim((*tables)[0].Text()));
        connection_.RequireTableName(table);
        const std::string condition(Trim(NullToText((*tables)[1], "")));
        std::string& all = conditions_[ToLower(table)];
        if (condition.empty()) {
            continue;
        }
        // On lines of its own: a condition may end with a comment.
        all += (all.empty() ? "(\r\n" : " OR (\r\n") + condition + "\r\n)";
        if (!Holds(archivedTables_, table)) {
            archivedTables_.push_back(table);
        }
    }
}

std::string MarkingForecast::Next() {
    if (!begun_) {
        walk_.Begin();
        begun_ = true;
    }
    while (walk_.Waiting()) {
        const std::string table = walk_.Table();
        const bool marks = walk_.IsMarked();
        if (marks) {
            std::vector<Reference> references;
            for (Relation& relation : walk_.Relations()) {
                report_(table + " <- " + relation.ForeignTable);
                Reference reference{std::move(relation), {}, {}};
                reference.Columns = ColumnPairs(reference.Of);
                CollectKeys(reference);
                references.push_back(std::move(reference));
            }
            marked_[ToLower(table)] = std::move(references);
        }
        walk_.Advance();
        if (marks) {
            return table;
        }
    }
    return {};
}

void MarkingForecast::CollectKeys(Reference& reference) {
    const std::string& table = reference.Of.ForeignTable;
    const bool facts = IsFactTable(std::string(Trim(table)));
    std::string names;
    std::string columns;
    for (std::size_t i = 0; i < reference.Columns.size(); ++i) {
        const std::string column = table + "." + std::string(Trim(reference.Columns[i].Foreign));
        names += (i > 0 ? "," : "") + KeyColumn(i);
        columns += column + " AS " + KeyColumn(i) + ",";
    }
    // NULL refers to nothing, but is not left out here: an engine may then go through an index of
    // the column instead of the table.
    const std::string kept = facts ? "" : " WHERE " + GoesSql(table, Facts::AsTheyAre) + " = 0";
    reference.KeyTable = NewTemporaryName();
    temporaryTables_.push_back(reference.KeyTable);
    connection_.Execute("SELECT DISTINCT " + names + ",goes INTO " + reference.KeyTable +
                        " FROM (SELECT " + columns + GoesSql(table, Facts::AfterArchiving) +
                        " AS goes FROM " + table + kept + ") AS kept");
    // Named without the brackets and the "#".
    connection_.Execute("CREATE INDEX " +
                        reference.KeyTable.substr(2, reference.KeyTable.size() - 3) + " ON " +
                        reference.KeyTable + " (" + names + ")");
}

const std::vector<Reference>& MarkingForecast::ReferencesOf(const std::string& table) const {
    return marked_.at(ToLower(Trim(table)));
}

bool MarkingForecast::IsMarked(const std::string& table) const {
    return marked_.contains(ToLower(Trim(table)));
}

bool MarkingForecast::IsFactTable(const std::string& table) const {
    return conditions_.contains(ToLower(Trim(table)));
}

bool MarkingForecast::IsReset(const std::string& table) const {
    return Holds(reset_, table);
}

std::string MarkingForecast::UsedSql(const Reference& reference, Facts facts) const {
    const std::string& table = reference.Of.PrimaryTable;
    const std::string stays = facts == Facts::AfterArchiving ? "goes = 0" : "";
    if (reference.Columns.size() == 1) {
        return table + "." + std::string(Trim(reference.Columns[0].Primary)) + " IN (SELECT " +
               KeyColumn(0) + " FROM " + reference.KeyTable +
               (stays.empty() ? "" : " WHERE " + stays) + ")";
    }
    std::string condition;
    for (std::size_t i = 0; i < reference.Columns.size(); ++i) {
        condition += (i > 0 ? " AND " : "") + table + "." +
                     std::string(Trim(reference.Columns[i].Primary)) + " = " + reference.KeyTable +
                     "." + KeyColumn(i);
    }
    return "EXISTS (SELECT 1 FROM " + reference.KeyTable + " WHERE " + condition +
           (stays.empty() ? "" : " AND " + stays) + ")";
}

std::string MarkingForecast::GoesSql(const std::string& table, Facts facts) const {
    if (IsFactTable(std::string(Trim(table)))) {
        const std::string condition =
            facts == Facts::AfterArchiving ? ArchivingCondition(table) : "";
        return condition.empty() ? "0" : "CASE WHEN " + condition + " THEN 1 ELSE 0 END";
    }
    if (!IsMarked(table)) {
        // Whether the row keeps others alive when it is not marked by this run.
        return IsReset(table) ? "0" : "CASE WHEN " + table + ".is_deletable=0 THEN 0 ELSE 1 END";
    }
    std::string sql = "CASE ";
    for (const Reference& reference : ReferencesOf(table)) {
        sql += "WHEN " + UsedSql(reference, facts) + " THEN 0 ";
    }
    sql += "WHEN " + table + ".is_sustainable = 0 THEN 1 ";
    if (!IsReset(table)) {
        sql += "WHEN " + table + ".is_deletable = 1 THEN 1 ";
    }
    return sql + "ELSE 0 END";
}

std::string MarkingForecast::ArchivingCondition(const std::string& table) const {
    const auto found = conditions_.find(ToLower(Trim(table)));
    return found == conditions_.end() ? "" : found->second;
}

}  // namespace morvane
