// SPDX-License-Identifier: Apache-2.0
#include "inspect/Plan.h"

#include <algorithm>

#include "base/Text.h"
#include "inspect/Forecast.h"
#include "tasks/Elements.h"
#include "tasks/Relinking.h"

namespace morvane {

namespace {

// The element key of a slowly-moving dimension; no value for a plain one.
std::optional<ElementKey> FindElementKey(Connection& connection, const std::string& table) {
    const std::string ofTable = " FROM dwm_star_relations WHERE primary_table = '" + table + "'";
    if (QueryNumber(connection, "SELECT COUNT(*)" + ofTable + " AND slow_moving_dim = 1") == 0) {
        return std::nullopt;
    }
    return ReadElementKey(connection, "SELECT DISTINCT original_primary_key" + ofTable);
}

// Counts what normal and atomic deletion would do to the elements of a slowly-moving dimension.
class ElementForecast {
  public:
    explicit ElementForecast(MarkedCounts& counts) : counts_(counts) {}

    // Adds the versions of an element, ordered by start date; `goes` tells which are marked.
    // Elements must be added in the order of their keys. `addressable`: no part of the key is NULL,
    // so that statements find the element.
    void Add(const std::vector<Version>& element, const std::vector<bool>& goes, bool addressable) {
        const auto going = std::ranges::count(goes, true);
        if (going == 0) {
            return;
        }
        if (!startDateFirst_) {
            const auto first = std::ranges::find(goes, true) - goes.begin();
            startDateFirst_ = !element[static_cast<std::size_t>(first)].IsCurrent().Flag();
        }
        if (addressable && going == std::ssize(goes)) {
            ++counts_.Elements;
            counts_.ElementRows += going;
        } else if (addressable) {
            Relink(element, goes);
        }
    }

  private:
    // Applies the updates of the deletion to the versions.
    void Relink(std::vector<Version> element, const std::vector<bool>& goes) {
        VersionsByDay byDay(element);
        for (std::size_t i = 0; i < element.size(); ++i) {
            if (goes[i]) {
                byDay.Apply(RelinkOf(element[i], *startDateFirst_), [&](std::size_t changed) {
                    counts_.Relinked += goes[changed] ? 0 : 1;
                    return true;
                });
            }
        }
    }

    MarkedCounts& counts_;
    std::optional<bool> startDateFirst_;  // known from the first version that goes
};

// Selects the versions in order. "is_new" is 1 for the first version of an element; the server
// compares the keys.
std::string VersionsQuery(const MarkingForecast& forecast, const std::string& table,
                          const ElementKey& key) {
    const RowCopy& copy = *forecast.Copy(table);
    const std::string goes = forecast.GoesLater(table);
    std::string columns;
    std::string order;
    for (const std::string& column : key.Columns) {
        columns += copy.Column(column) + ",";
    }
    order = columns + copy.Column("start_date");
    std::string same;
    for (const std::string& column : key.Columns) {
        same += (same.empty() ? "" : " AND ") + ("LAG(" + copy.Column(column)) +
                ") OVER (ORDER BY " + order + ") = " + copy.Column(column);
    }
    // Elements that lose no version need not be sorted and read, nor rows with a NULL key that
    // stay.
    std::string touched;
    if (key.Columns.size() == 1) {
        const std::string column = copy.Column(key.Columns[0]);
        touched = " WHERE " + column + " IN (SELECT " + column + " FROM " + copy.Name() +
                  " WHERE " + goes + " = 1) OR (" + column + " IS NULL AND " + goes + " = 1)";
    }
    return "SELECT " + columns + copy.Column("start_date") + "," + copy.Column("end_date") + "," +
           copy.Column("is_current") + ",goes_now," + goes + ",CASE WHEN " + same +
           " THEN 0 ELSE 1 END AS is_new FROM " + copy.Name() + touched + " ORDER BY " + order;
}

// Reads all versions once, element by element.
void PlanElements(Connection& connection, const MarkingForecast& forecast, const ElementKey& key,
                  DimensionPlan& plan) {
    ElementForecast now(plan.Now);
    ElementForecast later(plan.AfterArchiving);
    const auto rows =
        connection.OpenRecordset(VersionsQuery(forecast, plan.Table, key), RecordsetKind::Streamed);
    const std::size_t keyCount = key.Columns.size();
    std::vector<Version> element;
    std::vector<bool> goesNow;
    std::vector<bool> goesLater;
    bool addressable = true;
    const auto finishElement = [&] {
        now.Add(element, goesNow, addressable);
        if (forecast.Archives()) {
            later.Add(element, goesLater, addressable);
        }
        element.clear();
        goesNow.clear();
        goesLater.clear();
        addressable = true;
    };
    for (; !rows->Eof(); rows->MoveNext()) {
        const Recordset& row = *rows;
        if (row[keyCount + 5].Flag()) {
            finishElement();
        }
        Version version;
        for (std::size_t i = 0; i < keyCount + 3; ++i) {
            version.Columns.push_back(row[i]);
            addressable = addressable && !(i < keyCount && row[i].IsNull());
        }
        element.push_back(std::move(version));
        goesNow.push_back(row[keyCount + 3].Flag());
        goesLater.push_back(row[keyCount + 4].Flag());
    }
    finishElement();
    if (!forecast.Archives()) {
        plan.AfterArchiving = plan.Now;
    }
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
        plan.SlowMoving = true;
        if (plan.AfterArchiving.Rows > 0) {
            PlanElements(connection, forecast, *key, plan);
        }
    }
    return plan;
}

}  // namespace

std::string WhyNotMarked(Connection& connection, const std::string& table) {
    const std::string ofTable =
        "SELECT COUNT(*) FROM dwm_star_relations WHERE primary_table = '" + table + "'";
    if (QueryNumber(connection, ofTable) == 0) {
        return "no relation refers to the table";
    }
    if (QueryNumber(connection, ofTable + " AND foreign_table = '" + table + "'") > 0) {
        return "its table refers to itself";
    }
    return "marking never reaches it, because a table that refers to it is not reached from the "
           "fact "
           "tables";
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
