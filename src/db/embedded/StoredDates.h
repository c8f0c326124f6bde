// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "db/embedded/Sqlite.h"
#include "db/embedded/Tokens.h"

namespace morvane::embedded {

// Completes a statement whose texts NormalizeDateTexts has brought to one form, so that a column of
// dates is compared by what it means, whatever form another program has given it. An index of the
// column serves as before. A row whose column holds no date is an error when it comes to be
// compared.
void CompareStoredDates(std::vector<Token>& tokens, const SqliteDatabase& catalogue);

}  // namespace morvane::embedded
