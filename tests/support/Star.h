// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "support/TestWarehouse.h"

namespace morvane::testing {

// Fills a warehouse with a small star that has something for every task: two unused products, a
// customer with unused versions in the middle and at the end of its history, and customers that are
// not used at all.
void FillStar(const TestWarehouse& warehouse);

// The products, without their marks.
std::string Products(const TestWarehouse& warehouse);
constexpr const char* kAllProducts = "1|pen 2|ink 3|cap 4|nib";
constexpr const char* kUsedProducts = "1|pen 3|cap";

}  // namespace morvane::testing
