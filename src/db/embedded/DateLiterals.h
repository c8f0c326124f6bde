#pragma once

#include <vector>

#include "db/embedded/DateOperands.h"
#include "db/embedded/Tokens.h"

namespace morvane::embedded {

// Brings what a statement compares with dates to the form in which columns hold dates, since SQLite
// compares both as texts: "d <= '20181231'" finds the midnight of that day, as on the server. Where
// a day alone meets a date with a time of day, it is read as midnight. A number added to a date or
// taken from it counts days. Throws DatabaseError for a text that is no date and for arithmetic
// with dates of any other form.
void NormalizeDateComparisons(std::vector<Token>& tokens, const DateKindLookup& kindOf);

}  // namespace morvane::embedded
