// SPDX-License-Identifier: Apache-2.0
#include "Oracle.h"

#include <algorithm>
#include <stdexcept>

#include "base/Text.h"
#include "support/SqliteFile.h"

namespace morvane::testing {

namespace {

constexpr const char* kArchivingDate = "date_of_archiving";

SqliteFile OpenWhole(const std::string& path) {
    SqliteFile file(path);
    if (const std::string check = file.Text("PRAGMA integrity_check"); check != "ok") {
        throw std::runtime_error(path + " is damaged: " + check);
    }
    return file;
}

std::vector<std::string> TableNames(const SqliteFile& file) {
    return file.Rows("SELECT name FROM sqlite_schema WHERE type = 'table'");
}

// The rows of a table, without one of its columns.
Rows ReadRows(const SqliteFile& file, const std::string& table, const std::string& withoutColumn,
              const std::string& condition = "1") {
    const std::string columns = file.Text("SELECT group_concat(name) FROM pragma_table_info('" +
                                          table + "') WHERE name <> '" + withoutColumn + "'");
    const auto rows = file.Rows("SELECT " + columns + " FROM " + table + " WHERE " + condition);
    return {rows.begin(), rows.end()};
}

// The archived rows of all dates.
Rows AllArchived(const Contents& contents, const std::string& fact) {
    Rows all;
    if (const auto table = contents.Archive.find(fact); table != contents.Archive.end()) {
        for (const auto& [date, rows] : table->second) {
            all.insert(rows.begin(), rows.end());
        }
    }
    return all;
}

void Compare(const std::string& name, const Rows& expected, const Rows& found,
             Oracle::Findings& findings) {
    const auto report = [&](const char* what, const Rows& all, const Rows& others) {
        std::vector<std::string> surplus;
        std::set_difference(all.begin(), all.end(), others.begin(), others.end(),
                            std::back_inserter(surplus));
        for (const std::string& row : surplus) {
            findings.push_back(name + what + row);
        }
    };
    report(" lacks ", expected, found);
    report(" has too many of ", found, expected);
}

}  // namespace

Contents ReadContents(const Site& site) {
    Contents contents;
    const SqliteFile warehouse = OpenWhole(site.Warehouse());
    for (const std::string& table : TableNames(warehouse)) {
        contents.Warehouse[table] = ReadRows(warehouse, table, "is_deletable");
        contents.Marks[table] = ReadRows(warehouse, table, "");
    }
    const SqliteFile archive = OpenWhole(site.Archive());
    for (const std::string& table : TableNames(archive)) {
        contents.ArchiveDefinitions[table] =
            archive.Text("SELECT sql FROM sqlite_schema WHERE name = '" + table + "'");
        for (const std::string& date :
             archive.Rows("SELECT DISTINCT " + std::string(kArchivingDate) + " FROM " + table)) {
            contents.Archive[table][date] = ReadRows(
                archive, table, kArchivingDate, std::string(kArchivingDate) + " = '" + date + "'");
        }
    }
    return contents;
}

Oracle::Oracle(Contents before, Contents undisturbed)
    : before_(std::move(before)), undisturbed_(std::move(undisturbed)) {
    for (const std::string& row : before_.Warehouse.at("dwm_tables")) {
        const std::vector<std::string> columns = Split(row, '|');
        if (EqualsIgnoreCase(columns[1], "FACT")) {
            facts_.insert(columns[0]);
        }
    }
}

Oracle::Findings Oracle::FindDamage(const Contents& now) const {
    Findings findings;
    for (const auto& [name, rows] : before_.Warehouse) {
        const auto found = now.Warehouse.find(name);
        const bool isMetaTable = name.starts_with("dwm_");
        if (name == "dwm_multiuse") {
            continue;  // the table of the lock is dropped when a lock is broken
        }
        if (found == now.Warehouse.end()) {
            return {"The table " + name + " is gone"};
        }
        if (facts_.contains(name)) {
            CheckFact(name, now, findings);
        } else if (found->second != rows &&
                   (isMetaTable || found->second != undisturbed_.Warehouse.at(name))) {
            findings.push_back("The table " + name + " is half changed");
        }
    }
    for (const auto& [name, definition] : now.ArchiveDefinitions) {
        const auto whole = undisturbed_.ArchiveDefinitions.find(name);
        if (whole == undisturbed_.ArchiveDefinitions.end() || whole->second != definition) {
            findings.push_back("The archive has the table " + name + " as " + definition);
        }
    }
    return findings;
}

void Oracle::CheckFact(const std::string& fact, const Contents& now, Findings& findings) const {
    const Rows& before = before_.Warehouse.at(fact);
    const Rows archivedUndisturbed = AllArchived(undisturbed_, fact);
    std::vector<Rows> places{now.Warehouse.at(fact)};
    if (const auto archived = now.Archive.find(fact); archived != now.Archive.end()) {
        for (const auto& [date, rows] : archived->second) {
            places.push_back(rows);
        }
    }
    for (const std::string& row : before) {
        if (std::none_of(places.begin(), places.end(), [&](const Rows& place) {
                return place.count(row) >= before.count(row);
            })) {
            findings.push_back("A row of " + fact + " is lost: " + row);
        }
    }
    for (std::size_t i = 0; i < places.size(); ++i) {
        for (const std::string& row : places[i]) {
            const std::size_t count = places[i].count(row);
            if (count > before.count(row)) {
                findings.push_back("A row of " + fact + " came from nowhere: " + row);
            } else if (i > 0 && archivedUndisturbed.count(row) != count) {
                findings.push_back("A row of " + fact + " is archived differently: " + row);
            }
        }
    }
}

Oracle::Findings Oracle::FindDifferences(const Contents& disturbed, const Contents& now) const {
    Findings findings;
    for (const auto& [name, rows] : undisturbed_.Marks) {
        const auto found = now.Marks.find(name);
        Compare(name, rows, found == now.Marks.end() ? Rows() : found->second, findings);
    }
    for (const std::string& fact : facts_) {
        Rows expected = AllArchived(undisturbed_, fact);
        for (const std::string& row : AllArchived(disturbed, fact)) {
            if (disturbed.Warehouse.at(fact).contains(row)) {
                expected.insert(row);
            }
        }
        Compare("archived " + fact, expected, AllArchived(now, fact), findings);
    }
    return findings;
}

bool Oracle::NothingIsDeleted(const Contents& now) const {
    return std::all_of(before_.Warehouse.begin(), before_.Warehouse.end(), [&](const auto& table) {
        return facts_.contains(table.first) || table.first.starts_with("dwm_") ||
               now.Warehouse.at(table.first).size() == table.second.size();
    });
}

}  // namespace morvane::testing
