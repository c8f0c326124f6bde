// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "support/TestWarehouse.h"

namespace morvane::testing {

// The statements that make a small star with something for every task, beside meta tables that are
// there: two unused products, a customer some of whose versions are unused in the middle and at the
// end of their history, others wholly unused. SQLite and SQL Server understand them alike.
std::vector<std::string> StarStatements();

void FillStar(const TestWarehouse& warehouse);

// The products without the mark, which says nothing about what was deleted.
std::string Products(const TestWarehouse& warehouse);
constexpr const char* kAllProducts = "1|pen 2|ink 3|cap 4|nib";
constexpr const char* kUsedProducts = "1|pen 3|cap";

}  // namespace morvane::testing
