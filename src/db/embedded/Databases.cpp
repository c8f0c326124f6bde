#include "db/embedded/Databases.h"

#include <filesystem>
#include <set>

#include "core/DatabaseError.h"
#include "core/Text.h"
#include "core/modFileFunctions.h"
#include "db/embedded/EmbeddedConnection.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

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

std::string DatabaseList(const std::string& folder) {
    std::set<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(ToPath(folder), error)) {
        if (entry.path().extension() == ".db") {
            names.insert(entry.path().stem().string());
        }
    }
    std::string rows;
    for (const std::string& name : names) {
        rows += (rows.empty() ? "SELECT " : " UNION ALL SELECT ") + QuotedText(name) + " AS name";
    }
    return "(" + (rows.empty() ? "SELECT NULL AS name WHERE 0" : rows) + ") AS sysdatabases";
}

}  // namespace morvane::embedded
