// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "demo/Random.h"

namespace morvane::demo {

// Invented names, a few of them with letters beyond ASCII or with an apostrophe, as real ones have.
std::string PersonName(Random& random);
// Unique: names that come round again get a number.
std::string BrandName(std::int64_t brand);
std::string CityName(Random& random);
std::string ProductName(Random& random, std::int64_t category);

inline constexpr std::int64_t kDepartments = 12;
const char* DepartmentName(std::int64_t department);
// A department's categories are told apart by their rank, 0 to 5.
std::string CategoryName(std::int64_t department, std::int64_t rank);

inline constexpr std::int64_t kRegions = 8;
const char* RegionCode(std::int64_t region);

inline constexpr std::int64_t kSegments = 24;
std::string SegmentName(std::int64_t segment);

const char* CountryCode(std::int64_t country);
const char* MonthName(unsigned month);
const char* WeekdayName(unsigned isoWeekday);
// "SPR16-03": campaign 3 of the spring of 2016, the second quarter from the start of 2016.
std::string PromotionCode(std::int64_t quarter, std::int64_t campaign);

}  // namespace morvane::demo
