// SPDX-License-Identifier: Apache-2.0
#include "base/Clock.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>

#ifdef _WIN32
#include <cwchar>

#include "base/Platform.h"
#endif

namespace morvane {

namespace {

std::tm CalendarTime(std::chrono::year_month_day date, std::chrono::seconds timeOfDay) {
    const std::chrono::hh_mm_ss time(timeOfDay);
    std::tm calendar{};
    calendar.tm_year = static_cast<int>(date.year()) - 1900;
    calendar.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    calendar.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    calendar.tm_wday =
        static_cast<int>(std::chrono::weekday(std::chrono::sys_days(date)).c_encoding());
    calendar.tm_hour = static_cast<int>(time.hours().count());
    calendar.tm_min = static_cast<int>(time.minutes().count());
    calendar.tm_sec = static_cast<int>(time.seconds().count());
    return calendar;
}

#ifdef _WIN32

// Wide, because the C library returns narrow text in the user's code page.
std::string FormatTime(const std::string& format, const std::tm& calendar) {
    std::array<wchar_t, 256> text{};
    const std::wstring wide(format.begin(), format.end());
    const std::size_t length = std::wcsftime(text.data(), text.size(), wide.c_str(), &calendar);
    return ToUtf8({text.data(), length});
}

#else

std::string FormatTime(const char* format, const std::tm& calendar) {
    std::array<char, 256> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), format, &calendar);
    return {text.data(), length};
}

#endif

}  // namespace

LocalMoment SystemClock::Now() const {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &now);
#else
    localtime_r(&now, &local);
#endif
    return {std::chrono::year(local.tm_year + 1900) /
                std::chrono::month(static_cast<unsigned>(local.tm_mon + 1)) /
                std::chrono::day(static_cast<unsigned>(local.tm_mday)),
            std::chrono::hours(local.tm_hour) + std::chrono::minutes(local.tm_min) +
                std::chrono::seconds(local.tm_sec)};
}

std::string LongDate(std::chrono::year_month_day date) {
    const std::tm calendar = CalendarTime(date, {});
    return fmt::format("{} {} {}", FormatTime("%A, %b", calendar), calendar.tm_mday,
                       calendar.tm_year + 1900);
}

std::string LocaleTime(std::chrono::seconds timeOfDay) {
    // The date is not written.
    const std::chrono::year_month_day epoch(std::chrono::sys_days{});
    return FormatTime("%X", CalendarTime(epoch, timeOfDay));
}

std::string FileStamp(std::chrono::year_month_day date, std::chrono::seconds timeOfDay) {
    return FormatTime("%d-%m-%Y%H-%M-%S", CalendarTime(date, timeOfDay));
}

std::string IsoDateTime(const LocalMoment& moment) {
    return FormatTime("%Y-%m-%d %H:%M:%S", CalendarTime(moment.Date, moment.TimeOfDay));
}

std::string NeutralDate(std::string_view date) {
    constexpr std::size_t kDay = std::string_view("yyyy-mm-dd").size();
    std::string text(date);
    if (const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
        digits == 8) {
        text.insert(6, "-").insert(4, "-");
    }
    const bool isDate = text.size() >= kDay && text[4] == '-' && text[7] == '-' &&
                        (text.size() == kDay || text[kDay] == ' ' || text[kDay] == 'T');
    if (!isDate) {
        return std::string(date);
    }
    if (text.size() == kDay) {
        return text + "T00:00:00";
    }
    text[kDay] = 'T';
    return text;
}

}  // namespace morvane
