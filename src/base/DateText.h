// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "base/Clock.h"

namespace morvane {

// "Tuesday, Mar 5 2024", with the names of the LC_TIME locale.
std::string LongDate(std::chrono::year_month_day date);

// The time of day in the LC_TIME locale's default form ("14:07:09" in the C locale).
std::string LocaleTime(std::chrono::seconds timeOfDay);

// The stamp in the names of all files of a run: "05-03-202414-07-09".
std::string FileStamp(std::chrono::year_month_day date, std::chrono::seconds timeOfDay);

// "2024-03-05 14:07:09". A server reads it by its session's date order; see NeutralDate.
std::string IsoDateTime(const LocalMoment& moment);

// A date as the server gives it, "2024-03-05" or "2024-03-05 14:07:09.123", or as "20240305", in
// the form of ISO 8601 that SQL Server reads alike in every language and date order:
// "2024-03-05T14:07:09.123". Any other text stays as it is.
std::string NeutralDate(std::string_view date);

}  // namespace morvane
