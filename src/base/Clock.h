// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace morvane {

// Local wall-clock time.
struct LocalMoment {
    std::chrono::year_month_day Date{};
    std::chrono::seconds TimeOfDay{};  // since midnight
};

// Source of the current time; tests inject a fixed one.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual LocalMoment Now() const = 0;
};

class SystemClock : public Clock {
  public:
    LocalMoment Now() const override;
};

// "Tuesday, Mar 5 2024", in the LC_TIME locale.
std::string LongDate(std::chrono::year_month_day date);

// The time of day in the LC_TIME locale's default format ("14:07:09" in the C locale).
std::string LocaleTime(std::chrono::seconds timeOfDay);

// The timestamp in the names of a run's files: "05-03-202414-07-09".
std::string FileStamp(std::chrono::year_month_day date, std::chrono::seconds timeOfDay);

// "2024-03-05 14:07:09". A server parses it by its session's date order; see NeutralDate.
std::string IsoDateTime(const LocalMoment& moment);

// Converts a date from the server ("2024-03-05", "2024-03-05 14:07:09.123" or "20240305") to
// "2024-03-05T14:07:09.123", the ISO 8601 form that SQL Server parses the same way under every
// language and date order. Returns any other text unchanged.
std::string NeutralDate(std::string_view date);

}  // namespace morvane
