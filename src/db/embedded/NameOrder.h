// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace morvane::embedded {

// The collation of lists of names, as SQLite knows it.
inline constexpr const char* kNameOrder = "name_order";

// Orders names as a person does: letter case (of ASCII) ignored, and digits as numbers, so that db2
// comes before db10. Names that differ in nothing else are ordered by their bytes. Below 0 when `a`
// comes first, 0 for the same name.
int CompareNames(std::string_view a, std::string_view b) noexcept;

}  // namespace morvane::embedded
