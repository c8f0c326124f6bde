// SPDX-License-Identifier: Apache-2.0
#include "Oracle.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "base/Text.h"
#include "support/SqliteFile.h"

namespace morvane::testing {

namespace {

DatabaseContents ReadDatabase(const std::string& path) {
    const SqliteFile file(path);
    if (const std::string check = file.Text("PRAGMA integrity_check"); check != "ok") {
        throw std::runtime_error(path + " is damaged: " + check);
    }
    DatabaseContents tables;
    for (const std::string& name :
         file.Rows("SELECT name FROM sqlite_schema WHERE type = 'table'")) {
        TableContents& table = tables[name];
        table.Definition = file.Text("SELECT sql FROM sqlite_schema WHERE name = '" + name + "'");
        table.Columns = file.Rows("SELECT name FROM pragma_table_info('" + name + "')");
        for (const std::string& row : file.Rows("SELECT * FROM " + name)) {
            table.Rows.push_back(Split(row, '|'));
        }
    }
    return tables;
}

using Counts = std::map<std::string, int>;

int CountOf(const Counts& counts, const std::string& row) {
    const auto found = counts.find(row);
    return found == counts.end() ? 0 : found->second;
}

// The rows of one archiving; those of all when the date is empty.
Counts CountArchived(const TableContents& table, const std::string& date = {}) {
    TableContents part = table;
    const std::size_t position = table.Position("date_of_archiving");
    std::erase_if(part.Rows,
                  [&](const Row& row) { return !date.empty() && row[position] != date; });
    return part.Count(part.ColumnsWithout({"date_of_archiving"}));
}

// None when there is no such table yet.
Counts CountArchived(const Contents& of, const std::string& fact) {
    const auto table = of.Archive.find(fact);
    return table == of.Archive.end() ? Counts() : CountArchived(table->second);
}

std::set<std::string> ArchivingDates(const TableContents& table) {
    std::set<std::string> dates;
    for (const Row& row : table.Rows) {
        dates.insert(row[table.Position("date_of_archiving")]);
    }
    return dates;
}

void CompareTables(const std::string& name, const Counts& expected, const Counts& found,
                   std::vector<std::string>& findings) {
    Counts difference = found;
    for (const auto& [row, count] : expected) {
        difference[row] -= count;
    }
    for (const auto& [row, count] : difference) {
        if (count != 0) {
            findings.push_back(name + " has " + std::to_string(std::abs(count)) +
                               (count > 0 ? " too many of " : " too few of ") + row);
        }
    }
}

}  // namespace

std::size_t TableContents::Position(const std::string& column) const {
    const auto found = std::find_if(Columns.begin(), Columns.end(), [&](const std::string& held) {
        return EqualsIgnoreCase(held, Trim(column));
    });
    if (found == Columns.end()) {
        throw std::out_of_range("no column " + column);
    }
    return static_cast<std::size_t>(found - Columns.begin());
}

std::map<std::string, int> TableContents::Count(const std::vector<std::string>& columns) const {
    std::vector<std::size_t> positions;
    for (const std::string& column : columns) {
        positions.push_back(Position(column));
    }
    std::map<std::string, int> counts;
    for (const Row& row : Rows) {
        Row part;
        for (const std::size_t position : positions) {
            part.push_back(row[position]);
        }
        ++counts[Join(part, "|")];
    }
    return counts;
}

std::vector<std::string> TableContents::ColumnsWithout(
    const std::vector<std::string>& columns) const {
    std::vector<std::string> rest;
    for (const std::string& column : Columns) {
        if (std::find(columns.begin(), columns.end(), column) == columns.end()) {
            rest.push_back(column);
        }
    }
    return rest;
}

Contents ReadContents(const Site& site) {
    return {ReadDatabase(site.Warehouse()), ReadDatabase(site.Archive())};
}

Oracle::Oracle(Contents before, Contents undisturbed)
    : before_(std::move(before)), undisturbed_(std::move(undisturbed)) {
    const TableContents& tables = before_.Warehouse.at("dwm_tables");
    for (const Row& table : tables.Rows) {
        const bool isFact = EqualsIgnoreCase(table[tables.Position("table_type")], "FACT");
        (isFact ? facts_ : dimensions_).push_back(table[tables.Position("table_name")]);
    }
}

Oracle::Findings Oracle::FindDamage(const Contents& now) const {
    Findings findings;
    for (const auto& [name, table] : before_.Warehouse) {
        // The lock's table is dropped when a lock is broken.
        if (now.Warehouse.count(name) == 0 && name != "dwm_multiuse") {
            return {"The table " + name + " is gone"};
        }
    }
    for (const std::string meta : {"dwm_tables", "dwm_star_relations"}) {
        CompareTables(meta, before_.Warehouse.at(meta).Count(), now.Warehouse.at(meta).Count(),
                      findings);
    }
    CheckArchiveTables(now, findings);
    CheckFacts(now, findings);
    for (const std::string& dimension : dimensions_) {
        CheckDimension(dimension, now, findings);
    }
    return findings;
}

void Oracle::CheckArchiveTables(const Contents& now, Findings& findings) const {
    for (const auto& [name, table] : now.Archive) {
        const auto whole = undisturbed_.Archive.find(name);
        if (whole == undisturbed_.Archive.end() || whole->second.Definition != table.Definition) {
            findings.push_back("The archive has the table " + name + " as " + table.Definition);
        }
    }
}

void Oracle::CheckFacts(const Contents& now, Findings& findings) const {
    for (const std::string& fact : facts_) {
        const Counts before = before_.Warehouse.at(fact).Count();
        const Counts archivedUndisturbed = CountArchived(undisturbed_, fact);
        const Counts kept = now.Warehouse.at(fact).Count();
        std::vector<Counts> places{kept};
        if (const auto archived = now.Archive.find(fact); archived != now.Archive.end()) {
            for (const std::string& date : ArchivingDates(archived->second)) {
                places.push_back(CountArchived(archived->second, date));
            }
        }
        for (const auto& [row, count] : before) {
            int most = 0;
            for (const Counts& place : places) {
                most = std::max(most, CountOf(place, row));
            }
            if (most < count) {
                findings.push_back("A row of " + fact + " is lost: " + row);
            }
        }
        for (std::size_t i = 0; i < places.size(); ++i) {
            for (const auto& [row, count] : places[i]) {
                if (count > CountOf(before, row)) {
                    findings.push_back("A row of " + fact + " came from nowhere: " + row);
                } else if (i > 0 && CountOf(archivedUndisturbed, row) != count) {
                    findings.push_back("A row of " + fact + " is archived otherwise: " + row);
                }
            }
        }
    }
}

// The marks alone may be at any stage: the next run sets them all again.
void Oracle::CheckDimension(const std::string& name, const Contents& now,
                            Findings& findings) const {
    const TableContents& table = now.Warehouse.at(name);
    const std::vector<std::string> columns = table.ColumnsWithout({"is_deletable"});
    const Counts rows = table.Count(columns);
    if (rows != before_.Warehouse.at(name).Count(columns) &&
        rows != undisturbed_.Warehouse.at(name).Count(columns)) {
        findings.push_back("The table " + name + " is half changed");
    }
}

Oracle::Findings Oracle::FindDifferences(const Contents& disturbed, const Contents& now) const {
    Findings findings;
    for (const auto& [name, table] : undisturbed_.Warehouse) {
        const auto found = now.Warehouse.find(name);
        CompareTables(name, table.Count(),
                      found == now.Warehouse.end() ? Counts() : found->second.Count(), findings);
    }
    for (const auto& [name, table] : undisturbed_.Archive) {
        const Counts leftBehind = disturbed.Warehouse.at(name).Count();
        const Counts archivedBefore = CountArchived(disturbed, name);
        Counts expected = CountArchived(table);
        for (auto& [row, count] : expected) {
            if (CountOf(leftBehind, row) > 0) {
                count += CountOf(archivedBefore, row);
            }
        }
        CompareTables("archived " + name, expected, CountArchived(now, name), findings);
    }
    return findings;
}

bool Oracle::NothingIsDeleted(const Contents& now) const {
    return std::all_of(dimensions_.begin(), dimensions_.end(), [&](const std::string& name) {
        return now.Warehouse.at(name).Rows.size() == before_.Warehouse.at(name).Rows.size();
    });
}

}  // namespace morvane::testing
