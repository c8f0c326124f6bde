// SPDX-License-Identifier: Apache-2.0
#include "inspect/Plan.h"

#include <algorithm>

#include "base/Text.h"
#include "tasks/Elements.h"
#include "tasks/Relinking.h"

namespace morvane {

namespace {

// The element key of a slowly-moving dimension; no value for another one.
std::optional<ElementKey> FindElementKey(Connection& connection, const std::string& table) {
    const std::string ofTable = " FROM dwm_star_relations WHERE primary_table = '" + table + "'";
    if (QueryNumber(connection, "SELECT COUNT(*)" + ofTable + " AND slow_moving_dim = 1") == 0) {
        return std::nullopt;
    }
    return ReadElementKey(connection, "SELECT DISTINCT original_primary_key" + ofTable);
}

// Counts the versions that remain and would be changed by re-linking, element by element, as the
// deletion changes them.
class RelinkForecast {
  public:
    explicit RelinkForecast(bool startDateFirst) : startDateFirst_(startDateFirst) {}

    // The versions of an element in the order of their start dates, and which of them go.
    void Count(std::vector<Version> element, const std::vector<bool>& goes) {
        VersionsByDay byDay(element);
        for (std::size_t i = 0; i < element.size(); ++i) {
            if (goes[i]) {
                byDay.Apply(RelinkOf(element[i], startDateFirst_), [&](std::size_t changed) {
                    changed_ += goes[changed] ? 0 : 1;
                    return true;
                });
            }
        }
    }
    std::int64_t Changed() const { return changed_; }

  private:
    bool startDateFirst_;
    std::int64_t changed_ = 0;
};

// Counts the versions of a slowly-moving dimension.
class VersionCounts {
  public:
    VersionCounts(Connection& connection, const RowCopy& versions, const ElementKey& key);

    void Fill(DimensionPlan& plan);

  private:
    void CountElements(DimensionPlan& plan);
    bool FirstIsCurrent(const std::string& flag);
    void CountRelinked(DimensionPlan& plan);

    Connection& connection_;
    std::size_t keyCount_;
    std::string keys_;       // k0,k1
    std::string keysKnown_;  // the condition that none of them is NULL
    std::string versions_;   // a query for the keys, the history and what goes
};

VersionCounts::VersionCounts(Connection& connection, const RowCopy& versions, const ElementKey& key)
    : connection_(connection), keyCount_(key.Columns.size()) {
    versions_ = "(SELECT ";
    for (std::size_t i = 0; i < keyCount_; ++i) {
        const std::string name = "k" + std::to_string(i);
        versions_ += versions.Column(key.Columns[i]) + " AS " + name + ",";
        keys_ += (i > 0 ? "," : "") + name;
        keysKnown_ += (i > 0 ? " AND " : "") + name + " IS NOT NULL";
    }
    for (const char* column : {"start_date", "end_date", "is_current"}) {
        versions_ += versions.Column(column) + " AS " + column + ",";
    }
    versions_ += "goes_now,goes_later FROM " + versions.Name() + ") AS versions";
}

void VersionCounts::Fill(DimensionPlan& plan) {
    plan.SlowMoving = true;
    if (plan.AfterArchiving.Rows > 0) {
        CountElements(plan);
        CountRelinked(plan);
    }
}

void VersionCounts::CountElements(DimensionPlan& plan) {
    const auto sums = connection_.OpenRecordset(
        "SELECT SUM(CASE WHEN now = n THEN 1 ELSE 0 END) AS whole_now,"
        "SUM(CASE WHEN now = n THEN n ELSE 0 END) AS rows_now,"
        "SUM(CASE WHEN later = n THEN 1 ELSE 0 END) AS whole_later,"
        "SUM(CASE WHEN later = n THEN n ELSE 0 END) AS rows_later FROM (SELECT COUNT(*) AS n,"
        "SUM(goes_now) AS now,SUM(goes_later) AS later FROM " +
        versions_ + " WHERE " + keysKnown_ + " GROUP BY " + keys_ + ") AS elements");
    const auto number = [&](std::size_t i) {
        return (*sums)[i].IsNull() ? 0 : (*sums)[i].Integer();
    };
    plan.Now.Elements = number(0);
    plan.Now.ElementRows = number(1);
    plan.AfterArchiving.Elements = number(2);
    plan.AfterArchiving.ElementRows = number(3);
}

// Whether the first version that re-linking comes to is a current one.
bool VersionCounts::FirstIsCurrent(const std::string& flag) {
    const auto first =
        connection_.OpenRecordset("SELECT TOP 1 is_current FROM " + versions_ + " WHERE " + flag +
                                  " = 1 ORDER BY " + keys_ + ",start_date");
    return !first->Eof() && (*first)[0].Flag();
}

void VersionCounts::CountRelinked(DimensionPlan& plan) {
    RelinkForecast now(!FirstIsCurrent("goes_now"));
    RelinkForecast later(!FirstIsCurrent("goes_later"));
    // Only the elements that lose some of their versions and keep others.
    const std::string ofElement = " OVER (PARTITION BY " + keys_ + ")";
    const auto rows = connection_.OpenRecordset(
        "SELECT " + keys_ +
            ",start_date,end_date,is_current,goes_now,goes_later,element FROM (SELECT " + keys_ +
            ",start_date,end_date,is_current,goes_now,goes_later,DENSE_RANK() OVER (ORDER BY " +
            keys_ + ") AS element,COUNT(*)" + ofElement + " AS n,SUM(goes_now)" + ofElement +
            " AS now,SUM(goes_later)" + ofElement + " AS later FROM " + versions_ + " WHERE " +
            keysKnown_ + ") AS touched WHERE later > 0 AND now < n ORDER BY element,start_date",
        RecordsetKind::Streamed);
    std::vector<Version> element;
    std::vector<bool> goesNow;
    std::vector<bool> goesLater;
    const auto finishElement = [&] {
        now.Count(element, goesNow);
        later.Count(element, goesLater);
        element.clear();
        goesNow.clear();
        goesLater.clear();
    };
    Value current;
    for (; !rows->Eof(); rows->MoveNext()) {
        const Recordset& row = *rows;
        if (row[keyCount_ + 5] != current) {
            finishElement();
            current = row[keyCount_ + 5];
        }
        Version version;
        for (std::size_t i = 0; i < keyCount_ + 3; ++i) {
            version.Columns.push_back(row[i]);
        }
        element.push_back(std::move(version));
        goesNow.push_back(row[keyCount_ + 3].Flag());
        goesLater.push_back(row[keyCount_ + 4].Flag());
    }
    finishElement();
    plan.Now.Relinked = now.Changed();
    plan.AfterArchiving.Relinked = later.Changed();
}

DimensionPlan PlanDimension(Connection& connection, const MarkingForecast& forecast,
                            const std::string& table) {
    DimensionPlan plan;
    plan.Table = table;
    const RowCopy& copy = *forecast.Copy(table);
    const auto counts =
        connection.OpenRecordset("SELECT COUNT(*) AS n,SUM(goes_now) AS now,SUM(" +
                                 forecast.GoesLater(table) + ") AS later FROM " + copy.Name());
    plan.Rows = (*counts)[0].Integer();
    if (plan.Rows > 0) {
        plan.Now.Rows = (*counts)[1].Integer();
        plan.AfterArchiving.Rows = (*counts)[2].Integer();
    }
    if (const auto key = FindElementKey(connection, table)) {
        VersionCounts(connection, copy, *key).Fill(plan);
    }
    return plan;
}

}  // namespace

std::string WhyNotMarked(Connection& connection, const std::string& table) {
    const std::string ofTable =
        "SELECT COUNT(*) FROM dwm_star_relations WHERE primary_table = '" + table + "'";
    if (QueryNumber(connection, ofTable) == 0) {
        return "no relation names the table";
    }
    if (QueryNumber(connection, ofTable + " AND foreign_table = '" + table + "'") > 0) {
        return "its table refers to itself";
    }
    return "a table that refers to it is never finished: it is not reached from the fact tables";
}

Plan MakePlan(Connection& connection, const StepReport& report) {
    Plan plan;
    MarkingForecast forecast(connection, report);
    for (const std::string& table : forecast.ArchivedTables()) {
        report(table);
        const auto counts = connection.OpenRecordset(
            "SELECT COUNT(*) AS n,SUM(goes) AS going FROM (SELECT " + forecast.GoesLater(table) +
            " AS goes FROM " + table + ") AS facts");
        const std::int64_t rows = (*counts)[0].Integer();
        plan.FactTables.push_back({table, rows, rows == 0 ? 0 : (*counts)[1].Integer()});
    }
    for (std::string table = forecast.Next(); !table.empty(); table = forecast.Next()) {
        report(table);
        plan.Dimensions.push_back(PlanDimension(connection, forecast, table));
    }
    const auto selected = connection.OpenRecordset(
        "SELECT table_name FROM dwm_tables WHERE Upper(table_type) = 'DIMENSION' AND is_selected "
        "= 1");
    for (; !selected->Eof(); selected->MoveNext()) {
        const std::string table(Trim((*selected)[0].Text()));
        if (forecast.Copy(table) == nullptr) {
            connection.RequireTableName(table);
            DimensionPlan unmarked;
            unmarked.Table = table;
            unmarked.Rows = QueryNumber(connection, "SELECT COUNT(*) FROM " + table);
            unmarked.NotMarked = WhyNotMarked(connection, table);
            plan.Dimensions.push_back(std::move(unmarked));
        }
    }
    return plan;
}

Answer PlanAnswer(const Plan& plan) {
    Answer answer;
    answer.Columns = {{"table", "table"},
                      {"type", "type"},
                      {"rows", "rows"},
                      {"archived", "archived"},
                      {"unused_now", "unused now"},
                      {"unused_after", "after archiving"},
                      {"whole_now", "whole now"},
                      {"whole_rows_now", "their rows"},
                      {"whole_after", "whole after"},
                      {"whole_rows_after", "their rows"},
                      {"relinked_now", "re-linked now"},
                      {"relinked_after", "after"},
                      {"not_marked", "not marked because"}};
    for (const ArchivePlan& fact : plan.FactTables) {
        std::vector<Cell> row(answer.Columns.size());
        row[0] = fact.Table;
        row[1] = "fact";
        row[2] = fact.Rows;
        row[3] = fact.Archived;
        answer.Rows.push_back(std::move(row));
        answer.Found = answer.Found || fact.Archived > 0;
    }
    for (const DimensionPlan& dimension : plan.Dimensions) {
        std::vector<Cell> row(answer.Columns.size());
        row[0] = dimension.Table;
        row[1] = dimension.SlowMoving ? "slowly moving" : "dimension";
        row[2] = dimension.Rows;
        const MarkedCounts& now = dimension.Now;
        const MarkedCounts& after = dimension.AfterArchiving;
        row[4] = now.Rows;
        row[5] = after.Rows;
        if (dimension.SlowMoving) {
            row[6] = now.Elements;
            row[7] = now.ElementRows;
            row[8] = after.Elements;
            row[9] = after.ElementRows;
            row[10] = now.Relinked;
            row[11] = after.Relinked;
        }
        if (!dimension.NotMarked.empty()) {
            row[12] = dimension.NotMarked;
        }
        answer.Rows.push_back(std::move(row));
        answer.Found = answer.Found || after.Rows > 0;
    }
    return answer;
}

}  // namespace morvane
