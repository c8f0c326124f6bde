// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/SqliteCallbacks.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace morvane::embedded {

namespace {

// Milliseconds. Short at first: most locks are held for one statement.
constexpr int kShortest = 1;
constexpr int kLongest = 100;

std::string_view TextOrEmpty(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

bool IsOwnSchema(std::string_view schema) {
    return schema.empty() || schema == "main" || schema == "temp";
}

// Functions of some SQLite builds that access more than the database.
bool ReachesOut(std::string_view function) {
    constexpr std::array<std::string_view, 7> kFunctions = {
        "load_extension", "fts3_tokenizer", "readfile", "writefile", "edit", "lsmode", "zipfile"};
    return std::find(kFunctions.begin(), kFunctions.end(), function) != kFunctions.end();
}

// `inner`: a trigger or view of the database acts, not the statement itself.
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

bool AllowsReading(int action, std::string_view first, std::string_view second,
                   std::string_view schema) {
    switch (action) {
        case SQLITE_SELECT:
        case SQLITE_RECURSIVE:
        case SQLITE_CREATE_TEMP_TABLE:
        case SQLITE_CREATE_TEMP_INDEX:
        case SQLITE_DROP_TEMP_TABLE:
        case SQLITE_DROP_TEMP_INDEX:
            return true;
        case SQLITE_FUNCTION:
            return !ReachesOut(second);
        case SQLITE_READ:
            return !first.starts_with("pragma_");
        case SQLITE_INSERT:
        case SQLITE_UPDATE:
        case SQLITE_DELETE:
        case SQLITE_REINDEX:
            return schema == "temp";
        default:
            return false;
    }
}

}  // namespace

void BusyWait::Serve(sqlite3* database) {
    sqlite3_busy_handler(
        database,
        [](void* self, int tries) {
            return static_cast<BusyWait*>(self)->TryAgain(tries == 0) ? 1 : 0;
        },
        this);
}

bool BusyWait::TryAgain(bool isFirst) {
    if (isFirst) {
        waited_ = 0;
        cancelledBefore_ = limit_ > 0 && CancelRequested();
    }
    if (waited_ >= limit_ || (!cancelledBefore_ && CancelRequested())) {
        return false;
    }
    const int pause = std::min({std::max(kShortest, waited_ / 4), kLongest, limit_ - waited_});
    sqlite3_sleep(pause);
    waited_ += pause;
    return true;
}

// Called by SQLite, which cannot pass exceptions.
bool BusyWait::CancelRequested() const noexcept {
    try {
        return cancelRequested_ && cancelRequested_();
    } catch (...) {
        return false;
    }
}

void StatementGuard::Serve(sqlite3* database) {
    sqlite3_set_authorizer(
        database,
        [](void* self, int action, const char* first, const char* second, const char* schema,
           const char* inner) {
            const auto& guard = *static_cast<const StatementGuard*>(self);
            if (!guard.onDuty_) {
                return SQLITE_OK;
            }
            const bool allowed = guard.readsOnly_
                                     ? AllowsReading(action, TextOrEmpty(first),
                                                     TextOrEmpty(second), TextOrEmpty(schema))
                                     : Allows(action, TextOrEmpty(first), TextOrEmpty(second),
                                              TextOrEmpty(schema), inner != nullptr);
            return allowed ? SQLITE_OK : SQLITE_DENY;
        },
        this);
}

}  // namespace morvane::embedded
