#include "tasks/RelinkHistory.h"

#include <string_view>
#include <vector>

#include "tasks/ElementKey.h"
#include "tasks/MarkedVersions.h"

namespace morvane {

namespace {

constexpr std::size_t kSecondsLength = std::string_view("yyyy-mm-dd hh:mm:ss").size();
constexpr std::size_t kDayLength = std::string_view("yyyy-mm-dd").size();

// As the server compares days: NULL is on no day.
bool SameDay(const Value& a, const Value& b) {
    if (!a.IsText() || !b.IsText()) {
        return false;
    }
    const std::string_view left = std::get<std::string>(a.Data());
    const std::string_view right = std::get<std::string>(b.Data());
    return left.substr(0, kDayLength) == right.substr(0, kDayLength);
}

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

// The one command that all versions of a table share. It has two texts: a current version takes
// the other than one that is not. Its parameters are made once, in the order of the first
// version's text, and later only given new values by name; a version that takes the other text
// therefore finds its two dates in each other's place. Administrators know their histories that
// way, so it stays.
class RelinkCommand {
  public:
    RelinkCommand(Connection& deletion, const std::string& table, const ElementKey& key,
                  std::vector<Field> keyFields, std::vector<DataType> keyTypes);

    void Execute(const Version& version);

    // What the last Execute did to a version that still waits for its turn, if the server's
    // condition held for it.
    void CarryOver(Version& waiting) const;

  private:
    void CreateParameters(const Version& version);
    void SetParameters(const Version& version);
    void CollectValues(const Version& version);
    void SetText(bool current);
    bool Matches(const Version& waiting) const;

    std::unique_ptr<Command> command_;
    std::string textForOld_;
    std::string textForCurrent_;
    std::vector<Field> keyFields_;
    std::vector<DataType> keyTypes_;
    std::vector<std::string> names_;  // of the parameters, by position
    std::vector<Value> bound_;        // their values, by position
    bool startDateFirst_ = true;
    bool textIsForCurrent_ = false;
};

RelinkCommand::RelinkCommand(Connection& deletion, const std::string& table, const ElementKey& key,
                             std::vector<Field> keyFields, std::vector<DataType> keyTypes)
    : command_(deletion.CreateCommand()),
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

void RelinkCommand::Execute(const Version& version) {
    const bool current = version.IsCurrent().Flag();
    if (names_.empty()) {
        startDateFirst_ = !current;
        SetText(current);
        CreateParameters(version);
    } else {
        if (current != textIsForCurrent_) {
            SetText(current);
        }
        SetParameters(version);
    }
    command_->Execute();
}

void RelinkCommand::SetText(bool current) {
    command_->SetText(current ? textForCurrent_ : textForOld_);
    textIsForCurrent_ = current;
}

void RelinkCommand::CollectValues(const Version& version) {
    bound_.resize(keyFields_.size() + 2);
    bound_.front() = startDateFirst_ ? version.StartDate() : version.EndDate();
    bound_.back() = startDateFirst_ ? version.EndDate() : version.StartDate();
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        Value& value = bound_[i + 1];
        value = version.Columns[i];
        if (keyTypes_[i] == DataType::DBTimeStamp && value.IsText()) {
            value.SetText(value.Text().substr(0, kSecondsLength));
        }
    }
}

void RelinkCommand::CreateParameters(const Version& version) {
    CollectValues(version);
    const auto appendDate = [this](const char* name, const Value& value) {
        names_.emplace_back(name);
        command_->AppendParameter(
            {.Name = name, .Type = DataType::DBTimeStamp, .Size = 0, .Value = value});
    };
    appendDate(startDateFirst_ ? "start_date" : "end_date", bound_.front());
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        const Field& field = keyFields_[i];
        names_.push_back(field.Name);
        command_->AppendParameter({.Name = field.Name,
                                   .Type = field.Type,
                                   .Size = field.DefinedSize,
                                   .Precision = field.Precision,
                                   .NumericScale = field.NumericScale,
                                   .Value = bound_[i + 1]});
    }
    appendDate(startDateFirst_ ? "end_date" : "start_date", bound_.back());
}

void RelinkCommand::SetParameters(const Version& version) {
    CollectValues(version);
    for (std::size_t i = 0; i < names_.size(); ++i) {
        command_->SetParameter(names_[i], bound_[i]);
    }
}

bool RelinkCommand::Matches(const Version& waiting) const {
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        if (!keyFields_[i].SameValue(bound_[i + 1], waiting.Columns[i])) {
            return false;
        }
    }
    return SameDay(bound_.back(), textIsForCurrent_ ? waiting.EndDate() : waiting.StartDate());
}

void RelinkCommand::CarryOver(Version& waiting) const {
    if (!Matches(waiting)) {
        return;
    }
    if (textIsForCurrent_) {
        waiting.EndDate() = bound_.front();
        waiting.IsCurrent().SetInteger(1);
    } else {
        waiting.StartDate() = bound_.front();
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
    RelinkCommand command(deletion, table, key, versions.KeyFields(),
                          ReadKeyTypes(warehouse, table, key));
    std::vector<Version> element;
    while (versions.NextElement(element)) {
        for (std::size_t i = 0; i < element.size(); ++i) {
            command.Execute(element[i]);
            for (std::size_t waiting = i + 1; waiting < element.size(); ++waiting) {
                command.CarryOver(element[waiting]);
            }
        }
    }
}

}  // namespace morvane
