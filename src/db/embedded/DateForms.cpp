// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/DateForms.h"

#include "db/embedded/DateTime.h"

namespace morvane::embedded {

namespace {

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
    // Nearly all are of different days.
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
