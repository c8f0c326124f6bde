// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/DateTime.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/Text.h"

namespace morvane::embedded {

namespace {

using std::chrono::days;
using std::chrono::floor;
using std::chrono::milliseconds;
using std::chrono::months;
using std::chrono::sys_days;
using std::chrono::year_month_day;

// Reads digits and separators from the front of a text.
class Reader {
  public:
    explicit Reader(std::string_view text) : rest_(text) {}

    bool AtEnd() const { return rest_.empty(); }
    bool IsAt(char c) const { return !rest_.empty() && rest_[0] == c; }
    std::size_t DigitsAhead() const {
        return std::min(rest_.find_first_not_of("0123456789"), rest_.size());
    }

    bool Number(std::size_t fewest, std::size_t most, int& number) {
        const std::size_t digits = DigitsAhead();
        if (digits < fewest || digits > most) {
            return false;
        }
        std::from_chars(rest_.data(), rest_.data() + digits, number);
        rest_.remove_prefix(digits);
        return true;
    }

    bool Character(char c) {
        if (!IsAt(c)) {
            return false;
        }
        rest_.remove_prefix(1);
        return true;
    }

    int Take(std::size_t digits) {
        int number = 0;
        std::from_chars(rest_.data(), rest_.data() + digits, number);
        rest_.remove_prefix(digits);
        return number;
    }

  private:
    std::string_view rest_;
};

struct Parts {
    int Year = 0;
    int Month = 0;
    int Day = 0;
    int Hour = 0;
    int Minute = 0;
    int Second = 0;
    int Millisecond = 0;
};

bool ReadDate(Reader& reader, DateReading reading, Parts& parts) {
    if (reader.DigitsAhead() == 8) {
        parts.Year = reader.Take(4);
        parts.Month = reader.Take(2);
        parts.Day = reader.Take(2);
        return true;
    }
    if (reader.DigitsAhead() == 4) {
        parts.Year = reader.Take(4);
        const bool read = reader.Character('-') && reader.Number(1, 2, parts.Month) &&
                          reader.Character('-') && reader.Number(1, 2, parts.Day);
        if (reading.Dashed == DateOrder::DayFirst && !reader.IsAt('T')) {
            std::swap(parts.Month, parts.Day);
        }
        return read;
    }
    const bool dayFirst = reading.Slashed == DateOrder::DayFirst;
    return reader.Number(1, 2, dayFirst ? parts.Day : parts.Month) && reader.Character('/') &&
           reader.Number(1, 2, dayFirst ? parts.Month : parts.Day) && reader.Character('/') &&
           reader.Number(4, 4, parts.Year);
}

bool ReadTime(Reader& reader, Parts& parts) {
    if (!reader.Number(1, 2, parts.Hour) || !reader.Character(':') ||
        !reader.Number(2, 2, parts.Minute)) {
        return false;
    }
    if (!reader.Character(':')) {
        return true;
    }
    if (!reader.Number(2, 2, parts.Second)) {
        return false;
    }
    if (reader.Character('.')) {
        const std::size_t digits = reader.DigitsAhead();
        if (digits < 1 || digits > 7) {
            return false;
        }
        parts.Millisecond = reader.Take(std::min<std::size_t>(digits, 3));
        for (std::size_t i = digits; i < 3; ++i) {
            parts.Millisecond *= 10;
        }
        if (digits > 3) {
            reader.Take(digits - 3);
        }
    }
    return true;
}

std::int64_t MonthsSinceZero(year_month_day date) {
    return static_cast<int>(date.year()) * 12LL + static_cast<unsigned>(date.month()) - 1;
}

template <typename Unit>
std::int64_t Boundaries(DateTime from, DateTime to) {
    return (floor<Unit>(to) - floor<Unit>(from)).count();
}

// Weeks begin on Sunday, as in us_english, the server's default language.
std::int64_t WeekNumber(DateTime moment) {
    const sys_days day = floor<days>(moment);
    const sys_days sunday = day - (std::chrono::weekday(day) - std::chrono::Sunday);
    return (sunday.time_since_epoch() / days(7)) -
           (sunday.time_since_epoch() % days(7) < days(0) ? 1 : 0);
}

bool InRange(DateTime moment) {
    const int year = static_cast<int>(year_month_day(floor<days>(moment)).year());
    return year >= 1 && year <= 9999;
}

std::optional<DateTime> AddMonths(std::int64_t count, DateTime moment) {
    const sys_days day = floor<days>(moment);
    const year_month_day date(day);
    const std::int64_t month = MonthsSinceZero(date) + count;
    if (month < 12 || month >= 120000) {
        return std::nullopt;
    }
    const std::chrono::year_month target(std::chrono::year(static_cast<int>(month / 12)),
                                         std::chrono::month(static_cast<unsigned>(month % 12 + 1)));
    const std::chrono::day last = (target / std::chrono::last).day();
    return sys_days(target / std::min(date.day(), last)) + (moment - day);
}

bool ReadDateAndTime(std::string_view text, DateReading reading, Parts& parts) {
    Reader reader(text);
    if (!ReadDate(reader, reading, parts)) {
        return false;
    }
    if (reader.AtEnd()) {
        return true;
    }
    const bool separated = reader.Character(' ') || reader.Character('T');
    while (reader.Character(' ')) {
    }
    return separated && ReadTime(reader, parts) && reader.AtEnd();
}

// Fast path for the stored form "yyyy-mm-dd hh:mm:ss", which most compared dates have, and for the
// same with a "T".
bool ReadStoredForm(std::string_view text, DateOrder dashed, Parts& parts) {
    constexpr std::string_view kForm = "0000-00-00T00:00:00";
    constexpr std::size_t kSeparator = kForm.find('T');
    const bool separated =
        text.size() == kForm.size() &&
        (text[kSeparator] == 'T' || (text[kSeparator] == ' ' && dashed == DateOrder::MonthFirst));
    if (!separated) {
        return false;
    }
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        if (i == kSeparator) {
            continue;
        }
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (kForm[i] == '0' ? !digit : text[i] != kForm[i]) {
            return false;
        }
    }
    const auto pair = [text](std::size_t i) { return (text[i] - '0') * 10 + (text[i + 1] - '0'); };
    parts = {pair(0) * 100 + pair(2), pair(5), pair(8), pair(11), pair(14), pair(17), 0};
    return true;
}

constexpr std::string_view kDay = "0000-00-00";
constexpr std::string_view kMidnight = " 00:00:00";
constexpr std::string_view kNoSeconds = ":00";

bool BeginsWithDay(std::string_view text) {
    if (text.size() < kDay.size()) {
        return false;
    }
    for (std::size_t i = 0; i < kDay.size(); ++i) {
        if (kDay[i] == '0' ? text[i] < '0' || text[i] > '9' : text[i] != kDay[i]) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::optional<DateTime> ParseDateTime(std::string_view text, DateReading reading) {
    Parts parts;
    if (!ReadStoredForm(text, reading.Dashed, parts) &&
        !ReadDateAndTime(Trim(text), reading, parts)) {
        return std::nullopt;
    }
    const year_month_day date = std::chrono::year(parts.Year) /
                                std::chrono::month(static_cast<unsigned>(parts.Month)) /
                                std::chrono::day(static_cast<unsigned>(parts.Day));
    if (!date.ok() || parts.Year < 1 || parts.Hour > 23 || parts.Minute > 59 || parts.Second > 59) {
        return std::nullopt;
    }
    return sys_days(date) + std::chrono::hours(parts.Hour) + std::chrono::minutes(parts.Minute) +
           std::chrono::seconds(parts.Second) + milliseconds(parts.Millisecond);
}

bool HasDateForm(std::string_view text) {
    Parts parts;
    return ReadDateAndTime(Trim(text), {}, parts);
}

bool BeginsReadAlike(std::string_view text) {
    const std::string_view trimmed = Trim(text);
    const std::size_t digits = Reader(trimmed).DigitsAhead();
    return digits == 8 || (digits == 4 && trimmed.find('T') != std::string_view::npos);
}

std::string FormatDateTime(DateTime moment) {
    const sys_days day = floor<days>(moment);
    const year_month_day date(day);
    const std::chrono::hh_mm_ss time(moment - day);
    std::string text = "0000-00-00 00:00:00";
    const auto put = [&text](std::size_t last, std::int64_t number) {
        for (std::size_t i = last; number > 0; --i, number /= 10) {
            text[i] = static_cast<char>('0' + number % 10);
        }
    };
    put(3, static_cast<int>(date.year()));
    put(6, static_cast<unsigned>(date.month()));
    put(9, static_cast<unsigned>(date.day()));
    put(12, time.hours().count());
    put(15, time.minutes().count());
    put(18, time.seconds().count());
    if (time.subseconds().count() != 0) {
        text += ".000";
        put(22, time.subseconds().count());
    }
    return text;
}

std::optional<DatePart> ParseDatePart(std::string_view name) {
    struct Spelling {
        std::string_view Name;
        DatePart Part;
    };
    static constexpr std::array kSpellings = {
        Spelling{"year", DatePart::Year},       Spelling{"yy", DatePart::Year},
        Spelling{"yyyy", DatePart::Year},       Spelling{"quarter", DatePart::Quarter},
        Spelling{"qq", DatePart::Quarter},      Spelling{"q", DatePart::Quarter},
        Spelling{"month", DatePart::Month},     Spelling{"mm", DatePart::Month},
        Spelling{"m", DatePart::Month},         Spelling{"dayofyear", DatePart::DayOfYear},
        Spelling{"dy", DatePart::DayOfYear},    Spelling{"y", DatePart::DayOfYear},
        Spelling{"day", DatePart::Day},         Spelling{"dd", DatePart::Day},
        Spelling{"d", DatePart::Day},           Spelling{"week", DatePart::Week},
        Spelling{"wk", DatePart::Week},         Spelling{"ww", DatePart::Week},
        Spelling{"weekday", DatePart::WeekDay}, Spelling{"dw", DatePart::WeekDay},
        Spelling{"w", DatePart::WeekDay},       Spelling{"hour", DatePart::Hour},
        Spelling{"hh", DatePart::Hour},         Spelling{"minute", DatePart::Minute},
        Spelling{"mi", DatePart::Minute},       Spelling{"n", DatePart::Minute},
        Spelling{"second", DatePart::Second},   Spelling{"ss", DatePart::Second},
        Spelling{"s", DatePart::Second},        Spelling{"millisecond", DatePart::Millisecond},
        Spelling{"ms", DatePart::Millisecond},
    };
    for (const Spelling& spelling : kSpellings) {
        if (EqualsIgnoreCase(spelling.Name, name)) {
            return spelling.Part;
        }
    }
    return std::nullopt;
}

std::int64_t DateDiff(DatePart part, DateTime from, DateTime to) {
    const std::int64_t fromMonth = MonthsSinceZero(year_month_day(floor<days>(from)));
    const std::int64_t toMonth = MonthsSinceZero(year_month_day(floor<days>(to)));
    switch (part) {
        case DatePart::Year:
            return toMonth / 12 - fromMonth / 12;
        case DatePart::Quarter:
            return toMonth / 3 - fromMonth / 3;
        case DatePart::Month:
            return toMonth - fromMonth;
        case DatePart::Week:
            return WeekNumber(to) - WeekNumber(from);
        case DatePart::Hour:
            return Boundaries<std::chrono::hours>(from, to);
        case DatePart::Minute:
            return Boundaries<std::chrono::minutes>(from, to);
        case DatePart::Second:
            return Boundaries<std::chrono::seconds>(from, to);
        case DatePart::Millisecond:
            return (to - from).count();
        case DatePart::DayOfYear:
        case DatePart::Day:
        case DatePart::WeekDay:
            break;
    }
    return Boundaries<days>(from, to);
}

std::optional<DateTime> DateAdd(DatePart part, std::int64_t count, DateTime moment) {
    // The server's count is a 32-bit number.
    constexpr std::int64_t kMostUnits = 2147483647;
    if (count > kMostUnits || count < -kMostUnits) {
        return std::nullopt;
    }
    DateTime sum = moment;
    switch (part) {
        case DatePart::Year:
            return AddMonths(count * 12, moment);
        case DatePart::Quarter:
            return AddMonths(count * 3, moment);
        case DatePart::Month:
            return AddMonths(count, moment);
        case DatePart::Week:
        case DatePart::Day:
        case DatePart::DayOfYear:
        case DatePart::WeekDay: {
            constexpr std::int64_t kMostDays = 3652059;  // of the years 1 to 9999
            const std::int64_t dayCount = part == DatePart::Week ? count * 7 : count;
            if (dayCount > kMostDays || dayCount < -kMostDays) {
                return std::nullopt;
            }
            sum += days(dayCount);
            break;
        }
        case DatePart::Hour:
            sum += std::chrono::hours(count);
            break;
        case DatePart::Minute:
            sum += std::chrono::minutes(count);
            break;
        case DatePart::Second:
            sum += std::chrono::seconds(count);
            break;
        case DatePart::Millisecond:
            sum += milliseconds(count);
            break;
    }
    return InRange(sum) ? std::optional(sum) : std::nullopt;
}

std::int64_t DatePartOf(DatePart part, DateTime moment) {
    const sys_days day = floor<days>(moment);
    const year_month_day date(day);
    const std::chrono::hh_mm_ss time(moment - day);
    const sys_days newYear = date.year() / 1 / 1;
    switch (part) {
        case DatePart::Year:
            return static_cast<int>(date.year());
        case DatePart::Quarter:
            return (static_cast<unsigned>(date.month()) + 2) / 3;
        case DatePart::Month:
            return static_cast<unsigned>(date.month());
        case DatePart::DayOfYear:
            return (day - newYear).count() + 1;
        case DatePart::Day:
            return static_cast<unsigned>(date.day());
        case DatePart::Week:
            return WeekNumber(moment) - WeekNumber(newYear) + 1;
        case DatePart::WeekDay:
            return std::chrono::weekday(day).c_encoding() + 1;
        case DatePart::Hour:
            return time.hours().count();
        case DatePart::Minute:
            return time.minutes().count();
        case DatePart::Second:
            return time.seconds().count();
        case DatePart::Millisecond:
            break;
    }
    return time.subseconds().count();
}

std::string InDateForm(std::string_view date, DateForm form) {
    const auto moment = ParseDateTime(date);
    if (!moment) {
        return std::string(date);
    }
    const std::string text = FormatDateTime(*moment);
    const std::string day = text.substr(0, kDay.size());
    const bool whole = text.find('.') == std::string::npos;
    const bool midnight = text.substr(kDay.size()) == kMidnight;
    switch (form) {
        case DateForm::WithT:
            return day + "T" + text.substr(kDay.size() + 1);
        case DateForm::Milliseconds:
            return whole ? text + ".000" : text;
        case DateForm::Microseconds:
            return text + (whole ? ".000000" : "000");
        case DateForm::SevenDigits:
            return text + (whole ? ".0000000" : "0000");
        case DateForm::ShortFraction:
            return whole ? text : text.substr(0, text.find_last_not_of('0') + 1);
        case DateForm::WithoutSeconds:
            return text.substr(0, whole && text.ends_with(kNoSeconds)
                                      ? text.size() - kNoSeconds.size()
                                      : text.size());
        case DateForm::Day:
            return midnight ? day : text;
        case DateForm::Compact:
            return midnight ? day.substr(0, 4) + day.substr(5, 2) + day.substr(8, 2) : text;
        case DateForm::StartOfDay:
            return day;
        case DateForm::EndOfDay:
            return day + "U";
        case DateForm::Full:
            break;
    }
    return text;
}

std::optional<int> CompareDates(std::string_view first, std::string_view second) {
    // Most dates differ in the day.
    if (BeginsWithDay(first) && BeginsWithDay(second)) {
        if (const int days = first.substr(0, kDay.size()).compare(second.substr(0, kDay.size()));
            days != 0) {
            return days;
        }
    }
    const auto a = ParseDateTime(first);
    const auto b = ParseDateTime(second);
    if (!a || !b) {
        return std::nullopt;
    }
    return *a < *b ? -1 : *a > *b ? 1 : 0;
}

bool IsCompact(std::string_view date) {
    return date.size() == std::string_view("yyyymmdd").size() &&
           date.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace morvane::embedded
