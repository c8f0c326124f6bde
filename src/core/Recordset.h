// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/Value.h"
#include "core/DataType.h"

namespace morvane {

// How the server compares two texts of a column for equality.
enum class TextComparison {
    Exact,
    IgnoringCase,  // of ASCII letters
    ByCollation,   // as only the server knows: accents, letter case, trailing blanks
};

// Unknown where only the server can tell.
enum class Equality { Equal, Different, Unknown };

// A column of a recordset: its description and its value in the current row.
struct Field {
    std::string Name;  // empty for an expression without an alias
    DataType Type = DataType::VarChar;
    int DefinedSize = 0;   // characters or bytes; 0 when the type has none
    int Precision = 0;     // digits of an exact number, else 0
    int NumericScale = 0;  // digits after the point of an exact number, else 0
    TextComparison Comparison = TextComparison::Exact;
    morvane::Value Value;

    // Whether the server would find the two values equal in this column. NULL equals nothing, and a
    // number no text that reads the same.
    Equality Compare(const morvane::Value& a, const morvane::Value& b) const;
};

// The rows of a query, read forward. A new recordset stands on its first row, or at its end when
// there is none. Reading on can fail: DatabaseError.
class Recordset {
  public:
    virtual ~Recordset() = default;

    virtual bool Eof() const = 0;
    // Only before the end.
    virtual void MoveNext() = 0;
    // The columns with the values of the current row, in the order of the query. The description
    // is there at the end of the rows too; the values are not.
    virtual const std::vector<Field>& Fields() const = 0;

    // By name, letter case ignored. Throws DatabaseError if the query has no such column.
    const Field& FieldNamed(std::string_view name) const;
    const Value& ValueOf(std::string_view name) const { return FieldNamed(name).Value; }
    // Of the current row, by position from 0.
    const Value& operator[](std::size_t position) const { return Fields().at(position).Value; }
};

// The rest of `source` in memory: for the small lists that stay open while the same connection
// works on, since most drivers carry one open result a connection.
std::unique_ptr<Recordset> BufferRecordset(Recordset& source);

}  // namespace morvane
