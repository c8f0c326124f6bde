// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace morvane {

// A moment as a clock on the wall shows it.
struct LocalMoment {
    std::chrono::year_month_day Date{};
    std::chrono::seconds TimeOfDay{};  // since midnight
};

// Where the program takes the time from; a test gives it one of its own.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual LocalMoment Now() const = 0;
};

class SystemClock : public Clock {
  public:
    LocalMoment Now() const override;
};

}  // namespace morvane
