// SPDX-License-Identifier: Apache-2.0
// The functions of dates.

#include <fmt/format.h>

#include <chrono>
#include <ctime>
#include <memory>

#include "db/embedded/DateLiterals.h"
#include "db/embedded/FunctionSupport.h"
#include "db/embedded/SqlFunctions.h"

namespace morvane::embedded {

namespace {

// The date part, the first argument, is constant: it is parsed once per statement.
std::optional<DatePart> PartArgument(sqlite3_context* context, sqlite3_value* value) {
    if (const void* known = sqlite3_get_auxdata(context, 0)) {
        return *static_cast<const DatePart*>(known);
    }
    const auto part = ParseDatePart(TextOf(value));
    if (!part) {
        ReturnError(context, "'" + std::string(TextOf(value)) + "' is not a recognized date part.");
        return part;
    }
    sqlite3_set_auxdata(context, 0, std::make_unique<DatePart>(*part).release(), [](void* held) {
        std::unique_ptr<DatePart>(static_cast<DatePart*>(held)).reset();
    });
    return part;
}

}  // namespace

DateTime FunctionContext::StatementTime() {
    if (statementTime_) {
        return *statementTime_;
    }
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &seconds);
    const std::time_t shifted = _mkgmtime(&local);
#else
    localtime_r(&seconds, &local);
    const std::time_t shifted = timegm(&local);
#endif
    const auto fraction = now - std::chrono::floor<std::chrono::seconds>(now);
    statementTime_ = DateTime(std::chrono::seconds(shifted)) +
                     std::chrono::floor<std::chrono::milliseconds>(fraction);
    return *statementTime_;
}

std::optional<DateTime> DateArgument(sqlite3_context* context, sqlite3_value* value) {
    const auto moment = ParseDateTime(TextOf(value));
    if (!moment) {
        ReturnError(context, kBadDate);
    }
    return moment;
}

void GetDate(sqlite3_context* context, int, Arguments) {
    auto* shared = static_cast<FunctionContext*>(sqlite3_user_data(context));
    ReturnText(context, FormatDateTime(shared->StatementTime()));
}

// tsql_day_first(type, value): converts a text to a date of the type, with the day first.
void DayFirst(sqlite3_context* context, int, Arguments arguments) {
    if (sqlite3_value_type(arguments[1]) != SQLITE_TEXT) {
        sqlite3_result_value(context, arguments[1]);
        return;
    }
    ReturnText(context, DateForColumn(TextOf(arguments[1]), DateKindOfType(TextOf(arguments[0])),
                                      DateOrder::DayFirst));
}

// tsql_date_form(date, form): see InDateForm. NULL and texts that are not dates are returned
// unchanged.
void DateFormFunction(sqlite3_context* context, int, Arguments arguments) {
    const std::string_view date = TextOf(arguments[0]);
    if (sqlite3_value_type(arguments[0]) == SQLITE_NULL || !ParseDateTime(date)) {
        sqlite3_result_value(context, arguments[0]);
        return;
    }
    const auto form = static_cast<DateForm>(sqlite3_value_int(arguments[1]));
    const std::string text = InDateForm(date, form);
    if (IsCompact(text)) {
        sqlite3_result_int64(context, std::stoll(text));
    } else {
        ReturnText(context, text);
    }
}

// tsql_compare_dates(value, date, table, column): compares a column's value with a date; see
// CompareDates.
void CompareDatesFunction(sqlite3_context* context, int, Arguments arguments) {
    if (AnyNull(2, arguments)) {
        return;
    }
    const std::string_view value = TextOf(arguments[0]);
    if (const auto order = CompareDates(value, TextOf(arguments[1]))) {
        sqlite3_result_int(context, *order);
    } else if (ParseDateTime(value) || TextOf(arguments[3]).empty()) {
        ReturnError(context, kBadDate);
    } else {
        ReturnError(context, fmt::format("The column {} of {} holds '{}', which is no date.",
                                         TextOf(arguments[3]), TextOf(arguments[2]), value));
    }
}

void DateDiffFunction(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    const auto part = PartArgument(context, arguments[0]);
    if (!part) {
        return;
    }
    const auto from = DateArgument(context, arguments[1]);
    if (const auto to = from ? DateArgument(context, arguments[2]) : std::nullopt) {
        sqlite3_result_int64(context, DateDiff(*part, *from, *to));
    }
}

void DateAddFunction(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    const auto part = PartArgument(context, arguments[0]);
    const auto moment = part ? DateArgument(context, arguments[2]) : std::nullopt;
    if (!moment) {
        return;
    }
    if (const auto sum = DateAdd(*part, sqlite3_value_int64(arguments[1]), *moment)) {
        ReturnText(context, FormatDateTime(*sum));
    } else {
        ReturnError(context, "Adding a value to a date caused an overflow.");
    }
}

void DatePartFunction(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    const auto part = PartArgument(context, arguments[0]);
    if (const auto moment = part ? DateArgument(context, arguments[1]) : std::nullopt) {
        sqlite3_result_int64(context, DatePartOf(*part, *moment));
    }
}

}  // namespace morvane::embedded
