// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "db/embedded/Catalogue.h"
#include "db/embedded/DateTime.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

// Converts the texts that a statement compares with dates, or writes to them, to the form in which
// columns hold dates, since SQLite compares both as texts: "d <= '20181231'" includes midnight of
// that day, as on the server. A day compared with a date and time is read as midnight. A number
// added to a date or subtracted from it counts days. `order` is the session's date order.
// `parameters` receives what each numbered parameter is compared with. Throws DatabaseError for a
// text that is not a date and for other arithmetic with dates.
void NormalizeDateTexts(Tokens& statement, const SqliteDatabase& catalogue, DateOrder order,
                        std::vector<DateParameter>& parameters);

// Completes a statement whose texts NormalizeDateTexts has converted: a column of dates is compared
// by the moment it holds, in whatever form another program wrote it. Indexes of the column remain
// usable. A row that is compared and holds no date causes an error.
void CompareStoredDates(Tokens& statement, const SqliteDatabase& catalogue);

// A text in the form in which a date column of that kind holds it. Throws DatabaseError, with the
// server's message, for a text that is not a date.
std::string DateForColumn(std::string_view text, DateKind kind, DateOrder order);

// Like DateForColumn, for a value bound by a program. In a session with the month first, a text
// that is not a date is left unchanged. In comparisons, so is a form that the date order affects:
// it may have been read from a row written by another program and must find that row again.
std::string ValueForColumn(std::string_view text, DateParameter meets, DateOrder order);

}  // namespace morvane::embedded
