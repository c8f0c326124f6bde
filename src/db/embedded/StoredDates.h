// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "db/embedded/Sqlite.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

// Completes a statement whose texts NormalizeDateTexts has converted: a column of dates is compared
// by the moment it holds, in whatever form another program wrote it. Indexes of the column remain
// usable. A row that is compared and holds no date causes an error.
void CompareStoredDates(Tokens& statement, const SqliteDatabase& catalogue);

}  // namespace morvane::embedded
