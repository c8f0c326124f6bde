#pragma once

#include <string>
#include <vector>

#include "Contents.h"

namespace morvane::testing {

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
