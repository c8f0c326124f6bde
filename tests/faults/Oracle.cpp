#include "Oracle.h"

#include <algorithm>

#include "core/Text.h"

namespace morvane::testing {

namespace {

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

std::map<std::string, std::vector<Row>> VersionsByElement(const TableContents& table,
                                                          const std::vector<std::string>& key) {
    std::map<std::string, std::vector<Row>> elements;
    for (const Row& row : table.Rows) {
        std::string element;
        for (const std::string& column : key) {
            element += " " + ToLower(row[table.Position(column)]);
        }
        elements[element].push_back(row);
    }
    const std::size_t start = table.Position("start_date");
    for (auto& [element, versions] : elements) {
        std::sort(versions.begin(), versions.end(),
                  [&](const Row& a, const Row& b) { return a[start] < b[start]; });
    }
    return elements;
}

// What is wrong with the versions of one element whose whole history was `all`.
std::vector<std::string> FaultsOfHistory(const TableContents& table, const std::vector<Row>& all,
                                         const std::vector<Row>& versions) {
    const std::size_t start = table.Position("start_date");
    const std::size_t end = table.Position("end_date");
    const std::size_t current = table.Position("is_current");
    std::vector<std::string> faults;
    if (versions.front()[start] != all.front()[start]) {
        faults.emplace_back("begins at another time");
    }
    if (versions.back()[end] != all.back()[end]) {
        faults.emplace_back("ends at another time");
    }
    for (std::size_t i = 1; i < versions.size(); ++i) {
        if (versions[i - 1][end] != versions[i][start]) {
            faults.emplace_back("has versions that do not adjoin");
        }
    }
    const auto currents = std::count_if(versions.begin(), versions.end(),
                                        [&](const Row& row) { return row[current] == "1"; });
    if (currents != 1) {
        faults.push_back("has " + std::to_string(currents) + " current versions");
    }
    return faults;
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

Oracle::Oracle(Contents before, Contents undisturbed)
    : before_(std::move(before)), undisturbed_(std::move(undisturbed)) {
    ReadModel();
}

void Oracle::ReadModel() {
    const TableContents& tables = before_.Warehouse.at("dwm_tables");
    for (const Row& table : tables.Rows) {
        const std::string& name = table[tables.Position("table_name")];
        if (EqualsIgnoreCase(table[tables.Position("table_type")], "FACT")) {
            facts_.push_back(name);
        }
    }
    const TableContents& relations = before_.Warehouse.at("dwm_star_relations");
    std::set<std::string> seen;
    for (const Row& relation : relations.Rows) {
        Dimension dimension;
        dimension.Name = relation[relations.Position("primary_table")];
        dimension.Key = SplitColumnList(relation[relations.Position("primary_columns")]);
        if (relation[relations.Position("slow_moving_dim")] == "1") {
            dimension.ElementKey =
                SplitColumnList(relation[relations.Position("original_primary_key")]);
        }
        if (seen.insert(dimension.Name).second) {
            dimensions_.push_back(dimension);
        }
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
    for (const Dimension& dimension : dimensions_) {
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

void Oracle::CheckDimension(const Dimension& dimension, const Contents& now,
                            Findings& findings) const {
    const TableContents& before = before_.Warehouse.at(dimension.Name);
    const TableContents& after = undisturbed_.Warehouse.at(dimension.Name);
    const TableContents& table = now.Warehouse.at(dimension.Name);
    const Counts keys = table.Count(dimension.Key);
    for (const auto& [key, count] : after.Count(dimension.Key)) {
        if (CountOf(keys, key) == 0) {
            findings.push_back("An unmarked element of " + dimension.Name + " is gone: " + key);
        }
    }
    // The marks alone may be at any stage: the next run sets them all anew.
    const std::vector<std::string> columns = table.ColumnsWithout({"is_deletable"});
    const Counts rows = table.Count(columns);
    if (rows != before.Count(columns) && rows != after.Count(columns)) {
        findings.push_back("The table " + dimension.Name + " is half changed");
    }
    if (!dimension.ElementKey.empty()) {
        const std::set<std::string> allowed = HistoryFaults(dimension, undisturbed_);
        for (const std::string& fault : HistoryFaults(dimension, now)) {
            if (allowed.count(fault) == 0) {
                findings.push_back(fault);
            }
        }
    }
}

std::set<std::string> Oracle::HistoryFaults(const Dimension& dimension, const Contents& of) const {
    const TableContents& table = of.Warehouse.at(dimension.Name);
    const auto all = VersionsByElement(before_.Warehouse.at(dimension.Name), dimension.ElementKey);
    std::set<std::string> faults;
    for (const auto& [element, versions] : VersionsByElement(table, dimension.ElementKey)) {
        const auto whole = all.find(element);
        if (whole == all.end()) {
            faults.insert("The history of " + dimension.Name + element + " came from nowhere");
            continue;
        }
        for (const std::string& fault : FaultsOfHistory(table, whole->second, versions)) {
            faults.insert("The history of " + dimension.Name + element + " " + fault);
        }
    }
    return faults;
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
    return std::all_of(dimensions_.begin(), dimensions_.end(), [&](const Dimension& dimension) {
        return now.Warehouse.at(dimension.Name).Rows.size() ==
               before_.Warehouse.at(dimension.Name).Rows.size();
    });
}

}  // namespace morvane::testing
