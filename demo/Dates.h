// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string_view>

namespace morvane::demo {

// Days since 1 January 1970.
using Day = std::int64_t;

constexpr Day DayOf(int year, unsigned month, unsigned day) {
    return std::chrono::sys_days(std::chrono::year(year) / static_cast<int>(month) /
                                 static_cast<int>(day))
        .time_since_epoch()
        .count();
}

constexpr std::chrono::year_month_day DateOf(Day day) {
    return std::chrono::sys_days(std::chrono::days(day));
}

// The calendar table's range, the range in which facts happen, and the end of what has no end yet.
inline constexpr Day kFirstCalendarDay = DayOf(2015, 1, 1);
inline constexpr Day kLastCalendarDay = DayOf(2026, 12, 31);
inline constexpr Day kFirstFactDay = DayOf(2016, 1, 1);
inline constexpr Day kLastFactDay = DayOf(2025, 12, 31);
inline constexpr int kFactYears = 10;
inline constexpr int kFactQuarters = 4 * kFactYears;
inline constexpr int kFactMonths = 12 * kFactYears;
inline constexpr Day kEndOfTime = DayOf(9999, 12, 31);

// The key of a day in the calendar table: 20240305.
constexpr std::int64_t DateKey(Day day) {
    const auto date = DateOf(day);
    return std::int64_t{int{date.year()}} * 10000 + unsigned{date.month()} * 100U +
           unsigned{date.day()};
}

// The quarter of a day on which facts happen, from 0.
constexpr int FactQuarter(Day day) {
    const auto date = DateOf(day);
    return (int{date.year()} - int{DateOf(kFirstFactDay).year()}) * 4 +
           (static_cast<int>(unsigned{date.month()}) - 1) / 3;
}

// "2024-03-05 14:07:09", the way the warehouse keeps dates.
class DateTimeText {
  public:
    explicit DateTimeText(Day day, std::int64_t secondOfDay = 0);
    std::string_view View() const { return {text_.data(), text_.size()}; }

  private:
    std::array<char, 19> text_;
};

}  // namespace morvane::demo
