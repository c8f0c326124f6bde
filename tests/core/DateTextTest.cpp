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

}  // namespace
}  // namespace morvane::testing
