// SPDX-License-Identifier: Apache-2.0
#include "tasks/MarkedVersions.h"

#include <algorithm>
#include <string_view>

#include "base/Clock.h"

namespace morvane {

namespace {

constexpr std::string_view kMidnight = "0000-00-00T00:00:00";
constexpr std::string_view kMinute = "0000-00-00T00:00";

// Makes "yyyy-mm-ddThh:mm:ss" of a date as the server gives it, with or without a time of day and a
// fraction of a second. Anything else stays as it is.
void NormalizeDate(Value& date) {
    if (date.IsNull() || date.IsBytes()) {
        return;
    }
    std::string text = NeutralDate(date.Text());
    if (text.size() > kMidnight.size() && text[kMidnight.find('T')] == 'T') {
        text.resize(kMidnight.size());
    }
    date.SetText(text);
}

// The same for a date in a key, which must still be found where it stands: it keeps a fraction that
// is not zero.
void NormalizeKeyDate(Value& date) {
    if (date.IsNull() || date.IsBytes()) {
        return;
    }
    std::string text = NeutralDate(date.Text());
    if (text.size() > kMidnight.size() && text[kMidnight.size()] == '.') {
        const std::size_t last = text.find_last_not_of('0');
        text.resize(last == kMidnight.size() ? last : last + 1);
    } else if (text.size() == kMinute.size() && text[kMinute.find('T')] == 'T') {
        text += kMidnight.substr(kMinute.size());
    }
    date.SetText(text);
}

// A date of the history, which must be comparable by its day.
void ReadHistoryDate(Value& date, const Field& column, const std::string& table) {
    if (column.Type == DataType::DBTimeStamp) {
        NormalizeDate(date);
    }
    if (!date.IsNull() && DayOf(date).empty()) {
        throw DatabaseError({"The column " + column.Name + " of " + table + " holds '" +
                             date.Text() +
                             "'. The history is re-linked by dates that begin with the day, as"
                             " yyyy-mm-dd or yyyymmdd."});
    }
}

}  // namespace

std::string DayOf(const Value& date) {
    constexpr std::size_t kTime = kMidnight.find('T');
    const auto* held = std::get_if<std::string>(&date.Data());
    const bool neutral = held != nullptr && held->size() > kTime && (*held)[kTime] == 'T';
    const std::string text = neutral ? held->substr(0, kTime + 1) : NeutralDate(date.Text());
    const bool isDate =
        text.size() > kTime && text[4] == '-' && text[7] == '-' && text[kTime] == 'T';
    return isDate ? text.substr(0, kTime) : "";
}

MarkedVersions::MarkedVersions(Connection& connection, const std::string& table,
                               const ElementKey& key) {
    const auto rows = connection.OpenRecordset(
        "SELECT * FROM " + table + " WHERE is_deletable = 1 ORDER BY " + key.Text + ",start_date",
        RecordsetKind::Streamed);
    std::vector<std::size_t> positions = KeyPositions(*rows, key);
    for (const std::size_t position : positions) {
        keyFields_.push_back(rows->Fields()[position]);
    }
    // A table without marked versions need not have the columns of a history.
    if (!rows->Eof() && ReadVersions(*rows, table, std::move(positions))) {
        AskForElements(connection, table, key);
    }
    more_ = spool_.Next(next_.Columns);
}

// True when only the server can tell which of the rows are versions of one element.
bool MarkedVersions::ReadVersions(Recordset& rows, const std::string& table,
                                  std::vector<std::size_t> positions) {
    for (const char* name : {"start_date", "end_date", "is_current"}) {
        positions.push_back(ColumnPosition(rows, name));
    }
    const Field& startDate = rows.FieldNamed("start_date");
    const Field& endDate = rows.FieldNamed("end_date");
    Version version{std::vector<Value>(positions.size())};
    Version former;
    const bool byCollation = std::ranges::any_of(keyFields_, [](const Field& field) {
        return field.Comparison == TextComparison::ByCollation;
    });
    bool inDoubt = false;
    for (; !rows.Eof(); rows.MoveNext()) {
        for (std::size_t i = 0; i < positions.size(); ++i) {
            version.Columns[i] = rows[positions[i]];
        }
        for (std::size_t i = 0; i < keyFields_.size(); ++i) {
            if (keyFields_[i].Type == DataType::DBTimeStamp) {
                NormalizeKeyDate(version.Columns[i]);
            }
        }
        ReadHistoryDate(version.StartDate(), startDate, table);
        ReadHistoryDate(version.EndDate(), endDate, table);
        if (byCollation && !inDoubt) {
            inDoubt = spool_.Count() > 0 && CompareElements(former, version) == Equality::Unknown;
            former = version;
        }
        spool_.Append(version.Columns);
    }
    return inDoubt;
}

// How the server groups the rows is how it compares their keys; it sorts the groups as the rows.
void MarkedVersions::AskForElements(Connection& connection, const std::string& table,
                                    const ElementKey& key) {
    const auto groups = connection.OpenRecordset(
        "SELECT " + key.Text + ",COUNT(*) AS CntVersions FROM " + table +
            " WHERE is_deletable = 1 GROUP BY " + key.Text + " ORDER BY " + key.Text,
        RecordsetKind::Streamed);
    const std::size_t count = ColumnPosition(*groups, "CntVersions");
    sizes_.emplace();
    for (; !groups->Eof(); groups->MoveNext()) {
        sizes_->Append({(*groups)[count]});
    }
}

bool MarkedVersions::NextElement(std::vector<Version>& element) {
    if (!more_) {
        return false;
    }
    std::size_t size = 0;  // as the server says, where it was asked
    if (sizes_) {
        std::vector<Value> row;
        size = sizes_->Next(row) ? static_cast<std::size_t>(row[0].Integer()) : 1;
    }
    std::size_t count = 0;
    do {
        // Versions of the element before are overwritten: most tables have few an element and
        // many elements, and the memory of their texts can serve again.
        if (count == element.size()) {
            element.emplace_back();
        }
        std::swap(element[count].Columns, next_.Columns);
        ++count;
        more_ = spool_.Next(next_.Columns);
    } while (more_ &&
             (sizes_ ? count < size : CompareElements(element[0], next_) == Equality::Equal));
    element.resize(count);
    return true;
}

Equality MarkedVersions::CompareElements(const Version& a, const Version& b) const {
    Equality result = Equality::Equal;
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        const Equality column = keyFields_[i].Compare(a.Columns[i], b.Columns[i]);
        if (column == Equality::Different) {
            return column;
        }
        result = column == Equality::Unknown ? column : result;
    }
    return result;
}

}  // namespace morvane
