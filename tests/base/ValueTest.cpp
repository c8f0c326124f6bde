// SPDX-License-Identifier: Apache-2.0
#include "base/Value.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "core/Recordset.h"

namespace morvane::testing {
namespace {

Value Number(std::int64_t number) {
    return Value(number);
}

Value Words(const char* text) {
    return Value(std::string(text));
}

TEST(Value, TextRoundTrips) {
    EXPECT_EQ(Value().Text(), "");
    EXPECT_EQ(Number(std::numeric_limits<std::int64_t>::min()).Text(), "-9223372036854775808");
    EXPECT_EQ(Value(3.0).Text(), "3");
    EXPECT_EQ(Value(0.1).Text(), "0.1");
    EXPECT_EQ(std::stod(Value(1.0 / 3).Text()), 1.0 / 3);
    std::string row = "row:";
    for (const Value& value : {Number(7), Value(), Words(" x"), Value(-2.5)}) {
        value.AppendTextTo(row);
    }
    EXPECT_EQ(row, "row:7 x-2.5");
}

TEST(Value, IntegerRefusesOtherValues) {
    EXPECT_EQ(Words(" -42 ").Integer(), -42);
    EXPECT_EQ(Value(-2.9).Integer(), -2);
    for (const Value& value : {Value(), Words(""), Words("4x"), Words("9223372036854775808"),
                               Value(9223372036854775808.0), Value(-1e300),
                               Value(std::numeric_limits<double>::quiet_NaN())}) {
        EXPECT_THROW((void)value.Integer(), std::invalid_argument) << value.Text();
    }
}

TEST(Value, FlagIsTrueForNonZeroNumbersAndTheWordTrue) {
    for (const Value& value : {Number(1), Number(-1), Value(0.5), Words(" TRUE "), Words("1.0")}) {
        EXPECT_TRUE(value.Flag()) << value.Text();
    }
    for (const Value& value :
         {Value(), Number(0), Value(0.0), Words("0"), Words("0.0"), Words("false"), Words("")}) {
        EXPECT_FALSE(value.Flag()) << value.Text();
    }
}

TEST(Field, ComparesTextsLikeTheServerOrReportsUnknown) {
    using enum TextComparison;
    using enum Equality;
    const struct {
        TextComparison How;
        const char* B;
        Equality Expected;
    } cases[] = {{Exact, "Abc", Equal},
                 {Exact, "abc", Different},
                 {Exact, "Abc ", Different},
                 {IgnoringCase, "aBC", Equal},
                 {IgnoringCase, "Abd", Different},
                 {ByCollation, "Abc  ", Equal},
                 {ByCollation, "Abcd", Different},
                 {ByCollation, "aBC", Unknown},
                 {ByCollation, "Ab-c", Unknown},
                 {ByCollation, "\u00c4bc", Unknown}};
    for (const auto& c : cases) {
        Field field;
        field.Comparison = c.How;
        EXPECT_EQ(field.Compare(Words("Abc"), Words(c.B)), c.Expected) << c.B;
    }
}

TEST(Field, ComparesNumbersByValueAndNullEqualsNothing) {
    const auto same = [](const Value& a, const Value& b) {
        return Field().Compare(a, b) == Equality::Equal;
    };
    EXPECT_TRUE(same(Number(12), Value(12.0)));
    EXPECT_TRUE(same(Number(10'000'000'000'000'000), Value(1e16)));
    EXPECT_FALSE(same(Number(12), Value(12.5)));
    EXPECT_FALSE(same(Number(9007199254740993), Number(9007199254740992)));
    EXPECT_FALSE(same(Number(12), Words("12")));
    EXPECT_FALSE(same(Value(), Value()));
    EXPECT_FALSE(same(Value(), Words("")));
}

}  // namespace
}  // namespace morvane::testing
