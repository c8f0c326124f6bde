// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace morvane::embedded {

// A date and time of day to the millisecond, as the server's datetime.
using DateTime = std::chrono::sys_time<std::chrono::milliseconds>;

// Whether a month or a day comes first where a text shows only two numbers.
enum class DateOrder { MonthFirst, DayFirst };

// How the two forms are read whose order the server takes from the session or the column's type.
struct DateReading {
    DateOrder Slashed = DateOrder::MonthFirst;  // "3/5/2024"
    DateOrder Dashed = DateOrder::MonthFirst;   // "2024-03-05"
};

// Reads "2024-03-05", "20240305" and "3/5/2024", each alone or with a time of day ("14:07",
// "14:07:09", "14:07:09.123"; a T may stand before it). No value for anything else. In
// "2024-03-05T14:07:09" the month is first whatever `reading` says.
std::optional<DateTime> ParseDateTime(std::string_view text, DateReading reading = {});

// True for a text of one of these forms, even with a month 13 or an hour 25.
bool HasDateForm(std::string_view text);

// True for a text that begins like "20240305", with or without a time of day, or like
// "2024-03-05T14:07:09": forms that mean the same in every session.
bool BeginsReadAlike(std::string_view text);

// "2024-03-05 14:07:09", and ".123" when there is a fraction: the form in which the embedded
// warehouse keeps dates, so that their order as texts is their order in time.
std::string FormatDateTime(DateTime moment);

// The parts of a date that datediff, dateadd and datepart know.
enum class DatePart {
    Year,
    Quarter,
    Month,
    DayOfYear,
    Day,
    Week,
    WeekDay,
    Hour,
    Minute,
    Second,
    Millisecond,
};

// By the server's names and abbreviations ("day", "dd", "d"), letter case ignored.
std::optional<DatePart> ParseDatePart(std::string_view name);

// How many boundaries of the part lie between the two: from 23:59 to 00:01 is one day.
std::int64_t DateDiff(DatePart part, DateTime from, DateTime to);

// A month too short for the day gives its last day. No value outside the years 1 to 9999.
std::optional<DateTime> DateAdd(DatePart part, std::int64_t count, DateTime moment);

std::int64_t DatePartOf(DatePart part, DateTime moment);

}  // namespace morvane::embedded
