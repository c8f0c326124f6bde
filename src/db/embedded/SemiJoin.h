// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <string>
#include <string_view>

namespace morvane::embedded {

// Rewrites "UPDATE t SET c = v FROM t, f WHERE ..." for SQLite as a semi-join: a row of t changes
// once when some row of f meets the condition, and the joined rows are never made. When an index
// of f answers all column pairs, each row of t is looked up in it; otherwise f is read once and
// its distinct keys are compared with t's. Rows that already hold the value are not written again
// (nor counted), neither here nor in an UPDATE of all rows. Any other UPDATE is left as it is.
// Throws DatabaseError for a FROM that is not a list of tables with t among them.
std::string RewriteUpdate(sqlite3* database, std::string_view sql);

}  // namespace morvane::embedded
