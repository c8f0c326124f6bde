#include "core/DateText.h"

#include <gtest/gtest.h>

namespace morvane::testing {
namespace {

using namespace std::chrono;

TEST(DateText, WritesOneMomentInEveryForm) {
    const auto date = year(2024) / 3 / 5;
    const auto time = hours(14) + minutes(7) + seconds(9);
    EXPECT_EQ(LongDate(date), "Tuesday, Mar 5 2024");
    EXPECT_EQ(LocaleTime(time), "14:07:09");
    EXPECT_EQ(FileStamp(date, time), "05-03-202414-07-09");
    EXPECT_EQ(IsoDateTime({date, time}), "2024-03-05 14:07:09");
}

TEST(DateText, KnowsLeapDaysAndTheEndsOfADay) {
    EXPECT_EQ(LongDate(year(2000) / 2 / 29), "Tuesday, Feb 29 2000");
    EXPECT_EQ(LongDate(year(1999) / 12 / 31), "Friday, Dec 31 1999");
    EXPECT_EQ(FileStamp(year(2025) / 12 / 31, seconds(0)), "31-12-202500-00-00");
    EXPECT_EQ(LocaleTime(hours(24) - seconds(1)), "23:59:59");
}

}  // namespace
}  // namespace morvane::testing
