// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// Other database files as schemas by their names, for the time of one statement: made before it and
// gone after it, since a file in use is detached by nobody. Throws DatabaseError for a file that is
// missing or cannot be written.
class AttachedDatabases {
  public:
    AttachedDatabases(SqliteDatabase& database, const std::vector<std::string>& files);
    ~AttachedDatabases() { Detach(); }
    AttachedDatabases(const AttachedDatabases&) = delete;
    AttachedDatabases& operator=(const AttachedDatabases&) = delete;

  private:
    void Attach(const std::string& file);
    void Detach();

    SqliteDatabase& database_;
    std::vector<std::string> attached_;
};

}  // namespace morvane::embedded
