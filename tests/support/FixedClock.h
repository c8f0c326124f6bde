#pragma once

#include "core/Clock.h"

namespace morvane::testing {

// Tuesday, 5 March 2024, 14:07:09, until it is set to something else.
class FixedClock : public Clock {
  public:
    LocalMoment Moment{std::chrono::year(2024) / 3 / 5,
                       std::chrono::hours(14) + std::chrono::minutes(7) + std::chrono::seconds(9)};

    LocalMoment Now() const override { return Moment; }
};

}  // namespace morvane::testing
