// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Databases.h"

#include <filesystem>

#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "core/DatabaseError.h"
#include "db/embedded/EmbeddedConnection.h"
#include "db/embedded/Names.h"
#include "db/embedded/Sqlite.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

std::string Utf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

}  // namespace

std::string FolderOfServer(const std::string& server) {
    if (!IsEmbeddedServer(server)) {
        throw DatabaseError(
            {"The embedded warehouse reaches embedded servers alone, not \"" + server + "\"."});
    }
    return server.substr(kEmbeddedPrefix.size());
}

std::string DatabaseFile(const std::string& folder, std::string_view database) {
    if (database.empty() || database.find_first_of("/\\") != std::string_view::npos) {
        throw DatabaseError({"\"" + std::string(database) + "\" is not the name of a database."});
    }
    return folder + kPathSeparator + std::string(database) + ".db";
}

// VALUES, because SQLite limits a UNION to 500 queries.
std::string DatabaseList(const std::string& folder) {
    std::string rows;
    std::error_code error;
    std::filesystem::directory_iterator entry(ToPath(folder), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        if (entry->path().extension() == ".db" && entry->is_regular_file(ignored)) {
            rows += (rows.empty() ? "(" : ", (") + QuotedText(Utf8(entry->path().stem())) + ")";
        }
    }
    if (error) {
        throw DatabaseError({"Cannot read the folder \"" + folder + "\": " + error.message()});
    }
    return rows.empty() ? "(SELECT NULL AS name WHERE 0) AS sysdatabases"
                        : "(SELECT column1 COLLATE " + std::string(kNameOrder) +
                              " AS name FROM (VALUES " + rows + ")) AS sysdatabases";
}

AttachedDatabases::AttachedDatabases(SqliteDatabase& database,
                                     const std::vector<std::string>& files, bool readsOnly)
    : database_(database) {
    try {
        for (const std::string& file : files) {
            Attach(file, readsOnly);
        }
    } catch (...) {
        Detach();
        throw;
    }
}

void AttachedDatabases::Attach(const std::string& file, bool readsOnly) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(ToPath(file), error)) {
        throw DatabaseError({"There is no database file \"" + file + "\"."});
    }
    database_.Run("ATTACH DATABASE " + QuotedText(file) + " AS " + QuotedName(file));
    attached_.push_back(file);
    if (!readsOnly && sqlite3_db_readonly(database_.Handle(), file.c_str()) == 1) {
        throw DatabaseError({"The file \"" + file + "\" is read-only."});
    }
}

void AttachedDatabases::Detach() {
    for (const std::string& file : attached_) {
        try {
            database_.Run("DETACH DATABASE " + QuotedName(file));
        } catch (...) {
            // It stays attached until the connection closes.
        }
    }
    attached_.clear();
}

}  // namespace morvane::embedded
