// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "sql/Tokens.h"

namespace morvane {

// What a word of T-SQL means to a statement that contains it. A word can have several roles.
enum class KeywordRole : unsigned {
    Reserved = 1,      // as a name it needs quotes
    Writing = 2,       // begins a statement that changes something, or SELECT ... INTO
    FollowsTable = 4,  // after a table's name it is not an alias
    Aggregate = 8,     // a function that makes one row out of many
    Clause = 16,       // begins a clause of a query
};

bool HasRole(std::string_view word, KeywordRole role);
// False for anything but a bare word.
bool HasRole(const Token& token, KeywordRole role);

}  // namespace morvane
