#pragma once

#include "db/embedded/DateTime.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// What the functions of one connection share.
class FunctionContext {
  public:
    // Begins a statement: all its calls of getdate() give one moment.
    void StartStatement();
    DateTime StatementTime() const { return statementTime_; }

  private:
    DateTime statementTime_{};
};

// Adds the server's functions to a database, under names that begin with "tsql_" (the translation
// puts them there) since SQLite has words or other functions of the same name. `context` must
// outlive the database.
void RegisterFunctions(const SqliteDatabase& database, FunctionContext& context);

}  // namespace morvane::embedded
