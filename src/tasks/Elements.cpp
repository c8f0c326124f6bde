// SPDX-License-Identifier: Apache-2.0
#include "tasks/Elements.h"

#include <algorithm>
#include <string_view>

#include "base/Clock.h"
#include "base/Text.h"

namespace morvane {

namespace {

constexpr std::string_view kMidnight = "0000-00-00T00:00:00";
constexpr std::string_view kMinute = "0000-00-00T00:00";

// Converts a date from the server, with or without a time of day and a fraction of a second, to
// "yyyy-mm-ddThh:mm:ss". Leaves anything else unchanged.
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

// The same for a date in a key, which must still match its row: keeps a fraction other than zero.
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

// Throws if a date of the history cannot be compared by its day.
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

ElementKey ReadElementKey(Connection& connection, std::string_view sql) {
    ElementKey key;
    const auto rows = connection.OpenRecordset(sql);
    if (!rows->Eof()) {
        key.Text = (*rows)[0].Text();
        connection.RequireColumnNames(key.Text);
        key.Columns = SplitColumnList(key.Text);
    }
    return key;
}

std::size_t ColumnPosition(const Recordset& recordset, std::string_view name) {
    return static_cast<std::size_t>(&recordset.FieldNamed(name) - recordset.Fields().data());
}

std::vector<std::size_t> KeyPositions(const Recordset& recordset, const ElementKey& key) {
    std::vector<std::size_t> positions;
    for (const std::string& column : key.Columns) {
        positions.push_back(ColumnPosition(recordset, column));
    }
    return positions;
}

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
    // Without marked versions the history columns need not exist.
    if (!rows->Eof() && ReadVersions(*rows, table, std::move(positions))) {
        AskForElements(connection, table, key);
    }
    more_ = spool_.Next(next_.Columns);
}

// True if only the server's collation can tell which rows are versions of the same element.
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

// The server groups rows by comparing their keys, and sorts the groups in the order of the rows.
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
    std::size_t size = 0;  // used only if the server was asked
    if (sizes_) {
        std::vector<Value> row;
        size = sizes_->Next(row) ? static_cast<std::size_t>(row[0].Integer()) : 1;
    }
    std::size_t count = 0;
    do {
        // Reuses the memory of the previous element's versions: most tables have many elements with
        // few versions each.
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
