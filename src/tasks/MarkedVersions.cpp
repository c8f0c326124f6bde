#include "tasks/MarkedVersions.h"

#include <algorithm>
#include <string_view>

namespace morvane {

namespace {

constexpr std::string_view kMidnight = "0000-00-00 00:00:00";
constexpr std::size_t kDateLength = 10;

bool LooksLikeDate(std::string_view text) {
    return text.size() >= kDateLength && text[4] == '-' && text[7] == '-';
}

}  // namespace

void NormalizeDate(Value& date) {
    if (!date.IsText() || !LooksLikeDate(std::get<std::string>(date.Data()))) {
        return;
    }
    std::string text = std::get<std::string>(date.Data());
    if (text.size() == kMidnight.size() && text[kDateLength] == ' ') {
        return;
    }
    if (text.size() < kMidnight.size()) {
        text += kMidnight.substr(text.size());
    }
    text.resize(kMidnight.size());
    text[kDateLength] = ' ';
    date.SetText(text);
}

void NormalizeKeyDate(Value& date) {
    if (!date.IsText() || !LooksLikeDate(std::get<std::string>(date.Data()))) {
        return;
    }
    const std::string& text = std::get<std::string>(date.Data());
    if (text.size() > kMidnight.size() && text[kMidnight.size()] == '.') {
        const std::size_t last = text.find_last_not_of('0');
        date = Value(text.substr(0, last == kMidnight.size() ? last : last + 1));
    }
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
    positions.push_back(ColumnPosition(*rows, "start_date"));
    positions.push_back(ColumnPosition(*rows, "end_date"));
    positions.push_back(ColumnPosition(*rows, "is_current"));
    Version version{std::vector<Value>(positions.size())};
    for (; !rows->Eof(); rows->MoveNext()) {
        for (std::size_t i = 0; i < positions.size(); ++i) {
            version.Columns[i] = (*rows)[positions[i]];
        }
        for (std::size_t i = 0; i < keyFields_.size(); ++i) {
            if (keyFields_[i].Type == DataType::DBTimeStamp) {
                NormalizeKeyDate(version.Columns[i]);
            }
        }
        NormalizeDate(version.StartDate());
        NormalizeDate(version.EndDate());
        spool_.Append(version.Columns);
    }
    more_ = spool_.Next(next_.Columns);
}

bool MarkedVersions::NextElement(std::vector<Version>& element) {
    if (!more_) {
        return false;
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
    } while (more_ && SameElement(element[0], next_));
    element.resize(count);
    return true;
}

bool MarkedVersions::SameElement(const Version& a, const Version& b) const {
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        if (!keyFields_[i].SameValue(a.Columns[i], b.Columns[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace morvane
