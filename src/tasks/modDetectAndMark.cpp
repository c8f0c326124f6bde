// SPDX-License-Identifier: Apache-2.0
#include "tasks/modDetectAndMark.h"

#include <deque>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

#include "base/Text.h"

namespace morvane {

namespace {

// Longer than any server allows.
constexpr int kTableNameSize = 255;

// A row of dwm_star_relations. The columns are comma-separated lists.
struct Relation {
    std::string PrimaryTable;
    std::string PrimaryColumns;
    std::string ForeignTable;
    std::string ForeignColumns;
};

// Walks the relations from the fact tables outwards and marks a table when all tables that refer to
// it have been processed.
class Detection {
  public:
    Detection(Connection& connection, ProgressWindow& progress)
        : connection_(connection), progress_(progress) {}

    void InitDetection();
    void PrepareProgress();
    bool Waiting() const { return !workQueue_.empty(); }
    void ProcessNextTable();
    void FinishProgress();

  private:
    std::vector<std::string> LoadTableList(const std::string& sql);
    void ResetSelectedDimensions();
    void AddProcessed(const std::string& table);
    void Queue(const std::string& table);
    void MarkTable(const std::string& table);
    std::vector<Relation> ReadRelations(const std::string& sql);
    void KeepReferredRows(const std::string& table, const Relation& relation);
    void QueueDependents(const std::string& table);
    bool IsFactTable(std::string_view table) {
        return Exists("SELECT * FROM dwm_tables WHERE table_name = '" + std::string(table) +
                      "' AND Upper(table_type) = 'FACT'");
    }
    bool Exists(const std::string& sql) { return !connection_.OpenRecordset(sql)->Eof(); }

    Connection& connection_;
    ProgressWindow& progress_;
    std::deque<std::string> workQueue_;
    // Lower-case names.
    std::unordered_set<std::string> queuedTables_;  // including those that have left the queue
    std::unordered_set<std::string> processedTables_;
    std::string processedList_;  // the same names, quoted and comma-separated for SQL
};

std::vector<std::string> Detection::LoadTableList(const std::string& sql) {
    std::vector<std::string> names;
    const auto rows = connection_.OpenRecordset(sql);
    for (; !rows->Eof(); rows->MoveNext()) {
        names.emplace_back(Trim((*rows)[0].Text()));
    }
    return names;
}

void Detection::InitDetection() {
    ResetSelectedDimensions();
    for (const std::string& fact : LoadTableList(
             "SELECT DISTINCT foreign_table FROM dwm_star_relations WHERE primary_table IN "
             "(SELECT table_name  FROM dwm_tables WHERE Upper(table_type) = 'DIMENSION')  AND "
             "foreign_table IN (SELECT table_name FROM  dwm_tables WHERE Upper(table_type) = "
             "'FACT')")) {
        Queue(fact);
    }
    // Tables that must not be changed count as processed from the start: they are never marked and
    // never delay the tables that they refer to.
    for (const std::string& unselected : LoadTableList(
             "SELECT table_name FROM dwm_tables WHERE table_type='Dimension' AND is_selected=0")) {
        AddProcessed(unselected);
    }
    for (const std::string& selfReferencing :
         LoadTableList("SELECT DISTINCT primary_table FROM dwm_star_relations WHERE "
                       "primary_table=foreign_table")) {
        AddProcessed(selfReferencing);
    }
}

void Detection::ResetSelectedDimensions() {
    const auto tables = connection_.OpenRecordset(
        "SELECT DISTINCT table_name FROM dwm_tables,dwm_star_relations WHERE "
        "table_type='Dimension' AND dwm_star_relations.primary_table = dwm_tables.table_name AND "
        "is_selected = 1");
    for (; !tables->Eof(); tables->MoveNext()) {
        const std::string table = (*tables)[0].Text();
        connection_.RequireTableName(table);
        connection_.Execute("UPDATE " + table + " SET is_deletable = 0");
    }
}

void Detection::Queue(const std::string& table) {
    const std::string name = ToLower(table);
    if (!processedTables_.contains(name) && queuedTables_.insert(name).second) {
        workQueue_.push_back(table);
    }
}

void Detection::AddProcessed(const std::string& table) {
    connection_.RequireTableName(table);
    if (processedTables_.insert(ToLower(table)).second) {
        processedList_ += (processedList_.empty() ? "'" : ",'") + table + "'";
    }
}

void Detection::PrepareProgress() {
    const auto count = connection_.OpenRecordset(
        "SELECT Count(*) FROM dwm_star_relations WHERE primary_table NOT IN (Select table_name "
        "from dwm_tables WHERE Upper(table_type) = 'FACT' OR is_selected = 0)  AND primary_table "
        "NOT IN (Select primary_table from dwm_star_relations Where primary_table = "
        "foreign_table)");
    const std::int64_t relations = (*count)[0].Integer();
    progress_.HideFrame(ProgressFrame::OverallProgFrame);
    progress_.ShowFrame(ProgressFrame::DetectProgFrame);
    progress_.SetProgressRange(0, relations < 1 ? 1.0F : static_cast<float>(relations));
}

void Detection::ProcessNextTable() {
    const std::string table = workQueue_.front();
    if (Trim(table).empty()) {
        throw std::runtime_error("Table Name is Empty for detection and marking");
    }
    MarkTable(table);
    QueueDependents(table);
}

void Detection::MarkTable(const std::string& table) {
    connection_.RequireTableName(table);
    const std::string ofTable =
        "SELECT * FROM dwm_star_relations WHERE primary_table='" + table + "'";
    if (IsFactTable(table) || Exists(ofTable + " AND foreign_table = '" + table + "'")) {
        return;
    }
    const std::vector<Relation> relations = ReadRelations(ofTable);
    connection_.Execute("UPDATE " + table + " SET is_deletable = 1 WHERE is_sustainable = 0");
    for (const Relation& relation : relations) {
        progress_.ShowRelation(relation.PrimaryTable, relation.ForeignTable);
        KeepReferredRows(table, relation);
        progress_.ProgressVal(progress_.ProgressVal() + 1);
    }
}

// Reads all relations before marking any row, so that a refused name leaves no marks behind.
std::vector<Relation> Detection::ReadRelations(const std::string& sql) {
    std::vector<Relation> relations;
    const auto rows = connection_.OpenRecordset(sql);
    for (; !rows->Eof(); rows->MoveNext()) {
        const Relation relation{
            rows->ValueOf("primary_table").Text(), rows->ValueOf("primary_columns").Text(),
            rows->ValueOf("foreign_table").Text(), rows->ValueOf("foreign_columns").Text()};
        connection_.RequireColumnNames(relation.PrimaryColumns);
        connection_.RequireTableName(relation.ForeignTable);
        connection_.RequireColumnNames(relation.ForeignColumns);
        relations.push_back(relation);
    }
    return relations;
}

void Detection::KeepReferredRows(const std::string& table, const Relation& relation) {
    const std::string& foreignTable = relation.ForeignTable;
    const std::vector<std::string> primary = Split(relation.PrimaryColumns, ',');
    const std::vector<std::string> foreign = Split(relation.ForeignColumns, ',');
    if (foreign.size() < primary.size()) {
        throw std::out_of_range("Subscript out of range: " + foreignTable + " refers to " + table +
                                " with fewer foreign columns than primary columns");
    }
    std::string sql =
        "UPDATE " + table + " SET is_deletable = 0 FROM " + table + "," + foreignTable + " WHERE ";
    sql += kCrLf;
    for (std::size_t i = 0; i < primary.size(); ++i) {
        if (i > 0) {
            sql += " AND ";
            sql += kCrLf;
        }
        sql += table + "." + primary[i] + " = " + foreignTable + "." + foreign[i];
        sql += kCrLf;
    }
    // A dimension row that is marked for deletion does not keep others alive.
    if (!IsFactTable(Trim(foreignTable))) {
        sql += " AND " + foreignTable + ".is_deletable=0";
    }
    connection_.Execute(sql);
}

void Detection::QueueDependents(const std::string& table) {
    workQueue_.pop_front();
    AddProcessed(table);
    const auto candidates = connection_.OpenRecordset(
        "SELECT DISTINCT primary_table FROM dwm_star_relations, dwm_tables  WHERE foreign_table = "
        "'" +
        table + "' AND dwm_star_relations.primary_table NOT IN (" + processedList_ +
        ")  AND dwm_star_relations.primary_table=dwm_tables.table_name  AND ( "
        "Upper(dwm_tables.table_type) = 'FACT' OR dwm_tables.is_selected = 1 )");
    const auto countUnprocessed = connection_.CreateCommand();
    countUnprocessed->SetText(
        "SELECT COUNT(*) AS cntNonProcessedTable FROM dwm_star_relations, dwm_tables  WHERE "
        "dwm_star_relations.primary_table = ?  AND "
        "dwm_star_relations.primary_table=dwm_tables.table_name  AND "
        "dwm_star_relations.foreign_table NOT IN (" +
        processedList_ + ")");
    countUnprocessed->AppendParameter(
        {.Name = "primary_table", .Type = DataType::VarChar, .Size = kTableNameSize, .Value = {}});
    for (; !candidates->Eof(); candidates->MoveNext()) {
        countUnprocessed->SetParameter("primary_table", (*candidates)[0]);
        const auto count = countUnprocessed->OpenRecordset();
        if (count->ValueOf("cntNonProcessedTable").Integer() == 0) {
            Queue((*candidates)[0].Text());
        }
    }
}

void Detection::FinishProgress() {
    progress_.SetProgressValue(0);
    progress_.HideFrame(ProgressFrame::DetectProgFrame);
    progress_.ShowFrame(ProgressFrame::OverallProgFrame);
    progress_.Refresh();
    progress_.ProcessEvents();
}

}  // namespace

Outcome MarkUnusedElements(RunState& state, ProgressWindow& progress) {
    return TrapOutcome(state.ErrorText, [&] {
        Detection detection(*state.WarehouseConnection, progress);
        detection.InitDetection();
        detection.PrepareProgress();
        while (detection.Waiting()) {
            detection.ProcessNextTable();
            if (progress.CheckCancelState()) {
                state.WarehouseConnection->Close();
                return Outcome::Cancelled;
            }
        }
        detection.FinishProgress();
        return Outcome::Done;
    });
}

}  // namespace morvane
