// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "demo/Random.h"

namespace morvane::demo {

// Invented names, some with non-ASCII letters or an apostrophe.
std::string PersonName(Random& random);
// Unique: a name that repeats gets a number.
std::string BrandName(std::int64_t brand);
std::string CityName(Random& random);
std::string ProductName(Random& random, std::int64_t category);

inline constexpr std::int64_t kDepartments = 12;
const char* DepartmentName(std::int64_t department);
// The rank, 0 to 5, distinguishes the categories of a department.
std::string CategoryName(std::int64_t department, std::int64_t rank);

inline constexpr std::int64_t kRegions = 8;
const char* RegionCode(std::int64_t region);

inline constexpr std::int64_t kSegments = 24;
std::string SegmentName(std::int64_t segment);

const char* CountryCode(std::int64_t country);
const char* MonthName(unsigned month);
const char* WeekdayName(unsigned isoWeekday);
// "SPR16-03" is campaign 3 of spring 2016. Quarters count from the start of 2016.
std::string PromotionCode(std::int64_t quarter, std::int64_t campaign);

}  // namespace morvane::demo
