// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"
#include "core/DatabaseError.h"

namespace morvane {

// A column with its old or new value, bound as a parameter of the column's type.
using ColumnValue = Parameter;

// A value for the column that `field` describes. `column` is the column's name in statements.
ColumnValue MakeColumnValue(const Field& field, const std::string& column, Value value);

// New values for one row, found by its key. The key may include old values of other columns: a row
// that another user has changed since is then not found.
struct RowChange {
    std::vector<ColumnValue> Key;
    std::vector<ColumnValue> NewValues;
};

// A row could not be saved because it is no longer as it was read.
class RowChangedError : public DatabaseError {
  public:
    using DatabaseError::DatabaseError;
};

// Writes all changes in one transaction, one UPDATE per row. If an UPDATE does not affect exactly
// one row, nothing is saved, and RowChangedError names the row.
void SaveRows(Connection& connection, const std::string& table,
              const std::vector<RowChange>& changes);

// A query result in packed form with random access, so that a million wide rows fit in memory.
class PackedRows {
  public:
    void Append(const std::vector<Field>& row);

    std::size_t Count() const { return rowEnds_.size(); }
    Value At(std::size_t row, std::size_t field) const;
    // The packed value. Equal values have equal bytes, and no packed value is a prefix of another.
    std::string_view BytesAt(std::size_t row, std::size_t field) const;

  private:
    std::string bytes_;
    std::vector<std::size_t> rowEnds_;
};

// A key column and the field of the query that reads it.
struct KeyField {
    std::string Column;
    std::size_t Field = 0;
};

// A query whose first field is a flag that can be edited and saved.
struct UpdatableQuery {
    std::string Sql;
    std::string Table;  // as statements name it
    std::vector<KeyField> Key;
    // Number of fields after the first that were added for the key and are not shown.
    std::size_t HiddenFields = 0;
    std::string WhyReadOnly;  // a sentence; empty if the rows can be saved
};

// The rows of a query, read once, each with a check mark. Saving finds each row by its key, so a
// mark never ends up on another row, even if the table has changed since.
class UpdatableRows {
  public:
    // Runs the query and reads all rows. Throws DatabaseError.
    UpdatableRows(Connection& connection, UpdatableQuery query);

    const UpdatableQuery& Query() const { return query_; }
    std::size_t Count() const { return rows_.Count(); }

    // The columns to show: all fields except flags and hidden key fields. The cells of the first
    // field are always empty.
    std::size_t ColumnCount() const { return columns_.size(); }
    const std::string& ColumnName(std::size_t column) const;
    bool IsNumeric(std::size_t column) const;
    // The value as text, trimmed.
    std::string Cell(std::size_t row, std::size_t column) const;

    bool Checked(std::size_t row) const { return checked_.at(row) != 0; }
    void SetChecked(std::size_t row, bool checked);
    // The number of rows whose mark is not the one that was read or saved last.
    std::size_t UnsavedCount() const { return unsavedCount_; }

    // Copies the unsaved marks of `before` to the rows with the same key.
    void CarryOver(const UpdatableRows& before);

    // Saves the marks of all changed rows, or none. Throws DatabaseError, and RowChangedError if
    // another user has changed one of the rows since it was read. A flag that was NULL counts as
    // changed.
    void Save(Connection& connection);

  private:
    void ChooseColumns();
    void CheckKey();
    bool Changed(std::size_t row) const;
    bool Unsaved(std::size_t row) const { return OldFlag(row).Flag() != Checked(row); }
    Value OldFlag(std::size_t row) const;
    std::string KeyOf(std::size_t row) const;
    std::vector<std::size_t> RowsToWrite() const;
    RowChange ChangeOf(std::size_t row) const;

    UpdatableQuery query_;
    std::vector<Field> fields_;         // without values
    std::vector<std::size_t> columns_;  // indexes of the fields to show
    std::size_t checkField_ = 0;        // the field that the marks are read from
    PackedRows rows_;
    std::vector<char> checked_;
    std::size_t unsavedCount_ = 0;
    std::vector<std::int8_t> written_;  // the flag saved last, or kAsRead
};

}  // namespace morvane
