// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

// A column in the database catalogue.
struct ColumnDefinition {
    std::string Name;
    std::string TypeName;  // in lower case, without length: "decimal", "nvarchar"
    int Length = 0;        // of a text or binary type in characters or bytes, -1 for "max"; else 0
    int Precision = 0;     // of a decimal, or digits of fractional seconds; else 0
    int Scale = 0;         // of a decimal
    bool Nullable = true;
    std::string Default;    // SQL expression; empty if there is none
    std::string Collation;  // empty for the database default
};

struct KeyDefinition {
    std::string Name;
    std::vector<std::string> Columns;  // in key order
};

struct TableDefinition {
    std::string Name;
    std::vector<ColumnDefinition> Columns;  // in table order
    std::optional<KeyDefinition> PrimaryKey;
};

// All tables and views with one name, in any schema.
struct NamedTable {
    std::vector<std::string> Columns;
    bool Indexed = false;  // by an index of any kind

    bool HasColumn(std::string_view name) const;
};

}  // namespace morvane
