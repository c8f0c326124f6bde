// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/RowSpool.h"
#include "core/Connection.h"

namespace morvane {

// The columns that identify an element of a slowly-moving dimension across its versions.
struct ElementKey {
    std::string Text;                  // as written in the meta tables
    std::vector<std::string> Columns;  // trimmed
};

// Reads the key from the first row of a query for original_primary_key; empty if there is no row.
ElementKey ReadElementKey(Connection& connection, std::string_view sql);

// The index of a column. Throws DatabaseError if there is no such column.
std::size_t ColumnPosition(const Recordset& recordset, std::string_view name);

// The indexes of the key columns, in the order of the key.
std::vector<std::size_t> KeyPositions(const Recordset& recordset, const ElementKey& key);

// A version of an element: its key columns and the three columns of its history. A value of a date
// column is NULL or text as NeutralDate writes it, without a fraction of a second in the history.
// Dates in columns of other types are kept as they are.
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

// The marked versions of a slowly-moving dimension, grouped by element and ordered by start date.
// The constructor reads all of them into a RowSpool, so the table may be changed during iteration.
// It throws DatabaseError if a column is missing, unless no version is marked, or if DayOf cannot
// read a date.
class MarkedVersions {
  public:
    MarkedVersions(Connection& connection, const std::string& table, const ElementKey& key);

    // Replaces the content of `element` by the versions of the next one; false after the last.
    bool NextElement(std::vector<Version>& element);

    // The key columns, in the order of the key.
    const std::vector<Field>& KeyFields() const { return keyFields_; }

  private:
    bool ReadVersions(Recordset& rows, const std::string& table,
                      std::vector<std::size_t> positions);
    Equality CompareElements(const Version& a, const Version& b) const;
    void AskForElements(Connection& connection, const std::string& table, const ElementKey& key);

    std::vector<Field> keyFields_;
    RowSpool spool_;
    std::optional<RowSpool> sizes_;  // versions per element, if the server had to be asked
    Version next_;
    bool more_ = false;
};

// The day of a date as "yyyy-mm-dd". Empty for NULL and for text that begins neither with that form
// nor with "yyyymmdd".
std::string DayOf(const Value& date);

}  // namespace morvane
