// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <optional>
#include <string>
#include <string_view>

#include "db/embedded/DateTime.h"

namespace morvane::embedded {

// What the implementations of SQL functions share.

using Arguments = sqlite3_value**;

inline constexpr const char* kBadDate =
    "Conversion failed when converting date and/or time from character string.";

bool AnyNull(int count, Arguments arguments);
std::string_view TextOf(sqlite3_value* value);
void ReturnText(sqlite3_context* context, std::string_view text);
void ReturnError(sqlite3_context* context, const std::string& text);

// Returns an error to SQLite if the value is not a date.
std::optional<DateTime> DateArgument(sqlite3_context* context, sqlite3_value* value);

// Functions of dates.
void GetDate(sqlite3_context* context, int count, Arguments arguments);
void DayFirst(sqlite3_context* context, int count, Arguments arguments);
void DateFormFunction(sqlite3_context* context, int count, Arguments arguments);
void CompareDatesFunction(sqlite3_context* context, int count, Arguments arguments);
void DateDiffFunction(sqlite3_context* context, int count, Arguments arguments);
void DateAddFunction(sqlite3_context* context, int count, Arguments arguments);
void DatePartFunction(sqlite3_context* context, int count, Arguments arguments);

}  // namespace morvane::embedded
