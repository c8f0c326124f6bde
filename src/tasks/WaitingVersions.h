// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "tasks/MarkedVersions.h"

namespace morvane {

// The versions of one element that wait for their turn, by the days on which they start and end.
class WaitingVersions {
  public:
    explicit WaitingVersions(std::vector<Version>& element) : element_(element) {
        for (std::size_t i = 1; i < element.size(); ++i) {
            Add(starting_, element[i].StartDate(), i);
            Add(ending_, element[i].EndDate(), i);
        }
    }

    // The version `i` has had its turn, and all before it.
    void Pass(std::size_t i) { passed_ = i; }

    // Calls change(version) for those that start, or end, on the day of `date`.
    template <typename Change>
    void StartingOn(const Value& date, const Change& change) {
        Visit(starting_, &Version::StartDate, date, change);
    }
    template <typename Change>
    void EndingOn(const Value& date, const Change& change) {
        Visit(ending_, &Version::EndDate, date, change);
    }

  private:
    using ByDay = std::unordered_map<std::string, std::vector<std::size_t>>;

    static void Add(ByDay& versions, const Value& date, std::size_t i) {
        // NULL is on no day.
        if (const std::string day = DayOf(date); !day.empty()) {
            versions[day].push_back(i);
        }
    }

    template <typename Change>
    void Visit(ByDay& versions, Value& (Version::*date)(), const Value& wanted,
               const Change& change) {
        const auto found = versions.find(DayOf(wanted));
        if (found == versions.end()) {
            return;
        }
        const std::vector<std::size_t> onDay = std::move(found->second);
        versions.erase(found);
        for (const std::size_t i : onDay) {
            if (i > passed_) {
                change(element_[i]);
                Add(versions, (element_[i].*date)(), i);
            }
        }
    }

    std::vector<Version>& element_;
    ByDay starting_;
    ByDay ending_;
    std::size_t passed_ = 0;
};

}  // namespace morvane
