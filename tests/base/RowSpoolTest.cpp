// SPDX-License-Identifier: Apache-2.0
#include "base/RowSpool.h"

#include <gtest/gtest.h>

#include <limits>

#include "base/modFileFunctions.h"
#ifndef _WIN32
#include "support/FileSizeLimit.h"
#endif

namespace morvane::testing {
namespace {

using Row = std::vector<Value>;

Row RowNumber(std::int64_t number) {
    switch (number % 4) {
        case 0:
            return {Value(number), Value(), Value(static_cast<double>(number) / 3)};
        case 1:
            return {Value(std::string(static_cast<std::size_t>(number % 300), 'x')),
                    Value(-number)};
        case 2:
            return {};
        default:
            return {Value(std::string("a\0b", 3)), Value(std::string())};
    }
}

void ExpectRowsBack(std::int64_t count) {
    RowSpool spool;
    for (std::int64_t i = 0; i < count; ++i) {
        spool.Append(RowNumber(i));
    }
    Row row{Value(std::string("left over"))};
    for (std::int64_t i = 0; i < count; ++i) {
        ASSERT_TRUE(spool.Next(row)) << i;
        ASSERT_EQ(row, RowNumber(i)) << i;
    }
    EXPECT_FALSE(spool.Next(row));
    EXPECT_FALSE(spool.Next(row));
}

TEST(RowSpool, ReturnsEveryKindOfValueInOrder) {
    ExpectRowsBack(0);
    ExpectRowsBack(8);
    RowSpool spool;
    const Row extremes{Value(std::numeric_limits<std::int64_t>::min()),
                       Value(std::numeric_limits<double>::infinity()), Value(-0.0)};
    spool.Append(extremes);
    Row row;
    ASSERT_TRUE(spool.Next(row));
    EXPECT_EQ(row, extremes);
}

TEST(RowSpool, ReturnsRowsBeyondItsMemoryLimit) {
    ExpectRowsBack(60'000);  // some 3 MB

    RowSpool spool;
    const std::string large(3'000'000, 'y');
    spool.Append({Value(large)});  // spilled at once: nothing is left in memory
    Row row;
    ASSERT_TRUE(spool.Next(row));
    EXPECT_EQ(row, Row{Value(large)});
    EXPECT_FALSE(spool.Next(row));
}

#ifndef _WIN32  // which has no limit for the files of one process

TEST(RowSpool, ThrowsWhenTheTemporaryFileCannotGrow) {
    const FileSizeLimit limit(1 << 20);
    RowSpool spool;
    const Row row{Value(std::string(500'000, 'z'))};
    EXPECT_THROW(
        {
            for (int i = 0; i < 10; ++i) {
                spool.Append(row);
            }
        },
        FileError);
}

#endif

}  // namespace
}  // namespace morvane::testing
