// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "Site.h"

namespace morvane::testing {

using Rows = std::multiset<std::string>;  // one line per row, columns joined by "|"

// The tables of a site except the lock's, read through SQLite itself.
struct Contents {
    std::map<std::string, Rows> Warehouse;
    // Archive tables by date of archiving, without that column.
    std::map<std::string, std::map<std::string, Rows>> Archive;
    std::set<std::string> ArchiveDefinitions;

    // The archived rows of all dates.
    Rows Archived(const std::string& fact) const;
};

Contents ReadContents(const Site& site);

// Compares what a disturbed run left with the contents before it and after an undisturbed run.
// Every finding is a sentence.
class Oracle {
  public:
    using Findings = std::vector<std::string>;

    Oracle(Contents before, Contents undisturbed)
        : before_(std::move(before)), undisturbed_(std::move(undisturbed)) {}

    // Damage after any fault: a lost or surplus fact row, a dimension or meta table that (marks
    // aside) is neither as before nor as after the undisturbed run, an archive table with another
    // definition.
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
};

}  // namespace morvane::testing
