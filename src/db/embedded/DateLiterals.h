#pragma once

#include <functional>
#include <string>
#include <vector>

#include "db/embedded/Catalogue.h"
#include "db/embedded/Tokens.h"

namespace morvane::embedded {

// The kind of date in a column, by the table's name (empty when the statement gives none) and the
// column's.
using DateKindLookup = std::function<DateKind(const std::string& table, const std::string& column)>;

// Brings the texts that a statement compares with date columns to the form in which the columns
// hold dates, since SQLite compares both as texts: "d <= '20181231'" finds the midnight of that
// day, as on the server. A column of days alone that meets a date function is read as midnight.
// Throws DatabaseError for a text that is no date.
void NormalizeDateComparisons(std::vector<Token>& tokens, const DateKindLookup& kindOf);

}  // namespace morvane::embedded
