// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace morvane::embedded {

// What stands for getdate() as a column's default: SQLite keeps it in the schema, where other
// programs read it too, so that it must be SQLite's own.
inline constexpr std::string_view kLocalTimeDefault = "datetime('now', 'localtime')";

// A default out of SQLite's catalogue in the server's words: getdate() for the above, a literal as
// it is, any other expression in parentheses.
std::string ServerDefault(std::string_view sqliteDefault);

}  // namespace morvane::embedded
