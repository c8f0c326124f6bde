// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// Copies of the meta tables with indexes on the names in them, as tables of the connection's own.
// The tasks ask the meta tables by a name once or more for each table and each relation, and
// designers give them no indexes: each answer would read them from end to end. A copy serves as
// long as nobody, this connection included, may have changed what it was made of.
class MetaTableCopies {
  public:
    // To be called when another database is opened.
    void Forget() { *this = {}; }

    // To be called with each statement that is no query when it is translated. True when it may
    // change a meta table: it must be translated again for each time that it runs.
    bool MayChange(std::string_view sql);

    // The query reading the copies, which are made when a large meta table has been asked often; or
    // the query as it came. Throws DatabaseError.
    std::string Replace(const SqliteDatabase& database, const std::string& sql);

  private:
    bool Serve(const SqliteDatabase& database);
    void Make(const SqliteDatabase& database);

    bool made_ = false;
    int asked_ = 0;             // since the meta tables changed
    std::int64_t version_ = 0;  // of the database file when it was last looked at
};

}  // namespace morvane::embedded
