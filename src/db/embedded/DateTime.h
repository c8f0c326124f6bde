// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace morvane::embedded {

// A date and time in milliseconds, like the server's datetime.
using DateTime = std::chrono::sys_time<std::chrono::milliseconds>;

// The order of month and day in forms that do not name them.
enum class DateOrder { MonthFirst, DayFirst };

// How to read the two forms whose order depends on the session or the column type.
struct DateReading {
    DateOrder Slashed = DateOrder::MonthFirst;  // "3/5/2024"
    DateOrder Dashed = DateOrder::MonthFirst;   // "2024-03-05"
};

// Reads "2024-03-05", "20240305" and "3/5/2024", each with an optional time of day ("14:07",
// "14:07:09", "14:07:09.123", after a blank or a T). No value for anything else. In
// "2024-03-05T14:07:09" the month always comes first.
std::optional<DateTime> ParseDateTime(std::string_view text, DateReading reading = {});

// True for a text of one of these forms, even with month 13 or hour 25.
bool HasDateForm(std::string_view text);

// True for a text that begins like "20240305" or "2024-03-05T14:07:09": forms that do not depend on
// the session.
bool BeginsReadAlike(std::string_view text);

// "2024-03-05 14:07:09", with ".123" if there is a fraction: the form in which the embedded
// warehouse stores dates. They sort as texts in order of time.
std::string FormatDateTime(DateTime moment);

// The parts of a date that datediff, dateadd and datepart accept.
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

// Accepts the server's names and abbreviations ("day", "dd", "d"), ignoring case.
std::optional<DatePart> ParseDatePart(std::string_view name);

// The number of boundaries crossed: from 23:59 to 00:01 is one day.
std::int64_t DateDiff(DatePart part, DateTime from, DateTime to);

// In a month that is too short, the day becomes its last. No value outside the years 1 to 9999.
std::optional<DateTime> DateAdd(DatePart part, std::int64_t count, DateTime moment);

std::int64_t DatePartOf(DatePart part, DateTime moment);

// The texts that stand for one moment in columns written by other programs, and two texts between
// which SQLite sorts all texts of the same day.
enum class DateForm {
    Full,            // "2024-03-05 14:07:09", the stored form
    WithT,           // "2024-03-05T14:07:09"
    Milliseconds,    // "2024-03-05 14:07:09.000"
    Microseconds,    // "2024-03-05 14:07:09.000000"
    SevenDigits,     // "2024-03-05 14:07:09.0000000"
    ShortFraction,   // "2024-03-05 14:07:09.5"
    WithoutSeconds,  // "2024-03-05 14:07", for whole minutes
    Day,             // "2024-03-05", for midnight
    Compact,         // "20240305", for midnight; SQLite stores it as a number
    StartOfDay,      // "2024-03-05"
    EndOfDay,        // "2024-03-05U", after the T
};

// A date in another form. Unchanged if the form cannot express it or the text is not a date.
std::string InDateForm(std::string_view date, DateForm form);

bool IsCompact(std::string_view date);

// Negative if the first date is earlier, 0 if both are the same moment. No value if one of the
// texts is not a date.
std::optional<int> CompareDates(std::string_view first, std::string_view second);

}  // namespace morvane::embedded
