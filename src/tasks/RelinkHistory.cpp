// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <string>
#include <vector>

#include "tasks/Elements.h"
#include "tasks/Relinking.h"
#include "tasks/modDeleteRecords.h"

namespace morvane {

namespace {

std::vector<DataType> ReadKeyTypes(Connection& warehouse, const std::string& table,
                                   const ElementKey& key) {
    const auto rows =
        warehouse.OpenRecordset("SELECT " + key.Text + " FROM " + table, RecordsetKind::Streamed);
    std::vector<DataType> types;
    for (const std::size_t position : KeyPositions(*rows, key)) {
        types.push_back(rows->Fields()[position].Type);
    }
    return types;
}

// The two statements of a table: one for current versions and one for all others. RelinkOf() tells
// what they do.
class RelinkStatements {
  public:
    RelinkStatements(Connection& deletion, const std::string& table, const ElementKey& key,
                     std::vector<Field> keyFields, std::vector<DataType> keyTypes);

    // Executes the UPDATE for a version and applies it to the marked versions of its element too.
    void Execute(const Version& version, std::vector<Version>& element, VersionsByDay& byDay);
    // Executes what is pending. Returns how many rows were changed that are not marked.
    std::int64_t Finish() {
        batch_->Finish();
        return changedRows_ - changedMarked_;
    }

  private:
    void CreateParameters();
    void SetValues(const Version& version, const Relink& change);
    bool HasBoundKey(const Version& version) const;

    std::unique_ptr<StatementBatch> batch_;
    std::string textForOld_;
    std::string textForCurrent_;
    std::vector<Field> keyFields_;
    std::vector<DataType> keyTypes_;
    std::vector<Parameter> parameters_;
    bool startDateFirst_ = true;
    std::int64_t changedRows_ = 0;
    std::int64_t changedMarked_ = 0;
};

RelinkStatements::RelinkStatements(Connection& deletion, const std::string& table,
                                   const ElementKey& key, std::vector<Field> keyFields,
                                   std::vector<DataType> keyTypes)
    : batch_(deletion.CreateBatch([this](std::size_t, std::int64_t rows) {
          changedRows_ += std::max<std::int64_t>(rows, 0);
      })),
      keyFields_(std::move(keyFields)),
      keyTypes_(std::move(keyTypes)) {
    std::string condition = " WHERE ";
    for (const std::string& column : key.Columns) {
        condition += column + " = ? AND ";
    }
    textForOld_ = "UPDATE " + table + " SET start_date = ?" + condition +
                  " (datediff(day, ?, start_date) = 0) ";
    textForCurrent_ = "UPDATE " + table + " SET end_date = ?, is_current = 1" + condition +
                      " (datediff(day,end_date,?) = 0)";
}

void RelinkStatements::Execute(const Version& version, std::vector<Version>& element,
                               VersionsByDay& byDay) {
    if (parameters_.empty()) {
        startDateFirst_ = !version.IsCurrent().Flag();
        CreateParameters();
    }
    const Relink change = RelinkOf(version, startDateFirst_);
    SetValues(version, change);
    batch_->Add(change.Current ? textForCurrent_ : textForOld_, parameters_);
    byDay.Apply(change, [&](std::size_t i) {
        const bool meant = HasBoundKey(element[i]);
        changedMarked_ += meant ? 1 : 0;
        return meant;
    });
}

void RelinkStatements::CreateParameters() {
    const auto appendDate = [this](const char* name) {
        parameters_.push_back(
            {.Name = name, .Type = DataType::DBTimeStamp, .Size = 0, .Value = {}});
    };
    appendDate(startDateFirst_ ? "start_date" : "end_date");
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        const Field& field = keyFields_[i];
        parameters_.push_back({.Name = field.Name,
                               .Type = keyTypes_[i],
                               .Size = field.DefinedSize,
                               .Precision = field.Precision,
                               .NumericScale = field.NumericScale,
                               .Value = {}});
    }
    appendDate(startDateFirst_ ? "end_date" : "start_date");
}

void RelinkStatements::SetValues(const Version& version, const Relink& change) {
    parameters_.front().Value = change.Date;
    parameters_.back().Value = change.Day;
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        parameters_[i + 1].Value = version.Columns[i];
    }
}

// Both versions belong to the same element, so key texts are already known to be equal.
bool RelinkStatements::HasBoundKey(const Version& version) const {
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        const Value& bound = parameters_[i + 1].Value;
        if (keyFields_[i].Compare(bound, version.Columns[i]) == Equality::Different) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::int64_t RelinkSlowlyMovingHistory(const std::string& table, Connection& warehouse,
                                       Connection& deletion) {
    const ElementKey key = ReadElementKey(
        warehouse,
        "SELECT DISTINCT original_primary_key FROM dwm_star_relations WHERE primary_table = '" +
            table + "'");
    MarkedVersions versions(deletion, table, key);
    RelinkStatements statements(deletion, table, key, versions.KeyFields(),
                                ReadKeyTypes(warehouse, table, key));
    std::vector<Version> element;
    while (versions.NextElement(element)) {
        VersionsByDay byDay(element);
        for (const Version& version : element) {
            statements.Execute(version, element, byDay);
        }
    }
    return statements.Finish();
}

}  // namespace morvane
