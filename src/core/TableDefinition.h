// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

// A column as the catalogue describes it.
struct ColumnDefinition {
    std::string Name;
    std::string TypeName;  // in lower case, without length: "decimal", "nvarchar"
    int Length = 0;        // characters or bytes of a text or binary type, -1 for "max"; else 0
    int Precision = 0;     // digits of a decimal, or of the fraction of a second; else 0
    int Scale = 0;         // digits after the point of a decimal
    bool Nullable = true;
    std::string Default;    // the default's SQL expression; empty when there is none
    std::string Collation;  // empty for the database's own
};

struct KeyDefinition {
    std::string Name;
    std::vector<std::string> Columns;  // in the order of the key
};

struct TableDefinition {
    std::string Name;
    std::vector<ColumnDefinition> Columns;  // in their order in the table
    std::optional<KeyDefinition> PrimaryKey;
};

// What the catalogue knows of a name of tables or views, whatever their schemas.
struct NamedTable {
    std::vector<std::string> Columns;
    bool Indexed = false;  // by any index of any kind

    bool HasColumn(std::string_view name) const;
};

}  // namespace morvane
