// SPDX-License-Identifier: Apache-2.0
#include "inspect/KeyTypes.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "base/Text.h"

namespace morvane {

namespace {

// The type in one spelling, with precision and scale of a decimal.
std::string TypeOf(const ColumnDefinition& column) {
    std::string name = ToLower(column.TypeName);
    if (name == "integer") {
        name = "int";
    } else if (name == "numeric") {
        name = "decimal";
    }
    return name == "decimal" ? fmt::format("{}({},{})", name, column.Precision, column.Scale)
                             : name;
}

const ColumnDefinition* FindColumn(const TableDefinition& table, std::string_view name) {
    const auto found = std::ranges::find_if(table.Columns, [&](const ColumnDefinition& column) {
        return EqualsIgnoreCase(column.Name, name);
    });
    return found == table.Columns.end() ? nullptr : &*found;
}

// Describes each table once.
class Descriptions {
  public:
    explicit Descriptions(FindingCollector& found) : found_(found) {}

    // Has no columns if the table cannot be described.
    const TableDefinition& Of(const std::string& table) {
        const auto known = byName_.find(ToLower(table));
        if (known != byName_.end()) {
            return known->second;
        }
        TableDefinition& definition = byName_[ToLower(table)];
        found_.CheckIfPossible("the columns of " + table,
                               [&] { definition = found_.Warehouse().DescribeTable(table); });
        return definition;
    }

  private:
    FindingCollector& found_;
    std::map<std::string, TableDefinition> byName_;
};

}  // namespace

void CompareKeyTypes(FindingCollector& found, const StarSchema& star) {
    Descriptions descriptions(found);
    for (const KeyRelation& relation : star.Relations) {
        const TableDefinition& foreign = descriptions.Of(relation.ForeignTable);
        const TableDefinition& primary = descriptions.Of(relation.PrimaryTable);
        for (std::size_t i = 0; i < relation.ForeignColumns.size(); ++i) {
            const ColumnDefinition* a = FindColumn(foreign, relation.ForeignColumns[i]);
            const ColumnDefinition* b = FindColumn(primary, relation.PrimaryColumns[i]);
            if (a != nullptr && b != nullptr && TypeOf(*a) != TypeOf(*b)) {
                found.Add({"types", relation.ForeignTable,
                           fmt::format("{} is {}, but {}.{}, which it refers to, is {}", a->Name,
                                       TypeOf(*a), relation.PrimaryTable, b->Name, TypeOf(*b)),
                           1});
            }
        }
    }
}

}  // namespace morvane
