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

void ExpectReturned(const std::vector<Row>& rows) {
    RowSpool spool;
    for (const Row& row : rows) {
        spool.Append(row);
    }
    Row row{Value(std::string("left over"))};
    for (const Row& expected : rows) {
        ASSERT_TRUE(spool.Next(row));
        ASSERT_EQ(row, expected);
    }
    EXPECT_FALSE(spool.Next(row));
    EXPECT_FALSE(spool.Next(row));
}

TEST(RowSpool, ReturnsEveryKindOfValueInOrder) {
    ExpectReturned({});
    ExpectReturned({{Value(std::numeric_limits<std::int64_t>::min()),
                     Value(std::numeric_limits<double>::infinity()), Value(-0.0)},
                    {},
                    {Value(std::string("a\0b", 3)), Value(std::string()), Value()}});
}

TEST(RowSpool, ReturnsRowsBeyondItsMemoryLimit) {
    std::vector<Row> rows;
    for (std::size_t i = 0; i < 30'000; ++i) {  // about 5 MB
        rows.push_back({Value(std::string(i % 300, 'x')), Value(static_cast<std::int64_t>(i))});
    }
    ExpectReturned(rows);
    ExpectReturned({{Value(std::string(3'000'000, 'y'))}});  // nothing is left in memory
}

#ifndef _WIN32  // Windows has no limit for the files of a process

TEST(RowSpool, ThrowsWhenTheTemporaryFileCannotGrow) {
    const FileSizeLimit limit(1 << 20);
    RowSpool spool;
    EXPECT_THROW(
        {
            for (int i = 0; i < 10; ++i) {
                spool.Append({Value(std::string(500'000, 'z'))});
            }
        },
        FileError);
}

#endif

}  // namespace
}  // namespace morvane::testing
