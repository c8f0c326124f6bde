// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Clock.h"

namespace morvane::testing {

// Tuesday, 5 March 2024, 14:07:09, unless changed. Every call of Now() adds `Step`.
class FixedClock : public Clock {
  public:
    LocalMoment Moment{std::chrono::year(2024) / 3 / 5,
                       std::chrono::hours(14) + std::chrono::minutes(7) + std::chrono::seconds(9)};

    std::chrono::seconds Step{0};

    LocalMoment Now() const override {
        const auto now = std::chrono::sys_days(Moment.Date) + Moment.TimeOfDay + looks_++ * Step;
        const auto day = std::chrono::floor<std::chrono::days>(now);
        return {day, now - day};
    }

  private:
    mutable int looks_ = 0;
};

}  // namespace morvane::testing
