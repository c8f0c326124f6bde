// SPDX-License-Identifier: Apache-2.0
#include "tasks/modDetectAndMark.h"

#include <string>
#include <vector>

#include "base/Text.h"
#include "tasks/RelationWalk.h"

namespace morvane {

namespace {

// Marks each table in the order of the walk.
class Detection {
  public:
    Detection(RunState& state, ProgressWindow& progress)
        : connection_(*state.WarehouseConnection),
          result_(state.Result),
          progress_(progress),
          walk_(connection_) {}

    void InitDetection() {
        ResetSelectedDimensions();
        walk_.Begin();
    }
    void PrepareProgress();
    bool Waiting() const { return walk_.Waiting(); }
    void ProcessNextTable() {
        if (walk_.IsMarked()) {
            MarkTable();
        }
        walk_.Advance();
    }
    void FinishProgress();

  private:
    void ResetSelectedDimensions();
    void MarkTable();
    // Returns the number of rows affected.
    std::int64_t KeepReferredRows(const Relation& relation);

    Connection& connection_;
    RunResult& result_;
    ProgressWindow& progress_;
    RelationWalk walk_;
};

void Detection::ResetSelectedDimensions() {
    for (const std::string& table : SelectedDimensions(connection_)) {
        connection_.RequireTableName(table);
        connection_.Execute("UPDATE " + table + " SET is_deletable = 0");
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

// Reads all relations before marking any row, so that a refused name leaves no marks behind.
void Detection::MarkTable() {
    const TableTimer timer(result_, walk_.Table());
    const std::vector<Relation> relations = walk_.Relations();
    std::int64_t marked = connection_.Execute("UPDATE " + walk_.Table() +
                                              " SET is_deletable = 1 WHERE is_sustainable = 0");
    for (const Relation& relation : relations) {
        progress_.ShowRelation(relation.PrimaryTable, relation.ForeignTable);
        marked -= KeepReferredRows(relation);
        progress_.ProgressVal(progress_.ProgressVal() + 1);
    }
    if (connection_.Property("Affected Rows") == "Changed") {
        result_.Of(walk_.Table()).Marked = marked;
    }
}

std::int64_t Detection::KeepReferredRows(const Relation& relation) {
    const std::string& table = walk_.Table();
    const std::string& foreignTable = relation.ForeignTable;
    const std::vector<ColumnPair> pairs = ColumnPairs(relation);
    std::string sql =
        "UPDATE " + table + " SET is_deletable = 0 FROM " + table + "," + foreignTable + " WHERE ";
    sql += kCrLf;
    bool first = true;
    for (const ColumnPair& pair : pairs) {
        if (!first) {
            sql += " AND ";
            sql += kCrLf;
        }
        first = false;
        sql += table + "." + pair.Primary + " = " + foreignTable + "." + pair.Foreign;
        sql += kCrLf;
    }
    // A dimension row that is marked for deletion does not keep others alive.
    if (!walk_.IsFactTable(Trim(foreignTable))) {
        sql += " AND " + foreignTable + ".is_deletable=0";
    }
    return connection_.Execute(sql);
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
        Detection detection(state, progress);
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
