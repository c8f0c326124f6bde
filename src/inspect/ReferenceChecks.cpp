// SPDX-License-Identifier: Apache-2.0
#include "inspect/ReferenceChecks.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "base/Text.h"
#include "inspect/TemporaryTable.h"
#include "tasks/RelationWalk.h"

namespace morvane {

namespace {

// The names of the key columns in a temporary table.
std::vector<std::string> KeyNames(std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back("k" + std::to_string(i));
    }
    return names;
}

std::vector<std::string> Qualified(const std::string& table,
                                   const std::vector<std::string>& columns) {
    std::vector<std::string> names;
    names.reserve(columns.size());
    for (const std::string& column : columns) {
        names.push_back(table + "." + column);
    }
    return names;
}

std::string NoneIsNull(const std::vector<std::string>& columns) {
    return Join(columns, " IS NOT NULL AND ") + " IS NOT NULL";
}

// The condition that the columns of two lists are equal, pair by pair.
std::string AreEqual(const std::vector<std::string>& columns,
                     const std::vector<std::string>& others) {
    std::string condition;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        condition += (i > 0 ? " AND " : "") + columns[i] + " = " + others[i];
    }
    return condition;
}

// The condition that a row of `table` has a row in `other` with equal values.
std::string HasPartner(const std::string& table, const std::vector<std::string>& columns,
                       const std::string& other, const std::vector<std::string>& otherColumns) {
    if (columns.size() == 1) {
        return table + "." + columns[0] + " IN (SELECT " + otherColumns[0] + " FROM " + other +
               " WHERE " + otherColumns[0] + " IS NOT NULL)";
    }
    return "EXISTS (SELECT 1 FROM " + other + " WHERE " +
           AreEqual(Qualified(table, columns), Qualified(other, otherColumns)) + ")";
}

// Selects the distinct foreign keys of a relation into a TemporaryTable, as k0, k1, ...
std::string SelectForeignKeys(const KeyRelation& relation, const std::string& condition = {}) {
    const std::vector<std::string> names = KeyNames(relation.ForeignColumns.size());
    std::vector<std::string> columns = Qualified(relation.ForeignTable, relation.ForeignColumns);
    for (std::size_t i = 0; i < columns.size(); ++i) {
        columns[i] += " AS " + names[i];
    }
    return "SELECT DISTINCT " + Join(columns, ",") + " INTO * FROM " + relation.ForeignTable +
           condition;
}

void FindOrphansOf(FindingCollector& found, const KeyRelation& relation) {
    Connection& warehouse = found.Warehouse();
    const std::string& foreign = relation.ForeignTable;
    const std::string& primary = relation.PrimaryTable;
    const std::vector<std::string> names = KeyNames(relation.ForeignColumns.size());
    const std::vector<std::string> usedKey = Qualified("used", names);
    const std::vector<std::string> primaryKey = Qualified(primary, relation.PrimaryColumns);
    const TemporaryTable used(warehouse, SelectForeignKeys(relation));
    // The primary column is the left operand: its collation decides in every engine.
    const TemporaryTable orphans(
        warehouse, "SELECT " + Join(usedKey, ",") + " INTO * FROM " + used.Name() +
                       " AS used LEFT JOIN " + primary + " ON " + AreEqual(primaryKey, usedKey) +
                       " WHERE " + primaryKey[0] + " IS NULL AND " + NoneIsNull(usedKey));
    const std::int64_t keys = QueryNumber(warehouse, "SELECT COUNT(*) FROM " + orphans.Name());
    if (keys == 0) {
        return;
    }
    const std::int64_t rows = QueryNumber(
        warehouse, "SELECT COUNT(*) FROM " + foreign + " WHERE " +
                       HasPartner(foreign, relation.ForeignColumns, orphans.Name(), names));
    found.Add({"orphans", foreign,
               fmt::format("rows refer to {} keys that {} does not have", keys, primary), rows},
              "SELECT * FROM " + orphans.Name(), relation.ForeignColumns);
}

void FindMarkedInUseBy(FindingCollector& found, const StarSchema& star,
                       const KeyRelation& relation) {
    const std::string& foreign = relation.ForeignTable;
    const std::string& primary = relation.PrimaryTable;
    const std::string stays = star.IsFactTable(foreign) ? "" : " WHERE is_deletable = 0";
    const TemporaryTable used(found.Warehouse(), SelectForeignKeys(relation, stays));
    found.AddIfAny({"marked_in_use", primary,
                    "elements are marked, but rows of " + foreign + " refer to them"},
                   "SELECT " + Join(relation.PrimaryColumns, ",") + " FROM " + primary +
                       " WHERE is_deletable = 1 AND " +
                       HasPartner(primary, relation.PrimaryColumns, used.Name(),
                                  KeyNames(relation.ForeignColumns.size())),
                   relation.PrimaryColumns);
}

}  // namespace

void FindOrphans(FindingCollector& found, const StarSchema& star) {
    for (const KeyRelation& relation : star.Relations) {
        found.Report(relation.ForeignTable + " -> " + relation.PrimaryTable);
        FindOrphansOf(found, relation);
    }
}

void FindDuplicateKeys(FindingCollector& found, const StarSchema& star) {
    std::set<std::string> seen;
    for (const KeyRelation& relation : star.Relations) {
        const std::string& table = relation.PrimaryTable;
        const std::string columns = Join(relation.PrimaryColumns, ",");
        if (!seen.insert(ToLower(table + " " + columns)).second) {
            continue;
        }
        found.Report(table);
        found.AddIfAny({"doubles", table, "keys (" + columns + ") that several rows have"},
                       "SELECT " + columns + " FROM " + table + " WHERE " +
                           NoneIsNull(relation.PrimaryColumns) + " GROUP BY " + columns +
                           " HAVING COUNT(*) > 1",
                       relation.PrimaryColumns);
    }
}

void FindMarkedInUse(FindingCollector& found, const StarSchema& star, MarkedIn dimensions) {
    const std::vector<std::string> selected = SelectedDimensions(found.Warehouse());
    std::map<std::string, std::int64_t> marked;  // by table
    for (const KeyRelation& relation : star.Relations) {
        const std::string& table = relation.PrimaryTable;
        const bool isSelected = std::ranges::any_of(
            selected, [&](const std::string& name) { return EqualsIgnoreCase(Trim(name), table); });
        const bool isAsked = isSelected || dimensions == MarkedIn::AllDimensions;
        if (!isAsked || star.IsFactTable(table)) {
            continue;
        }
        const auto [count, isNew] = marked.emplace(table, 0);
        if (isNew) {
            count->second = QueryNumber(
                found.Warehouse(), "SELECT COUNT(*) FROM " + table + " WHERE is_deletable = 1");
        }
        if (count->second > 0) {
            found.Report(table + " <- " + relation.ForeignTable);
            FindMarkedInUseBy(found, star, relation);
        }
    }
}

}  // namespace morvane
