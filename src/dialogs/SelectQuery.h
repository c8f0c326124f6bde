// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

// One item of a select list, as far as it says which columns are read.
struct SelectItem {
    enum class Kind { Column, Everything, Expression };
    Kind Kind = Kind::Expression;
    std::string Qualifier;  // what stands before the last "."; empty for none
    std::string Column;     // of a column that keeps its name
};

// A query taken apart.
struct SelectQuery {
    std::string Head;  // "Select ", then DISTINCT, TOP and their like
    std::string Rest;  // as written, from the first item of the select list on
    std::vector<SelectItem> Items;
    // The table behind the query, as written and without schema and quotes. Empty when the rows
    // are not those of a table named after FROM.
    std::string Table;
    std::string TableName;
    std::string Qualifier;  // the table's alias or else its bare name, as written
    bool Joined = false;    // more tables follow
    // Each row stands for itself: nothing is grouped or made distinct, so that another column in
    // the select list changes nothing else.
    bool RowByRow = true;
};

// Takes the text of one SELECT apart. What is anything else, or more than that, may not be
// executed: then nothing, and the reason in `errorText`.
std::optional<SelectQuery> ParseSelect(std::string_view sql, std::string& errorText);

// The query sorted by a column, in place of the order that it may end in.
std::string OrderedBy(std::string_view sql, std::string_view column);

}  // namespace morvane
