// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Site.h"

namespace morvane::testing {

using Row = std::vector<std::string>;

struct TableContents {
    std::string Definition;  // its CREATE statement
    std::vector<std::string> Columns;
    std::vector<Row> Rows;

    // The position of a column, letter case ignored.
    std::size_t Position(const std::string& column) const;
    // How often each row is there, of these columns alone, joined by "|".
    std::map<std::string, int> Count(const std::vector<std::string>& columns) const;
    std::map<std::string, int> Count() const { return Count(Columns); }
    std::vector<std::string> ColumnsWithout(const std::vector<std::string>& columns) const;
};

using DatabaseContents = std::map<std::string, TableContents>;  // by the table's name

// Everything in the two databases of a site, read through SQLite itself.
struct Contents {
    DatabaseContents Warehouse;
    DatabaseContents Archive;
};

Contents ReadContents(const Site& site);

// Knows a warehouse before a run and what an undisturbed run makes of it, and judges what a
// disturbed one has left. Tables and keys are what the meta tables say. Every finding is a
// sentence; none means that all is well.
class Oracle {
  public:
    using Findings = std::vector<std::string>;

    Oracle(Contents before, Contents undisturbed);

    // What may never be, wherever the run was cut short: a fact row lost or made, a dimension that
    // is neither as before nor as after the undisturbed run, its marks aside, a meta table changed,
    // half an archive table.
    Findings FindDamage(const Contents& now) const;

    // After a later run that completed, `disturbed` being what it began with: everything is where
    // the undisturbed run leaves it. A fact row that it found in both places is archived twice.
    Findings FindDifferences(const Contents& disturbed, const Contents& now) const;

    // Whether all elements are there still.
    bool NothingIsDeleted(const Contents& now) const;

  private:
    void CheckFacts(const Contents& now, Findings& findings) const;
    void CheckArchiveTables(const Contents& now, Findings& findings) const;
    void CheckDimension(const std::string& name, const Contents& now, Findings& findings) const;

    Contents before_;
    Contents undisturbed_;
    std::vector<std::string> facts_;
    std::vector<std::string> dimensions_;
};

}  // namespace morvane::testing
