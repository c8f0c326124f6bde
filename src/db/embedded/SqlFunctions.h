#pragma once

#include <optional>

#include "db/embedded/DateTime.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// What the functions of one connection share.
class FunctionContext {
  public:
    // Begins a statement: all its calls of getdate() give one moment.
    void StartStatement() { statementTime_.reset(); }
    DateTime StatementTime();

  private:
    std::optional<DateTime> statementTime_;
};

// Adds the server's functions to a database, under names that begin with "tsql_" (the translation
// puts them there) since SQLite has words or other functions of the same name. `context` must
// outlive the database.
void RegisterFunctions(const SqliteDatabase& database, FunctionContext& context);

}  // namespace morvane::embedded
