// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/DateTime.h"

#include <gtest/gtest.h>

namespace morvane::embedded {
namespace {

DateTime At(const char* text) {
    return ParseDateTime(text).value();
}

TEST(DateTime, ReadsTheFormsOfTheServer) {
    EXPECT_EQ(FormatDateTime(At("2024-03-05")), "2024-03-05 00:00:00");
    EXPECT_EQ(FormatDateTime(At(" 20240305 ")), "2024-03-05 00:00:00");
    EXPECT_EQ(FormatDateTime(At("3/5/2024 14:07")), "2024-03-05 14:07:00");
    EXPECT_EQ(FormatDateTime(At("2024-03-05T14:07:09.1")), "2024-03-05 14:07:09.100");
    EXPECT_EQ(FormatDateTime(At("2024-03-05 14:07:09.1234567")), "2024-03-05 14:07:09.123");
    EXPECT_EQ(FormatDateTime(At("9999-12-31 23:59:59")), "9999-12-31 23:59:59");
    for (const char* bad :
         {"", "2024-02-30", "2024-13-01", "soon", "2024-03-05 24:00", "2024-03-05x",
          "2024-03-05 14:07:09.", "20240305141500", "05.03.2024", "0000-01-01"}) {
        EXPECT_FALSE(ParseDateTime(bad)) << bad;
    }
}

TEST(DateTime, CountsBoundariesNotDurations) {
    const auto diff = [](DatePart part, const char* from, const char* to) {
        return DateDiff(part, At(from), At(to));
    };
    EXPECT_EQ(diff(DatePart::Day, "2024-03-05 23:59", "2024-03-06 00:01"), 1);
    EXPECT_EQ(diff(DatePart::Day, "2024-03-05 00:00", "2024-03-05 23:59"), 0);
    EXPECT_EQ(diff(DatePart::Year, "2023-12-31", "2024-01-01"), 1);
    EXPECT_EQ(diff(DatePart::Year, "2024-01-01", "2023-12-31"), -1);
    EXPECT_EQ(diff(DatePart::Month, "2024-01-31", "2024-02-01"), 1);
    EXPECT_EQ(diff(DatePart::Quarter, "2024-03-31", "2024-04-01"), 1);
    EXPECT_EQ(diff(DatePart::Week, "2024-03-09", "2024-03-10"), 1);  // a Saturday, a Sunday
    EXPECT_EQ(diff(DatePart::Week, "1969-12-27", "1969-12-28"), 1);
    EXPECT_EQ(diff(DatePart::Hour, "1969-12-31 23:30", "1970-01-01 00:30"), 1);
}

TEST(DateTime, AddsMonthsWithinTheMonth) {
    const auto add = [](DatePart part, std::int64_t count, const char* to) {
        const auto sum = DateAdd(part, count, At(to));
        return sum ? FormatDateTime(*sum) : "overflow";
    };
    EXPECT_EQ(add(DatePart::Month, 1, "2024-01-31 10:00"), "2024-02-29 10:00:00");
    EXPECT_EQ(add(DatePart::Year, -1, "2024-02-29"), "2023-02-28 00:00:00");
    EXPECT_EQ(add(DatePart::Month, -3, "2024-01-15"), "2023-10-15 00:00:00");
    EXPECT_EQ(add(DatePart::Day, -60, "2024-03-01"), "2024-01-01 00:00:00");
    EXPECT_EQ(add(DatePart::Year, 8000, "2024-03-01"), "overflow");
    EXPECT_EQ(add(DatePart::Day, 1, "9999-12-31"), "overflow");
    EXPECT_EQ(add(DatePart::Month, 9000000000, "2024-03-01"), "overflow");
    EXPECT_EQ(add(DatePart::Week, 2000000000, "2024-03-01"), "overflow");
}

TEST(DateTime, ReturnsThePartsOfADate) {
    const DateTime moment = At("2024-03-05 14:07:09.120");
    EXPECT_EQ(DatePartOf(DatePart::Quarter, moment), 1);
    EXPECT_EQ(DatePartOf(DatePart::DayOfYear, moment), 65);
    EXPECT_EQ(DatePartOf(DatePart::WeekDay, moment), 3);  // a Tuesday
    EXPECT_EQ(DatePartOf(DatePart::Week, moment), 10);
    EXPECT_EQ(DatePartOf(DatePart::Millisecond, moment), 120);
    EXPECT_EQ(ParseDatePart("YY"), DatePart::Year);
    EXPECT_FALSE(ParseDatePart("fortnight"));
}

}  // namespace
}  // namespace morvane::embedded
