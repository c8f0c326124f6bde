// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/Value.h"
#include "db/embedded/SqliteCallbacks.h"

namespace morvane::embedded {

// One prepared SQLite statement.
class SqliteStatement {
  public:
    // Throws DatabaseError, showing `shownAs` as the statement, if the text does not compile or
    // contains more than one statement.
    SqliteStatement(sqlite3* database, std::string_view sql, std::string_view shownAs);

    // Binds a parameter, counted from 1.
    void Bind(int position, const Value& value) { BindValue(position, value, SQLITE_TRANSIENT); }
    // Like Bind, without a copy: the value must not change until the statement has run.
    void BindLent(int position, const Value& value) { BindValue(position, value, SQLITE_STATIC); }
    int ParameterCount() const { return sqlite3_bind_parameter_count(handle_.get()); }

    // True if there is a row. Throws DatabaseError.
    bool Step();
    // Prepares to run again; values remain bound.
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

// An open SQLite database: a file, or in memory for a connection without a database.
class SqliteDatabase {
  public:
    static SqliteDatabase InMemory();
    // Opens an existing database file; never creates one. Unless `readsOnly` it must be writable.
    // `wait` handles locks of other processes and must outlive the database. Throws DatabaseError.
    static SqliteDatabase OpenFile(const std::string& path, BusyWait& wait, bool readsOnly);

    sqlite3* Handle() const { return handle_.get(); }
    // Expires with the database.
    std::weak_ptr<sqlite3> Watched() const { return handle_; }

    // Whether the path now leads to another file or to none.
    bool HasMoved() const;
    // Compiles a statement that may contain text from users; see StatementGuard.
    SqliteStatement Compile(std::string_view sql, std::string_view shownAs) const;
    // Runs one of the engine's own statements.
    void Run(std::string_view sql) const;

  private:
    SqliteDatabase(sqlite3* handle, bool readsOnly)
        : guard_(std::make_unique<StatementGuard>(readsOnly)), handle_(handle, Close) {}
    static SqliteDatabase Open(const std::string& path, int flags, bool readsOnly = false);
    static void Close(sqlite3* handle);

    std::unique_ptr<StatementGuard> guard_;
    std::shared_ptr<sqlite3> handle_;
};

// Throws the last error of the database as a DatabaseError.
[[noreturn]] void ThrowSqliteError(sqlite3* database, std::string_view statement);

}  // namespace morvane::embedded
