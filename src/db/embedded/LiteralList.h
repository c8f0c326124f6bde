// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// The long list of texts that a query last compared a column with, as an indexed table of the
// connection's own. Whoever asks with a list that grows from query to query pays for what is new in
// it: a list in the statement would be read, compiled and sorted for each of them.
class LiteralList {
  public:
    // The query with its "t.c IN ('a','b',...)" reading that table. A query as it came has no long
    // list, or one that the rewriting of statements has to see: of dates, or with anything else
    // than texts in it. Throws DatabaseError.
    std::string Replace(const SqliteDatabase& database, std::string_view sql);

    // To be called when another database is opened.
    void Forget() { text_.clear(); }

  private:
    std::size_t Hold(const SqliteDatabase& database, std::string_view list);
    void Store(const SqliteDatabase& database, const std::vector<std::string>& items);

    std::string text_;  // what the table holds, as the statement had it
};

}  // namespace morvane::embedded
