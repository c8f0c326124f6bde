// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

namespace morvane::embedded {

// What statements may do that users or the meta tables have had a hand in: work on the tables of
// the database in use, and write new rows into one that the engine has attached. Everything else
// that SQLite could do for them (attach files, change its settings, load code, read the database
// that rows are copied to) is an error. The engine's own statements are not concerned.
class StatementGuard {
  public:
    StatementGuard() = default;
    StatementGuard(const StatementGuard&) = delete;
    StatementGuard& operator=(const StatementGuard&) = delete;

    // Guards a database, which must not outlive this object.
    void Serve(sqlite3* database);

    // While one lives, statements that are compiled are a user's.
    class OnDuty {
      public:
        explicit OnDuty(StatementGuard& guard) : guard_(guard) { guard_.onDuty_ = true; }
        ~OnDuty() { guard_.onDuty_ = false; }
        OnDuty(const OnDuty&) = delete;
        OnDuty& operator=(const OnDuty&) = delete;

      private:
        StatementGuard& guard_;
    };

  private:
    bool onDuty_ = false;
};

}  // namespace morvane::embedded
