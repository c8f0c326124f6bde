// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace morvane::embedded {

// Whether a text is the name of a column to every statement that it stands in: one identifier,
// which is a word, or any text in brackets or double quotes. Blanks may surround it. A single quote
// is refused: names stand in text literals too.
bool IsColumnName(std::string_view text);

// The same for a table, which "dbo." may stand before.
bool IsTableName(std::string_view text);

}  // namespace morvane::embedded
