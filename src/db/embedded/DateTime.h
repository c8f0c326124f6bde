#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace morvane::embedded {

// A date and time of day to the millisecond, as the server's datetime.
using DateTime = std::chrono::sys_time<std::chrono::milliseconds>;

// Reads "2024-03-05", "20240305" and "3/5/2024", each alone or with a time of day ("14:07",
// "14:07:09", "14:07:09.123"; a T may stand before it). No value for anything else.
std::optional<DateTime> ParseDateTime(std::string_view text);

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
