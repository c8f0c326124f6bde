// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "db/embedded/DateTime.h"
#include "db/embedded/SeenKeys.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// What the functions of one connection share.
class FunctionContext {
  public:
    // Begins a statement: all its calls of getdate() give one moment.
    void StartStatement() {
        statementTime_.reset();
        seenKeys_.Clear();
    }
    DateTime StatementTime();
    // The keys that the engine's own function "first_seen" has met in the statement.
    SeenKeys& Keys() { return seenKeys_; }

  private:
    SeenKeys seenKeys_;
    std::optional<DateTime> statementTime_;
};

// Adds the server's functions to a database, under names that begin with "tsql_" (the translation
// puts them there) since SQLite has words or other functions of the same name; and first_seen(key),
// which is false for an integer that the statement has passed to it before. `context` must outlive
// the database.
void RegisterFunctions(const SqliteDatabase& database, FunctionContext& context);

}  // namespace morvane::embedded
