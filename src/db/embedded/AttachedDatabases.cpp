// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/AttachedDatabases.h"

#include <filesystem>

#include "base/modFileFunctions.h"
#include "core/DatabaseError.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

AttachedDatabases::AttachedDatabases(SqliteDatabase& database,
                                     const std::vector<std::string>& files)
    : database_(database) {
    try {
        for (const std::string& file : files) {
            Attach(file);
        }
    } catch (...) {
        Detach();
        throw;
    }
}

void AttachedDatabases::Attach(const std::string& file) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(ToPath(file), error)) {
        throw DatabaseError({"There is no database file \"" + file + "\"."});
    }
    database_.Run("ATTACH DATABASE " + QuotedText(file) + " AS " + QuotedName(file));
    attached_.push_back(file);
    if (sqlite3_db_readonly(database_.Handle(), file.c_str()) == 1) {
        throw DatabaseError({"The file \"" + file + "\" is read-only."});
    }
}

void AttachedDatabases::Detach() {
    for (const std::string& file : attached_) {
        try {
            database_.Run("DETACH DATABASE " + QuotedName(file));
        } catch (...) {
            // It stays a schema of this connection and ends with it.
        }
    }
    attached_.clear();
}

}  // namespace morvane::embedded
