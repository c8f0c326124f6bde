// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/StatementGuard.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace morvane::embedded {

namespace {

std::string_view TextOrEmpty(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

bool IsOwnSchema(std::string_view schema) {
    return schema.empty() || schema == "main" || schema == "temp";
}

// Functions of SQLite's own that reach beyond the database, in some builds of it.
bool ReachesOut(std::string_view function) {
    constexpr std::array<std::string_view, 7> kFunctions = {
        "load_extension", "fts3_tokenizer", "readfile", "writefile", "edit", "lsmode", "zipfile"};
    return std::find(kFunctions.begin(), kFunctions.end(), function) != kFunctions.end();
}

// `inner` is the trigger or view that does it, if any: what is defined in a database is its own
// matter.
bool Allows(int action, std::string_view first, std::string_view second, std::string_view schema,
            bool inner) {
    switch (action) {
        case SQLITE_ATTACH:
        case SQLITE_DETACH:
        case SQLITE_PRAGMA:
        case SQLITE_CREATE_VTABLE:
        case SQLITE_DROP_VTABLE:
            return false;
        case SQLITE_FUNCTION:
            return !ReachesOut(second);
        case SQLITE_READ:
            return !first.starts_with("pragma_") && (inner || IsOwnSchema(schema));
        case SQLITE_UPDATE:
        case SQLITE_DELETE:
            return inner || IsOwnSchema(schema);
        default:
            return true;
    }
}

}  // namespace

void StatementGuard::Serve(sqlite3* database) {
    sqlite3_set_authorizer(
        database,
        [](void* self, int action, const char* first, const char* second, const char* schema,
           const char* inner) {
            const bool allowed = !static_cast<const StatementGuard*>(self)->onDuty_ ||
                                 Allows(action, TextOrEmpty(first), TextOrEmpty(second),
                                        TextOrEmpty(schema), inner != nullptr);
            return allowed ? SQLITE_OK : SQLITE_DENY;
        },
        this);
}

}  // namespace morvane::embedded
