// SPDX-License-Identifier: Apache-2.0
#include "dialogs/UpdatableRows.h"

#include <algorithm>
#include <deque>
#include <unordered_map>

#include "base/Clock.h"
#include "base/Text.h"
#include "core/Transaction.h"
#include "sql/Quoting.h"

namespace morvane {

namespace {

constexpr std::int8_t kAsRead = -1;

bool IsFlagName(const std::string& name) {
    return EqualsIgnoreCase(name, "is_selected") || EqualsIgnoreCase(name, "is_sustainable");
}

// "a = ?", or "a IS NULL" for NULL.
std::string Condition(const ColumnValue& column) {
    return column.Name + (column.Value.IsNull() ? " IS NULL" : " = ?");
}

// Keeps a long condition from filling the message.
std::string Shorten(const std::string& text) {
    constexpr std::size_t kLongestValue = 100;
    return text.size() > kLongestValue ? text.substr(0, kLongestValue) + "..." : text;
}

std::string DescribeRow(const RowChange& change) {
    std::vector<std::string> pieces;
    for (const ColumnValue& column : change.Key) {
        pieces.push_back(column.Name + " = " +
                         (column.Value.IsNull() ? "NULL" : Shorten(column.Value.Text())));
    }
    return Join(pieces, ", ");
}

std::int64_t Update(Connection& connection, const std::string& table, const RowChange& change) {
    const auto command = connection.CreateCommand();
    std::vector<std::string> assignments;
    std::vector<std::string> conditions;
    for (const ColumnValue& column : change.NewValues) {
        assignments.push_back(column.Name + " = ?");
        command->AppendParameter(column);
    }
    for (const ColumnValue& column : change.Key) {
        conditions.push_back(Condition(column));
        if (!column.Value.IsNull()) {
            command->AppendParameter(column);
        }
    }
    command->SetText("UPDATE " + table + " SET " + Join(assignments, ", ") + " WHERE " +
                     Join(conditions, " AND "));
    return command->Execute();
}

}  // namespace

ColumnValue MakeColumnValue(const Field& field, const std::string& column, Value value) {
    if (field.Type == DataType::DBTimeStamp && value.IsText()) {
        value.SetText(NeutralDate(value.Text()));
    }
    return {column,          field.Type,         field.DefinedSize,
            field.Precision, field.NumericScale, std::move(value)};
}

void SaveRows(Connection& connection, const std::string& table,
              const std::vector<RowChange>& changes) {
    Transaction transaction(connection);
    for (const RowChange& change : changes) {
        if (Update(connection, table, change) != 1) {
            throw RowChangedError({"Nothing was saved: the row of " + table + " with " +
                                   DescribeRow(change) +
                                   " was changed or deleted meanwhile, or is not the only one."});
        }
    }
    transaction.Commit();
}

void PackedRows::Append(const std::vector<Field>& row) {
    for (const Field& field : row) {
        AppendPacked(bytes_, field.Value);
    }
    rowEnds_.push_back(bytes_.size());
}

std::string_view PackedRows::BytesAt(std::size_t row, std::size_t field) const {
    const char* value = bytes_.data() + (row == 0 ? 0 : rowEnds_.at(row - 1));
    for (; field > 0; --field) {
        value += PackedSize(value);
    }
    return {value, PackedSize(value)};
}

Value PackedRows::At(std::size_t row, std::size_t field) const {
    Value value;
    Unpack(BytesAt(row, field), value);
    return value;
}

UpdatableRows::UpdatableRows(Connection& connection, UpdatableQuery query)
    : query_(std::move(query)) {
    const auto recordset = connection.OpenRecordset(query_.Sql, RecordsetKind::Streamed);
    fields_ = recordset->Fields();
    ChooseColumns();
    CheckKey();
    for (; !recordset->Eof(); recordset->MoveNext()) {
        rows_.Append(recordset->Fields());
        checked_.push_back((*recordset)[checkField_].Flag() ? 1 : 0);
    }
    written_.assign(rows_.Count(), kAsRead);
    for (std::size_t row = 0; checkField_ != 0 && row < Count(); ++row) {
        unsavedCount_ += Unsaved(row) ? 1U : 0U;
    }
}

void UpdatableRows::ChooseColumns() {
    for (std::size_t field = 0; field < fields_.size(); ++field) {
        if (field > 0 && EqualsIgnoreCase(fields_[field].Name, "is_sustainable")) {
            checkField_ = field;
        }
        const bool hidden = field > 0 && field <= query_.HiddenFields;
        if (!hidden && !IsFlagName(fields_[field].Name)) {
            columns_.push_back(field);
        }
    }
}

// If a field is not the key column that it is taken for, saving could hit another row.
void UpdatableRows::CheckKey() {
    for (const KeyField& key : query_.Key) {
        if (key.Field >= fields_.size() || !EqualsIgnoreCase(fields_[key.Field].Name, key.Column)) {
            query_.WhyReadOnly = "The records cannot be saved: the column " + key.Column +
                                 " of their key was not found among the columns of the query.";
            query_.Key.clear();
            return;
        }
    }
}

const std::string& UpdatableRows::ColumnName(std::size_t column) const {
    return fields_[columns_.at(column)].Name;
}

bool UpdatableRows::IsNumeric(std::size_t column) const {
    switch (fields_[columns_.at(column)].Type) {
        case DataType::SmallInt:
        case DataType::Integer:
        case DataType::Single:
        case DataType::Double:
        case DataType::Currency:
        case DataType::TinyInt:
        case DataType::BigInt:
        case DataType::Numeric:
            return true;
        default:
            return false;
    }
}

std::string UpdatableRows::Cell(std::size_t row, std::size_t column) const {
    const std::size_t field = columns_.at(column);
    return field == 0 ? "" : std::string(Trim(rows_.At(row, field).Text()));
}

void UpdatableRows::SetChecked(std::size_t row, bool checked) {
    const bool before = Unsaved(row);
    checked_.at(row) = checked ? 1 : 0;
    unsavedCount_ = unsavedCount_ + (Unsaved(row) ? 1U : 0U) - (before ? 1U : 0U);
}

Value UpdatableRows::OldFlag(std::size_t row) const {
    return written_[row] == kAsRead ? rows_.At(row, 0) : Value(std::int64_t{written_[row]});
}

bool UpdatableRows::Changed(std::size_t row) const {
    const Value old = OldFlag(row);
    return old.IsNull() || old.Flag() != Checked(row);
}

std::string UpdatableRows::KeyOf(std::size_t row) const {
    std::string key;
    for (const KeyField& part : query_.Key) {
        key += rows_.BytesAt(row, part.Field);
    }
    return key;
}

// Several rows can have the same key. They show the same values, so it does not matter if they swap
// their marks.
void UpdatableRows::CarryOver(const UpdatableRows& before) {
    if (query_.Key.empty()) {
        return;
    }
    std::unordered_map<std::string, std::deque<bool>> marks;
    for (std::size_t row = 0; row < before.Count(); ++row) {
        if (before.Unsaved(row)) {
            marks[before.KeyOf(row)];
        }
    }
    for (std::size_t row = 0; !marks.empty() && row < before.Count(); ++row) {
        if (const auto found = marks.find(before.KeyOf(row)); found != marks.end()) {
            found->second.push_back(before.Checked(row));
        }
    }
    for (std::size_t row = 0; !marks.empty() && row < Count(); ++row) {
        const auto found = marks.find(KeyOf(row));
        if (found != marks.end() && !found->second.empty()) {
            SetChecked(row, found->second.front());
            found->second.pop_front();
        }
    }
}

// A query with a join can show a table row more than once. It is written once.
std::vector<std::size_t> UpdatableRows::RowsToWrite() const {
    // The values by which an UPDATE finds the row.
    const auto found = [this](std::size_t row) {
        const Value flag = OldFlag(row);
        return KeyOf(row) + (flag.IsNull() ? "?" : flag.Text());
    };
    std::vector<std::size_t> rows;
    std::unordered_map<std::string, bool> states;
    for (std::size_t row = 0; row < Count(); ++row) {
        if (Changed(row) && states.emplace(found(row), Checked(row)).second) {
            rows.push_back(row);
        }
    }
    for (std::size_t row = 0; row < Count(); ++row) {
        const auto state = states.find(found(row));
        if (state != states.end() && state->second != Checked(row)) {
            throw DatabaseError({"Nothing was saved: the list shows a record of " + query_.Table +
                                 " more than once, checked and unchecked, or records that no"
                                 " column tells apart."});
        }
    }
    return rows;
}

void UpdatableRows::Save(Connection& connection) {
    std::size_t changed = 0;
    while (changed < Count() && !Changed(changed)) {
        ++changed;
    }
    if (changed == Count()) {
        return;
    }
    if (!query_.WhyReadOnly.empty()) {
        throw DatabaseError({query_.WhyReadOnly});
    }
    std::vector<RowChange> changes;
    for (const std::size_t row : RowsToWrite()) {
        changes.push_back(ChangeOf(row));
    }
    SaveRows(connection, query_.Table, changes);
    for (std::size_t row = 0; row < Count(); ++row) {
        written_[row] = Changed(row) ? static_cast<std::int8_t>(checked_[row]) : written_[row];
    }
    unsavedCount_ = 0;
}

RowChange UpdatableRows::ChangeOf(std::size_t row) const {
    const std::string flag = SqlName(fields_[0].Name);
    RowChange change;
    for (const KeyField& key : query_.Key) {
        change.Key.push_back(
            MakeColumnValue(fields_[key.Field], SqlName(key.Column), rows_.At(row, key.Field)));
    }
    change.Key.push_back(MakeColumnValue(fields_[0], flag, OldFlag(row)));
    change.NewValues.push_back(
        MakeColumnValue(fields_[0], flag, Value(std::int64_t{Checked(row) ? 1 : 0})));
    return change;
}

}  // namespace morvane
