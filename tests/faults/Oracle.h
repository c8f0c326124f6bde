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

// Compares what a disturbed run left with the contents before it and after an undisturbed run.
// Every finding is a sentence.
class Oracle {
  public:
    using Findings = std::vector<std::string>;

    Oracle(Contents before, Contents undisturbed);

    // Whatever the disturbance, these are damage: a fact row that is lost or was never there, a
    // dimension that is neither as before nor as after the undisturbed run (apart from its marks),
    // a changed meta table, an archive table with another definition.
    Findings FindDamage(const Contents& now) const;

    // Compares the contents after a completed run that started with `disturbed` to those after the
    // undisturbed run. A fact row that was already in both places is expected twice in the archive.
    Findings FindDifferences(const Contents& disturbed, const Contents& now) const;

    // Whether every dimension still has all its rows.
    bool NothingIsDeleted(const Contents& now) const;

  private:
    void CheckFact(const std::string& fact, const Contents& now, Findings& findings) const;

    Contents before_;
    Contents undisturbed_;
    std::set<std::string> facts_;
};

}  // namespace morvane::testing
