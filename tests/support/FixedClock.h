// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Clock.h"

namespace morvane::testing {

// Tuesday, 5 March 2024, 14:07:09, unless changed.
class FixedClock : public Clock {
  public:
    LocalMoment Moment{std::chrono::year(2024) / 3 / 5,
                       std::chrono::hours(14) + std::chrono::minutes(7) + std::chrono::seconds(9)};

    LocalMoment Now() const override { return Moment; }
};

}  // namespace morvane::testing
