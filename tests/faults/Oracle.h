// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "Site.h"

namespace morvane::testing {

using Rows = std::multiset<std::string>;  // one line per row, columns joined by "|"

// The tables of a site, read through SQLite itself.
struct Contents {
    std::map<std::string, Rows> Warehouse;  // dimensions without their marks
    std::map<std::string, Rows> Marks;      // dimensions with them
    // Archive tables by date of archiving, without that column.
    std::map<std::string, std::map<std::string, Rows>> Archive;
    std::map<std::string, std::string> ArchiveDefinitions;
};

Contents ReadContents(const Site& site);

// Knows a warehouse before a run and what an undisturbed run makes of it, and judges what a
// disturbed run has left. Every finding is a sentence; no findings mean that all is well.
class Oracle {
  public:
    using Findings = std::vector<std::string>;

    Oracle(Contents before, Contents undisturbed);

    // What must never be, wherever the run was cut short: a fact row lost or made up, a dimension
    // that is neither as before nor as after the undisturbed run (except for its marks), a changed
    // meta table, an incomplete archive table.
    Findings FindDamage(const Contents& now) const;

    // After a later run that completed and began with `disturbed`: everything is where the
    // undisturbed run leaves it. A fact row that it found in both places is archived twice.
    Findings FindDifferences(const Contents& disturbed, const Contents& now) const;

    // Whether all dimension rows are still there.
    bool NothingIsDeleted(const Contents& now) const;

  private:
    void CheckFact(const std::string& fact, const Contents& now, Findings& findings) const;

    Contents before_;
    Contents undisturbed_;
    std::set<std::string> facts_;
};

}  // namespace morvane::testing
