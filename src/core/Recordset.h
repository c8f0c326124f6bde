// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/Value.h"

namespace morvane {

// Column types, with their OLE DB type codes (DBTYPEENUM in oledb.h).
enum class DataType {
    SmallInt = 2,
    Integer = 3,
    Single = 4,
    Double = 5,
    Currency = 6,
    Boolean = 11,
    TinyInt = 17,
    BigInt = 20,
    Guid = 72,
    Binary = 128,
    Char = 129,
    WChar = 130,
    Numeric = 131,
    DBTimeStamp = 135,
    VarChar = 200,
    LongVarChar = 201,
    VarWChar = 202,
    LongVarWChar = 203,
    VarBinary = 204,
};

// How the server compares two texts of a column for equality.
enum class TextComparison {
    Exact,
    IgnoringCase,  // of ASCII letters
    ByCollation,   // known to the server only: accents, case, trailing blanks
};

// Unknown if only the server can decide.
enum class Equality { Equal, Different, Unknown };

// A column of a recordset: its description and its value in the current row.
struct Field {
    std::string Name;  // empty for an expression without an alias
    DataType Type = DataType::VarChar;
    int DefinedSize = 0;   // characters or bytes; 0 if the type has no size
    int Precision = 0;     // of an exact number, else 0
    int NumericScale = 0;  // of an exact number, else 0
    TextComparison Comparison = TextComparison::Exact;
    morvane::Value Value;

    // Whether the server would treat the two values as equal in this column. NULL equals nothing,
    // and a number never equals a text.
    Equality Compare(const morvane::Value& a, const morvane::Value& b) const;
};

// The rows of a query, read forward only. A new recordset is positioned on its first row, or at the
// end if there is none. MoveNext() throws DatabaseError on failure.
class Recordset {
  public:
    virtual ~Recordset() = default;

    virtual bool Eof() const = 0;
    // Not at the end.
    virtual void MoveNext() = 0;
    // The columns in query order, with the values of the current row. At the end of the rows the
    // descriptions are still valid, the values are not.
    virtual const std::vector<Field>& Fields() const = 0;

    // Looks up a column, ignoring case. Throws DatabaseError if the query has no such column.
    const Field& FieldNamed(std::string_view name) const;
    const Value& ValueOf(std::string_view name) const { return FieldNamed(name).Value; }
    // The value at a position (from 0) of the current row.
    const Value& operator[](std::size_t position) const { return Fields().at(position).Value; }
};

// Copies the remaining rows into memory. Most drivers allow one open result per connection, so
// lists that stay open while the connection is used must be buffered.
std::unique_ptr<Recordset> BufferRecordset(Recordset& source);

}  // namespace morvane
