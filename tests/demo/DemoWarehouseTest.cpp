// SPDX-License-Identifier: Apache-2.0
#include "demo/DemoWarehouse.h"

#include <gtest/gtest.h>

#include "support/SqliteFile.h"
#include "support/TempFolder.h"

namespace morvane::testing {
namespace {

// An FNV-1a hash, because std::hash differs between platforms.
std::uint64_t Hash(const std::string& text) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    }
    return hash;
}

std::string Make(const TempFolder& folder, int scale) {
    demo::MakeDemoWarehouse(folder.Path(), scale, false, [] { return false; });
    return folder / "retail.db";
}

// The hash must not depend on compiler or platform. After an intended change of the data, update it
// and check that docs/demo-warehouse.md still describes it.
TEST(DemoWarehouse, IsTheSameEverywhereAndGrowsWithTheScale) {
    const TempFolder one;
    const TempFolder two;
    const SqliteFile small(Make(one, 1));
    EXPECT_EQ(Hash(small.Dump()), 7469136157436656512U);
    const SqliteFile large(Make(two, 2));
    for (const std::string table : {"sales", "shipments", "inventory", "product", "customer"}) {
        EXPECT_EQ(large.Text("SELECT count(*) FROM " + table),
                  small.Text("SELECT 2 * count(*) FROM " + table))
            << table;
    }
    EXPECT_EQ(large.Text("SELECT count(*) FROM calendar"),
              small.Text("SELECT count(*) FROM calendar"));
}

}  // namespace
}  // namespace morvane::testing
