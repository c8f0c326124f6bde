// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tasks/Elements.h"
#include "tasks/modDeleteRecords.h"

namespace morvane {

namespace {

// The versions of an element that have not been processed yet, by their start and end days.
class WaitingVersions {
  public:
    explicit WaitingVersions(std::vector<Version>& element) : element_(element) {
        for (std::size_t i = 1; i < element.size(); ++i) {
            Add(starting_, element[i].StartDate(), i);
            Add(ending_, element[i].EndDate(), i);
        }
    }

    // Marks all versions up to `i` as processed.
    void Pass(std::size_t i) { passed_ = i; }

    // Call change(version) for each version that starts or ends on the day of `date`.
    template <typename Change>
    void StartingOn(const Value& date, const Change& change) {
        Visit(starting_, &Version::StartDate, date, change);
    }
    template <typename Change>
    void EndingOn(const Value& date, const Change& change) {
        Visit(ending_, &Version::EndDate, date, change);
    }

  private:
    using ByDay = std::unordered_map<std::string, std::vector<std::size_t>>;

    static void Add(ByDay& versions, const Value& date, std::size_t i) {
        if (const std::string day = DayOf(date); !day.empty()) {
            versions[day].push_back(i);
        }
    }

    template <typename Change>
    void Visit(ByDay& versions, Value& (Version::*date)(), const Value& wanted,
               const Change& change) {
        const auto found = versions.find(DayOf(wanted));
        if (found == versions.end()) {
            return;
        }
        const std::vector<std::size_t> onDay = std::move(found->second);
        versions.erase(found);
        for (const std::size_t i : onDay) {
            if (i > passed_) {
                change(element_[i]);
                Add(versions, (element_[i].*date)(), i);
            }
        }
    }

    std::vector<Version>& element_;
    ByDay starting_;
    ByDay ending_;
    std::size_t passed_ = 0;
};

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

// The two statements of a table: one for current versions and one for all others. They share a
// parameter list, which is created in the order of the first version's statement and afterwards
// filled by name. So a version that uses the other statement gets its two dates swapped. Existing
// histories were linked that way, so this must not change.
class RelinkStatements {
  public:
    RelinkStatements(Connection& deletion, const std::string& table, const ElementKey& key,
                     std::vector<Field> keyFields, std::vector<DataType> keyTypes);

    void Execute(const Version& version);
    void Finish() { batch_->Finish(); }

    // Applies the last executed UPDATE to the versions that have not been processed yet.
    void CarryOver(WaitingVersions& waiting) const;

  private:
    void CreateParameters();
    void SetValues(const Version& version);
    bool HasBoundKey(const Version& waiting) const;
    const Value& FirstDate() const { return parameters_.front().Value; }

    std::unique_ptr<StatementBatch> batch_;
    std::string textForOld_;
    std::string textForCurrent_;
    std::vector<Field> keyFields_;
    std::vector<DataType> keyTypes_;
    std::vector<Parameter> parameters_;
    bool startDateFirst_ = true;
    bool lastWasCurrent_ = false;
};

RelinkStatements::RelinkStatements(Connection& deletion, const std::string& table,
                                   const ElementKey& key, std::vector<Field> keyFields,
                                   std::vector<DataType> keyTypes)
    : batch_(deletion.CreateBatch()),
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

void RelinkStatements::Execute(const Version& version) {
    lastWasCurrent_ = version.IsCurrent().Flag();
    if (parameters_.empty()) {
        startDateFirst_ = !lastWasCurrent_;
        CreateParameters();
    }
    SetValues(version);
    batch_->Add(lastWasCurrent_ ? textForCurrent_ : textForOld_, parameters_);
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

void RelinkStatements::SetValues(const Version& version) {
    parameters_.front().Value = startDateFirst_ ? version.StartDate() : version.EndDate();
    parameters_.back().Value = startDateFirst_ ? version.EndDate() : version.StartDate();
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        parameters_[i + 1].Value = version.Columns[i];
    }
}

// Both versions belong to the same element, so key texts are already known to be equal.
bool RelinkStatements::HasBoundKey(const Version& waiting) const {
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        const Value& bound = parameters_[i + 1].Value;
        if (keyFields_[i].Compare(bound, waiting.Columns[i]) == Equality::Different) {
            return false;
        }
    }
    return true;
}

void RelinkStatements::CarryOver(WaitingVersions& waiting) const {
    const auto carry = [this](Version& version) {
        const bool meant = HasBoundKey(version);
        if (meant && lastWasCurrent_) {
            version.EndDate() = FirstDate();
            version.IsCurrent().SetInteger(1);
        } else if (meant) {
            version.StartDate() = FirstDate();
        }
    };
    const Value& day = parameters_.back().Value;
    if (lastWasCurrent_) {
        waiting.EndingOn(day, carry);
    } else {
        waiting.StartingOn(day, carry);
    }
}

}  // namespace

void RelinkSlowlyMovingHistory(const std::string& table, Connection& warehouse,
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
        WaitingVersions waiting(element);
        for (std::size_t i = 0; i < element.size(); ++i) {
            statements.Execute(element[i]);
            waiting.Pass(i);
            statements.CarryOver(waiting);
        }
    }
    statements.Finish();
}

}  // namespace morvane
