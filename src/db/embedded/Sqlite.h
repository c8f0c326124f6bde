// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/Value.h"
#include "db/embedded/BusyWait.h"
#include "db/embedded/StatementGuard.h"

namespace morvane::embedded {

// One prepared SQLite statement.
class SqliteStatement {
  public:
    // Throws DatabaseError, with `shownAs` as the statement, when the text does not compile or
    // holds more than one statement.
    SqliteStatement(sqlite3* database, std::string_view sql, std::string_view shownAs);

    // Binds the place with the number `position`, from 1.
    void Bind(int position, const Value& value) { BindValue(position, value, SQLITE_TRANSIENT); }
    // As Bind, without a copy: the value must stay as it is until the statement has run.
    void BindLent(int position, const Value& value) { BindValue(position, value, SQLITE_STATIC); }
    int ParameterCount() const { return sqlite3_bind_parameter_count(handle_.get()); }

    // True when a row is there. Throws DatabaseError.
    bool Step();
    // Ready to run again; the values stay bound.
    void Reset() { sqlite3_reset(handle_.get()); }

    sqlite3_stmt* Handle() const { return handle_.get(); }
    const std::string& ShownAs() const { return shownAs_; }

  private:
    struct Finalize {
        void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
    };

    void BindValue(int position, const Value& value, sqlite3_destructor_type lifetime);

    sqlite3* database_;
    std::string shownAs_;
    std::unique_ptr<sqlite3_stmt, Finalize> handle_;
};

// An open SQLite database file, or one in memory for a connection without a database.
class SqliteDatabase {
  public:
    static SqliteDatabase InMemory();
    // Opens an existing file for reading and writing and proves that it is a database. Throws
    // DatabaseError; nothing is ever created. `wait` is for what other processes lock, from now on,
    // and must outlive the database.
    static SqliteDatabase OpenFile(const std::string& path, BusyWait& wait);

    sqlite3* Handle() const { return handle_.get(); }
    // Expires with the database.
    std::weak_ptr<sqlite3> Watched() const { return handle_; }

    // A statement that users or the meta tables have had a hand in, see StatementGuard.
    SqliteStatement Compile(std::string_view sql, std::string_view shownAs) const;
    // Runs a statement of the engine's own.
    void Run(std::string_view sql) const;

  private:
    explicit SqliteDatabase(sqlite3* handle) : handle_(handle, Close) {}
    static SqliteDatabase Open(const std::string& path, int flags);
    static void Close(sqlite3* handle);

    std::unique_ptr<StatementGuard> guard_ = std::make_unique<StatementGuard>();
    std::shared_ptr<sqlite3> handle_;
};

// Throws the last error of the database as a DatabaseError.
[[noreturn]] void ThrowSqliteError(sqlite3* database, std::string_view statement);

}  // namespace morvane::embedded
