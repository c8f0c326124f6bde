// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

// An item of a select list.
struct SelectItem {
    enum class Kind { Column, Everything, Expression };
    Kind Kind = Kind::Expression;
    std::string Qualifier;  // the name before the last ".", or empty
    std::string Column;     // empty for an expression or an alias
};

// A parsed query.
struct SelectQuery {
    std::string Head;  // "Select " with DISTINCT, TOP and so on
    std::string Rest;  // the text from the first item of the select list on
    std::vector<SelectItem> Items;
    // The table after FROM: as written, and without schema and quotes. Empty if the rows are not
    // those of one table.
    std::string Table;
    std::string TableName;
    std::string Qualifier;  // the table's alias, or its name without schema, as written
    bool Joined = false;    // FROM names more tables
    // The query neither groups nor removes duplicates: adding a column to the select list does not
    // change its rows.
    bool RowByRow = true;
};

// Parses a single SELECT. For anything else, which must not be executed, returns nothing and puts
// the reason into `errorText`.
std::optional<SelectQuery> ParseSelect(std::string_view sql, std::string& errorText);

// The query sorted by a column. Replaces an ORDER BY at its end.
std::string OrderedBy(std::string_view sql, std::string_view column);

}  // namespace morvane
