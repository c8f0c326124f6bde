// SPDX-License-Identifier: Apache-2.0
#include "Oracle.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/Text.h"

namespace morvane::testing {

namespace {

const std::set<std::string> kFacts{"sales", "shipments", "stock"};

std::vector<std::string> WholeTables(const SqliteFile& file) {
    EXPECT_EQ(file.Text("PRAGMA integrity_check"), "ok") << file.Path();
    return file.Rows(
        "SELECT name FROM sqlite_schema WHERE type = 'table' AND name <> 'dwm_multiuse'");
}

// The rows of a dimension without their last column, the mark; those of other tables.
Rows Unmarked(const std::string& table, const Rows& rows) {
    if (kFacts.contains(table) || table.starts_with("dwm_")) {
        return rows;
    }
    Rows unmarked;
    for (const std::string& row : rows) {
        unmarked.insert(row.substr(0, row.rfind('|')));
    }
    return unmarked;
}

}  // namespace

Rows Contents::Archived(const std::string& fact) const {
    Rows all;
    if (const auto table = Archive.find(fact); table != Archive.end()) {
        for (const auto& [date, rows] : table->second) {
            all.insert(rows.begin(), rows.end());
        }
    }
    return all;
}

Contents ReadContents(const Site& site) {
    Contents contents;
    const SqliteFile& warehouse = site.Warehouse;
    for (const std::string& table : WholeTables(warehouse)) {
        const std::vector<std::string> rows = warehouse.Rows("SELECT * FROM " + table);
        contents.Warehouse[table] = {rows.begin(), rows.end()};
    }
    const SqliteFile& archive = site.Archive;
    for (const std::string& table : WholeTables(archive)) {
        contents.ArchiveDefinitions.insert(
            archive.Text("SELECT sql FROM sqlite_schema WHERE name = '" + table + "'"));
        for (const std::string& row : archive.Rows("SELECT * FROM " + table)) {
            const std::size_t date = row.rfind('|');
            contents.Archive[table][row.substr(date)].insert(row.substr(0, date));
        }
    }
    return contents;
}

Oracle::Findings Oracle::FindDamage(const Contents& now) const {
    Findings findings;
    for (const auto& [name, rows] : before_.Warehouse) {
        if (!now.Warehouse.contains(name)) {
            return {"The table " + name + " is gone"};
        }
        const Rows found = Unmarked(name, now.Warehouse.at(name));
        if (kFacts.contains(name)) {
            CheckFact(name, now, findings);
        } else if (found != Unmarked(name, rows) &&
                   found != Unmarked(name, undisturbed_.Warehouse.at(name))) {
            findings.push_back("The table " + name + " is half changed");
        }
    }
    for (const std::string& definition : now.ArchiveDefinitions) {
        if (!undisturbed_.ArchiveDefinitions.contains(definition)) {
            findings.push_back("The archive has a table " + definition);
        }
    }
    return findings;
}

void Oracle::CheckFact(const std::string& fact, const Contents& now, Findings& findings) const {
    const Rows& before = before_.Warehouse.at(fact);
    const Rows archivedUndisturbed = undisturbed_.Archived(fact);
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
        const Rows& allowed = i == 0 ? before : archivedUndisturbed;
        if (!std::includes(allowed.begin(), allowed.end(), places[i].begin(), places[i].end())) {
            findings.push_back("A row of " + fact + " came from nowhere");
        }
    }
}

Oracle::Findings Oracle::FindDifferences(const Contents& disturbed, const Contents& now) const {
    Findings findings;
    const auto compare = [&](const std::string& name, const Rows& expected, const Rows& found) {
        if (found != expected) {
            findings.push_back(name + " holds " + Join({found.begin(), found.end()}, " ") +
                               " instead of " + Join({expected.begin(), expected.end()}, " "));
        }
    };
    for (const auto& [name, rows] : undisturbed_.Warehouse) {
        compare(name, rows, now.Warehouse.at(name));
    }
    for (const std::string& fact : kFacts) {
        Rows expected = undisturbed_.Archived(fact);
        for (const std::string& row : disturbed.Archived(fact)) {
            if (disturbed.Warehouse.at(fact).contains(row)) {
                expected.insert(row);
            }
        }
        compare("archived " + fact, expected, now.Archived(fact));
    }
    return findings;
}

bool Oracle::NothingIsDeleted(const Contents& now) const {
    return std::all_of(before_.Warehouse.begin(), before_.Warehouse.end(), [&](const auto& table) {
        return kFacts.contains(table.first) ||
               now.Warehouse.at(table.first).size() == table.second.size();
    });
}

}  // namespace morvane::testing
