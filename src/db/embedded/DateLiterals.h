// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "db/embedded/Catalogue.h"
#include "db/embedded/DateTime.h"
#include "db/embedded/Tokens.h"

namespace morvane::embedded {

// Brings the texts that a statement compares with dates, or writes into them, to the form in which
// columns hold dates, since SQLite compares both as texts: "d <= '20181231'" finds the midnight of
// that day, as on the server. Where a day alone meets a date with a time of day, it is read as
// midnight. A number added to a date or taken from it counts days. `order` is the session's.
// Returns what the parameters meet, by their position. Throws DatabaseError for a text that is no
// date and for arithmetic with dates of any other form.
std::vector<DateParameter> NormalizeDateTexts(std::vector<Token>& tokens,
                                              const SqliteDatabase& catalogue, DateOrder order);

// A text as a date column of that kind holds it. Throws DatabaseError, in the server's words, for
// a text that is no date.
std::string DateForColumn(std::string_view text, DateKind kind, DateOrder order);

// As DateForColumn, for a value that comes from a program. While the month comes first, what is no
// date stays as it is. So do, where they are compared, the forms that some sessions read otherwise:
// they may have been read from a row that another program wrote, and must find it again.
std::string ValueForColumn(std::string_view text, DateParameter meets, DateOrder order);

}  // namespace morvane::embedded
