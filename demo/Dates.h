// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
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

// The range of the calendar table, the range of the facts, and the end date of current versions.
inline constexpr Day kFirstCalendarDay = DayOf(2015, 1, 1);
inline constexpr Day kLastCalendarDay = DayOf(2026, 12, 31);
inline constexpr Day kFirstFactDay = DayOf(2016, 1, 1);
inline constexpr Day kLastFactDay = DayOf(2025, 12, 31);
inline constexpr int kFactYears = 10;
inline constexpr int kFactQuarters = 4 * kFactYears;
inline constexpr int kFactMonths = 12 * kFactYears;
inline constexpr Day kEndOfTime = DayOf(9999, 12, 31);

inline constexpr std::int64_t kSecondsPerHour = 3600;

// The calendar table's key for a day: 20240305.
constexpr std::int64_t DateKey(Day day) {
    const auto date = DateOf(day);
    return std::int64_t{int{date.year()}} * 10000 + std::int64_t{unsigned{date.month()}} * 100 +
           std::int64_t{unsigned{date.day()}};
}

// The quarter that a day falls in, counted from kFirstFactDay.
constexpr int FactQuarter(Day day) {
    const auto date = DateOf(day);
    return (int{date.year()} - int{DateOf(kFirstFactDay).year()}) * 4 +
           (static_cast<int>(unsigned{date.month()}) - 1) / 3;
}

// "2024-03-05 14:07:09", the date format of the warehouse.
class DateTimeText {
  public:
    constexpr explicit DateTimeText(Day day, std::int64_t secondOfDay = 0) {
        const auto date = DateOf(day);
        Write(0, 4, int{date.year()});
        Write(5, 2, unsigned{date.month()});
        Write(8, 2, unsigned{date.day()});
        Write(11, 2, secondOfDay / kSecondsPerHour);
        Write(14, 2, secondOfDay / 60 % 60);
        Write(17, 2, secondOfDay % 60);
    }
    constexpr std::string_view View() const { return {text_.data(), text_.size()}; }

  private:
    constexpr void Write(std::size_t first, std::size_t digits, std::int64_t number) {
        for (std::size_t i = first + digits; i > first; --i) {
            text_[i - 1] = static_cast<char>('0' + number % 10);
            number /= 10;
        }
    }

    std::array<char, 19> text_ = {'0', '0', '0', '0', '-', '0', '0', '-', '0', '0',
                                  ' ', '0', '0', ':', '0', '0', ':', '0', '0'};
};

}  // namespace morvane::demo
