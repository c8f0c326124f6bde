// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// The folder of an embedded server. Throws DatabaseError if the server is not embedded.
std::string FolderOfServer(const std::string& server);

// The file of a database. Throws DatabaseError for an invalid name.
std::string DatabaseFile(const std::string& folder, std::string_view database);

// A subquery named sysdatabases whose column "name" lists the databases of a folder. It sorts them
// by CompareNames. Throws DatabaseError if the folder cannot be read.
std::string DatabaseList(const std::string& folder);

// Attaches database files, as schemas named after them, for one statement. Declare it before the
// statement: SQLite cannot detach a database that is in use. Throws DatabaseError for a file that
// is missing or, unless `readsOnly`, cannot be written.
class AttachedDatabases {
  public:
    AttachedDatabases(SqliteDatabase& database, const std::vector<std::string>& files,
                      bool readsOnly);
    ~AttachedDatabases() { Detach(); }
    AttachedDatabases(const AttachedDatabases&) = delete;
    AttachedDatabases& operator=(const AttachedDatabases&) = delete;

  private:
    void Attach(const std::string& file, bool readsOnly);
    void Detach();

    SqliteDatabase& database_;
    std::vector<std::string> attached_;
};

}  // namespace morvane::embedded
