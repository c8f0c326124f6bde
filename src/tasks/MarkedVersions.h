#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "core/RowSpool.h"
#include "tasks/ElementKey.h"

namespace morvane {

// A version of an element: its key columns in the key's order and the three columns of its
// history. Dates are texts in the form of NeutralDate, or NULL; those of the history end with the
// second.
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
// walked; memory holds one element of them and what RowSpool allows itself.
class MarkedVersions {
  public:
    MarkedVersions(Connection& connection, const std::string& table, const ElementKey& key);

    // The versions of the next element, in place of what `element` held; false after the last.
    bool NextElement(std::vector<Version>& element);

    // The descriptions of the key's columns, in the key's order.
    const std::vector<Field>& KeyFields() const { return keyFields_; }

  private:
    Equality CompareElements(const Version& a, const Version& b) const;
    void AskForElements(Connection& connection, const std::string& table, const ElementKey& key);

    std::vector<Field> keyFields_;
    RowSpool spool_;
    std::optional<RowSpool> sizes_;  // of the elements, in their order, when the server was asked
    Version next_;
    bool more_ = false;
};

// Makes "yyyy-mm-ddThh:mm:ss" of a date as the server gives it, with or without a time of day and a
// fraction of a second. Anything else stays as it is.
void NormalizeDate(Value& date);

// The same for a date in a key, which must still be found where it stands: it only loses a fraction
// that is zero, so that equal dates are equal texts.
void NormalizeKeyDate(Value& date);

}  // namespace morvane
