#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
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

    // The day of a date, as the server compares it; NULL is on no day.
    static std::optional<std::string> DayOf(const Value& date) {
        constexpr std::size_t kDayLength = std::string_view("yyyy-mm-dd").size();
        return date.IsText() ? std::optional(date.Text().substr(0, kDayLength)) : std::nullopt;
    }

    static void Add(ByDay& versions, const Value& date, std::size_t i) {
        if (const auto day = DayOf(date)) {
            versions[*day].push_back(i);
        }
    }

    template <typename Change>
    void Visit(ByDay& versions, Value& (Version::*date)(), const Value& wanted,
               const Change& change) {
        const auto day = DayOf(wanted);
        const auto found = day ? versions.find(*day) : versions.end();
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
