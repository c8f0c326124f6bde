// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace morvane::embedded {

// True for a text that every statement reads as one column name: an identifier, or any text in
// brackets or double quotes. Surrounding white space is allowed, a single quote is not, since names
// are also put into text literals.
bool IsColumnName(std::string_view text);

// The same for a table, optionally preceded by "dbo.".
bool IsTableName(std::string_view text);

// Name of the SQLite collation that uses CompareNames.
inline constexpr const char* kNameOrder = "name_order";

// Natural order: ignores ASCII case and compares digits as numbers, so that db2 precedes db10. Ties
// are broken by the bytes. Negative if `a` comes first, 0 for equal names.
int CompareNames(std::string_view a, std::string_view b) noexcept;

}  // namespace morvane::embedded
