// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// Temporary tables that speed up the queries of the tasks.

// Holds the last long list of texts that a query compared a column with in an indexed temporary
// table. If a list grows from query to query, only new texts are added; as part of the statement
// the whole list would be parsed, compiled and sorted each time.
class LiteralList {
  public:
    // The query with "t.c IN ('a','b',...)" reading that table. Unchanged without a long list, or
    // if the list must be translated because t.c holds dates or the list holds more than texts.
    // Throws DatabaseError.
    std::string Replace(const SqliteDatabase& database, std::string_view sql);

    // Call when another database is opened.
    void Forget() { text_.clear(); }

  private:
    std::size_t Hold(const SqliteDatabase& database, std::string_view list);
    void Store(const SqliteDatabase& database, const std::vector<std::string>& items);

    std::string text_;  // the stored list as written
};

// Copies of the meta tables as temporary tables with indexes on table names. The tasks query the
// meta tables at least once per table and relation, and since designers rarely index them, each
// query would scan them. A copy is used until any connection may have changed the original.
class MetaTableCopies {
  public:
    // Call when another database is opened.
    void Forget() { *this = {}; }

    // Call for each translated statement that is not a query. True if it may change a meta table;
    // then it must be translated again each time it runs.
    bool MayChange(std::string_view sql);

    // The query reading the copies, which are made once a large meta table has been queried often.
    // Otherwise the query is returned unchanged. Throws DatabaseError.
    std::string Replace(const SqliteDatabase& database, const std::string& sql);

  private:
    bool Serve(const SqliteDatabase& database);
    void Make(const SqliteDatabase& database);

    bool made_ = false;
    int asked_ = 0;             // since the meta tables changed
    std::int64_t version_ = 0;  // of the database file at the last check
};

}  // namespace morvane::embedded
