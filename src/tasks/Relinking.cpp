// SPDX-License-Identifier: Apache-2.0
#include "tasks/Relinking.h"

namespace morvane {

Relink RelinkOf(const Version& version, bool startDateFirst) {
    const bool current = version.IsCurrent().Flag();
    return startDateFirst ? Relink{current, version.StartDate(), version.EndDate()}
                          : Relink{current, version.EndDate(), version.StartDate()};
}

VersionsByDay::VersionsByDay(std::vector<Version>& element) : element_(element) {
    for (std::size_t i = 0; i < element.size(); ++i) {
        Add(starting_, element[i].StartDate(), i);
        Add(ending_, element[i].EndDate(), i);
    }
}

void VersionsByDay::Add(ByDay& versions, const Value& date, std::size_t i) {
    if (const std::string day = DayOf(date); !day.empty()) {
        versions[day].push_back(i);
    }
}

void VersionsByDay::Change(Version& version, const Relink& change) {
    if (change.Current) {
        version.EndDate() = change.Date;
        version.IsCurrent().SetInteger(1);
    } else {
        version.StartDate() = change.Date;
    }
}

}  // namespace morvane
