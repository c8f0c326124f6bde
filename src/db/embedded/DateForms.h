// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace morvane::embedded {

// The texts by which a column of dates may hold one moment, whichever program wrote it, and two
// between which SQLite sorts all texts of its day.
enum class DateForm {
    Full,            // "2024-03-05 14:07:09", the engine's own
    WithT,           // "2024-03-05T14:07:09"
    Milliseconds,    // "2024-03-05 14:07:09.000"
    Microseconds,    // "2024-03-05 14:07:09.000000"
    SevenDigits,     // "2024-03-05 14:07:09.0000000"
    ShortFraction,   // "2024-03-05 14:07:09.5"
    WithoutSeconds,  // "2024-03-05 14:07", of a whole minute
    Day,             // "2024-03-05", of a midnight
    Compact,         // "20240305", of a midnight; SQLite holds it as a number
    StartOfDay,      // "2024-03-05"
    EndOfDay,        // "2024-03-05U", after the T
};

// A date in another form. As it is when the moment cannot be written so, or the text is no date.
std::string InDateForm(std::string_view date, DateForm form);

bool IsCompact(std::string_view date);

// Less than 0 when the first date is the earlier one, 0 when both are the same moment. No value
// when one of the texts is no date.
std::optional<int> CompareDates(std::string_view first, std::string_view second);

}  // namespace morvane::embedded
