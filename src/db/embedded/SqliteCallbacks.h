// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <exception>
#include <functional>
#include <new>

#include "core/DatabaseError.h"

namespace morvane::embedded {

// Waits for a database that another process has locked. A wait fails after `Seconds`, or as soon as
// the user cancels the run. A wait that begins after the cancellation lasts its full time: it
// belongs to the end of the run, such as the release of the lock.
class BusyWait {
  public:
    explicit BusyWait(std::function<bool()> cancelRequested)
        : cancelRequested_(std::move(cancelRequested)) {}
    BusyWait(const BusyWait&) = delete;
    BusyWait& operator=(const BusyWait&) = delete;

    int Seconds() const { return limit_ / 1000; }
    void SetSeconds(int seconds) { limit_ = seconds * 1000; }

    // Installs the busy handler. The database must not outlive this object.
    void Serve(sqlite3* database);

  private:
    bool TryAgain(bool isFirst);
    bool CancelRequested() const noexcept;

    std::function<bool()> cancelRequested_;
    int limit_ = 15 * 1000;  // milliseconds
    int waited_ = 0;         // in the current wait
    bool cancelledBefore_ = false;
};

// Limits statements that contain text from users or meta tables: they can use the tables of the
// current database and insert rows into one that the engine has attached. Anything else SQLite
// offers (attaching files, changing settings, loading code, reading the attached database) is an
// error. The engine's own statements are not limited. On a connection that only reads, they can
// also read the attached database, and write nothing but temporary tables.
class StatementGuard {
  public:
    explicit StatementGuard(bool readsOnly) : readsOnly_(readsOnly) {}
    StatementGuard(const StatementGuard&) = delete;
    StatementGuard& operator=(const StatementGuard&) = delete;

    // Installs the authorizer. The database must not outlive this object.
    void Serve(sqlite3* database);

    // Statements compiled during its lifetime are limited.
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
    bool readsOnly_;
    bool onDuty_ = false;
};

// An SQL function implemented in C++.
using SqlFunction = void (*)(sqlite3_context* context, int count, sqlite3_value** arguments);

// Wraps an SQL function so that an exception becomes its error and ends the statement. SQLite is
// written in C and cannot pass exceptions.
template <SqlFunction Function>
void Caught(sqlite3_context* context, int count, sqlite3_value** arguments) noexcept {
    try {
        Function(context, count, arguments);
    } catch (const std::bad_alloc&) {
        sqlite3_result_error_nomem(context);
    } catch (const DatabaseError& error) {
        // SQLite's error will carry the statement.
        sqlite3_result_error(context, error.Descriptions().front().c_str(), -1);
    } catch (const std::exception& error) {
        sqlite3_result_error(context, error.what(), -1);
    } catch (...) {
        sqlite3_result_error(context, "The function failed for an unknown reason.", -1);
    }
}

}  // namespace morvane::embedded
