// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "tasks/Elements.h"

namespace morvane {

// What the UPDATE for a marked version does: every version of the element that starts on `Day`, or
// ends on it if the marked version is current, gets `Date` there; in the second case it also
// becomes current.
struct Relink {
    bool Current = false;
    Value Date;
    Value Day;
};

// The two UPDATEs of a table, for current versions and for all others, share a parameter list,
// which is created in the order of the first version's statement and afterwards filled by name. So
// a version that uses the other statement gets its two dates swapped. Existing histories were
// linked that way, so this must not change. `startDateFirst`: the first version of the table is not
// current.
Relink RelinkOf(const Version& version, bool startDateFirst);

// The versions of an element by their start and end days, to find those that an UPDATE changes.
class VersionsByDay {
  public:
    explicit VersionsByDay(std::vector<Version>& element);

    // Applies a change to each version that meets it, unless `affects`(index) is false.
    template <typename Affects>
    void Apply(const Relink& change, const Affects& affects) {
        ByDay& versions = change.Current ? ending_ : starting_;
        const auto found = versions.find(DayOf(change.Day));
        if (found == versions.end()) {
            return;
        }
        const std::vector<std::size_t> onDay = std::move(found->second);
        versions.erase(found);
        for (const std::size_t i : onDay) {
            if (affects(i)) {
                Change(element_[i], change);
            }
            Add(versions, change.Current ? element_[i].EndDate() : element_[i].StartDate(), i);
        }
    }

  private:
    using ByDay = std::unordered_map<std::string, std::vector<std::size_t>>;

    static void Add(ByDay& versions, const Value& date, std::size_t i);
    static void Change(Version& version, const Relink& change);

    std::vector<Version>& element_;
    ByDay starting_;
    ByDay ending_;
};

}  // namespace morvane
