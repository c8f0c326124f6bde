#pragma once

#include <chrono>
#include <string>

#include "core/Clock.h"

namespace morvane {

// "Tuesday, Mar 5 2024", with the names of the LC_TIME locale.
std::string LongDate(std::chrono::year_month_day date);

// The time of day in the LC_TIME locale's default form ("14:07:09" in the C locale).
std::string LocaleTime(std::chrono::seconds timeOfDay);

// The stamp in the names of all files of a run: "05-03-202414-07-09".
std::string FileStamp(std::chrono::year_month_day date, std::chrono::seconds timeOfDay);

// "2024-03-05 14:07:09", which every server reads the same in every language setting.
std::string IsoDateTime(const LocalMoment& moment);

}  // namespace morvane
