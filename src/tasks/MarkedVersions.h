// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/RowSpool.h"
#include "core/Connection.h"
#include "tasks/ElementKey.h"

namespace morvane {

// A version of an element: its key columns in the key's order and the three columns of its
// history. What a date column holds is a text in the form of NeutralDate, or NULL, and ends with
// the second in the history. Dates in a column of another type stay as they stand there.
struct Version {
    std::vector<Value> Columns;

    std::size_t KeyCount() const { return Columns.size() - 3; }
    Value& StartDate() { return Columns[KeyCount()]; }
    Value& EndDate() { return Columns[KeyCount() + 1]; }
    Value& IsCurrent() { return Columns[KeyCount() + 2]; }
    const Value& StartDate() const { return Columns[KeyCount()]; }
    const Value& EndDate() const { return Columns[KeyCount() + 1]; }
    const Value& IsCurrent() const { return Columns[KeyCount() + 2]; }
};

// The marked versions of a slowly-moving dimension, element by element and in each by start date.
// They are read to the end when this is made, so that the table may be changed while they are
// walked; memory holds one element of them and what RowSpool allows itself. Throws DatabaseError
// for a missing column, unless no version is marked, and for a date that DayOf cannot read.
class MarkedVersions {
  public:
    MarkedVersions(Connection& connection, const std::string& table, const ElementKey& key);

    // The versions of the next element, in place of what `element` held; false after the last.
    bool NextElement(std::vector<Version>& element);

    // The descriptions of the key's columns, in the key's order.
    const std::vector<Field>& KeyFields() const { return keyFields_; }

  private:
    bool ReadVersions(Recordset& rows, const std::string& table,
                      std::vector<std::size_t> positions);
    Equality CompareElements(const Version& a, const Version& b) const;
    void AskForElements(Connection& connection, const std::string& table, const ElementKey& key);

    std::vector<Field> keyFields_;
    RowSpool spool_;
    std::optional<RowSpool> sizes_;  // of the elements, in their order, when the server was asked
    Version next_;
    bool more_ = false;
};

// The day of a version's date as "yyyy-mm-dd". Empty for NULL and for what begins neither with that
// nor with "yyyymmdd".
std::string DayOf(const Value& date);

}  // namespace morvane
