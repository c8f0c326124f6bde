// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "dialogs/PackedRows.h"
#include "dialogs/SaveRows.h"

namespace morvane {

// A column that tells rows apart, and the field of the query that reads it.
struct KeyField {
    std::string Column;
    std::size_t Field = 0;
};

// A query whose first field is a flag that can be changed and saved.
struct UpdatableQuery {
    std::string Sql;
    std::string Table;  // behind the rows, as a statement names it
    std::vector<KeyField> Key;
    // Fields right behind the first that are there for the key alone.
    std::size_t HiddenFields = 0;
    std::string WhyReadOnly;  // a sentence; empty when rows can be saved
};

// The rows of a query, read once, with a check mark each. A mark belongs to the row of its
// position, in the order of the query, and goes to the server by the row's key: never to another
// row.
class UpdatableRows {
  public:
    // Runs the query and reads all rows. Throws DatabaseError.
    UpdatableRows(Connection& connection, UpdatableQuery query);

    const UpdatableQuery& Query() const { return query_; }
    std::size_t Count() const { return rows_.Count(); }

    // What a list shows of the rows: all fields but the flags and what is hidden. The first field
    // is never a cell.
    std::size_t ColumnCount() const { return columns_.size(); }
    const std::string& ColumnName(std::size_t column) const;
    // The value's text without the blanks around it.
    std::string Cell(std::size_t row, std::size_t column) const;

    bool Checked(std::size_t row) const { return checked_.at(row) != 0; }
    void SetChecked(std::size_t row, bool checked) { checked_.at(row) = checked ? 1 : 0; }

    // Marks not saved yet in `before`, for the rows with the same key here.
    void CarryOver(const UpdatableRows& before);

    // Writes the marks of all changed rows, or of none: then it throws DatabaseError, also for a
    // row that somebody else has changed since it was read. NULL counts as changed.
    void Save(Connection& connection);

  private:
    void ChooseColumns();
    void CheckKey();
    bool Changed(std::size_t row) const;
    Value OldFlag(std::size_t row) const;
    std::string KeyOf(std::size_t row) const;
    std::vector<std::size_t> RowsToWrite() const;
    RowChange ChangeOf(std::size_t row) const;

    UpdatableQuery query_;
    std::vector<Field> fields_;         // described, without values
    std::vector<std::size_t> columns_;  // positions of the fields shown
    std::size_t checkField_ = 0;        // where the marks come from
    PackedRows rows_;
    std::vector<char> checked_;
    std::vector<std::int8_t> written_;  // the flag that was saved since, or kAsRead
};

}  // namespace morvane
