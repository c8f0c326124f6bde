// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Sqlite.h"

#include <array>
#include <filesystem>
#include <fstream>

#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "core/DatabaseError.h"
#include "sql/MaskPasswords.h"

namespace morvane::embedded {

namespace {

// 4 MiB: enough for the inner pages of large indexes, whatever the size of a table.
constexpr const char* kCacheSize = "PRAGMA cache_size = -4096";

std::string Describe(sqlite3* database) {
    std::string text = sqlite3_errmsg(database);
    switch (sqlite3_errcode(database)) {
        case SQLITE_BUSY:
            return "The database is in use by another process (" + text + ").";
        case SQLITE_READONLY:
            if (sqlite3_extended_errcode(database) == SQLITE_READONLY_DBMOVED) {
                return "The file of the database was moved, deleted or replaced while it was open; "
                       "start again with the file that is there now.";
            }
            return "The database cannot be written (" + text + ").";
        case SQLITE_FULL:
            return "There is no room on the disk (" + text + ").";
        case SQLITE_AUTH:
            return "The embedded warehouse does not allow this in a statement (" + text + ").";
        case SQLITE_CANTOPEN:
            return "A file of the database cannot be opened or made (" + text + ").";
        default:
            return text;
    }
}

bool IsBlankOrSemicolon(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ';';
}

// SQLite opens a file without write permission as read-only and fails only at the first change.
void RequireWritable(sqlite3* database, const std::string& path) {
    if (sqlite3_db_readonly(database, "main") == 1) {
        throw DatabaseError({"The file \"" + path + "\" is read-only."});
    }
    if (ExceedsSizeLimit(ToPath(path))) {
        throw DatabaseError(
            {"The file \"" + path + "\" is larger than this process may write (ulimit -f)."});
    }
}

}  // namespace

void ThrowSqliteError(sqlite3* database, std::string_view statement) {
    throw DatabaseError({Describe(database)}, MaskPasswords(statement));
}

SqliteStatement::SqliteStatement(sqlite3* database, std::string_view sql, std::string_view shownAs)
    : database_(database), shownAs_(shownAs) {
    const char* tail = nullptr;
    sqlite3_stmt* handle = nullptr;
    const int result =
        sqlite3_prepare_v2(database, sql.data(), static_cast<int>(sql.size()), &handle, &tail);
    handle_.reset(handle);
    if (result != SQLITE_OK) {
        ThrowSqliteError(database, shownAs);
    }
    for (; tail != sql.data() + sql.size(); ++tail) {
        if (!IsBlankOrSemicolon(*tail)) {
            throw DatabaseError({"The embedded warehouse takes one statement at a time."},
                                MaskPasswords(shownAs_));
        }
    }
    if (handle == nullptr) {
        throw DatabaseError({"The statement is empty."}, MaskPasswords(shownAs_));
    }
}

void SqliteStatement::BindValue(int position, const Value& value,
                                sqlite3_destructor_type lifetime) {
    const auto& data = value.Data();
    sqlite3_stmt* handle = handle_.get();
    int result = SQLITE_OK;
    if (const auto* integer = std::get_if<std::int64_t>(&data)) {
        result = sqlite3_bind_int64(handle, position, *integer);
    } else if (const auto* real = std::get_if<double>(&data)) {
        result = sqlite3_bind_double(handle, position, *real);
    } else if (const auto* text = std::get_if<std::string>(&data)) {
        result = sqlite3_bind_text64(handle, position, text->data(), text->size(), lifetime,
                                     SQLITE_UTF8);
    } else if (const auto* bytes = std::get_if<ByteString>(&data)) {
        result = sqlite3_bind_blob64(handle, position, bytes->Bytes.data(), bytes->Bytes.size(),
                                     lifetime);
    } else {
        result = sqlite3_bind_null(handle, position);
    }
    if (result != SQLITE_OK) {
        ThrowSqliteError(database_, shownAs_);
    }
}

bool SqliteStatement::Step() {
    const int result = sqlite3_step(handle_.get());
    if (result == SQLITE_ROW) {
        return true;
    }
    if (result != SQLITE_DONE) {
        ThrowSqliteError(database_, shownAs_);
    }
    return false;
}

SqliteDatabase SqliteDatabase::Open(const std::string& path, int flags, bool readsOnly) {
    // The unused memory statistics cost a lock per allocation. They can be disabled only before the
    // first database is opened.
    [[maybe_unused]] static const int configured = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    sqlite3* handle = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    SqliteDatabase database(handle, readsOnly);
    if (result != SQLITE_OK) {
        throw DatabaseError({"Cannot open the file \"" + path + "\": " +
                             (handle == nullptr ? "out of memory" : sqlite3_errmsg(handle))});
    }
    sqlite3_extended_result_codes(handle, 0);
    // Double quotes enclose names, never texts, as on the server.
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    database.guard_->Serve(handle);
    return database;
}

// SQLite keeps the file open and locked while a statement exists: a partly read recordset must not
// block other processes.
void SqliteDatabase::Close(sqlite3* handle) {
    for (sqlite3_stmt* statement = sqlite3_next_stmt(handle, nullptr); statement != nullptr;
         statement = sqlite3_next_stmt(handle, statement)) {
        sqlite3_reset(statement);
    }
    if (handle != nullptr && sqlite3_get_autocommit(handle) == 0) {
        sqlite3_exec(handle, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    sqlite3_busy_handler(handle, nullptr, nullptr);
    sqlite3_set_authorizer(handle, nullptr, nullptr);
    sqlite3_close_v2(handle);
}

SqliteDatabase SqliteDatabase::InMemory() {
    return Open(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
}

SqliteDatabase SqliteDatabase::OpenFile(const std::string& path, BusyWait& wait, bool readsOnly) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(ToPath(path), error)) {
        throw DatabaseError({"There is no database file \"" + path + "\"."});
    }
    // An empty file is a new database; an archive starts as one.
    SqliteDatabase database = Open(path, SQLITE_OPEN_READWRITE, readsOnly);
    wait.Serve(database.Handle());
    if (sqlite3_exec(database.Handle(), "SELECT count(*) FROM sqlite_schema", nullptr, nullptr,
                     nullptr) != SQLITE_OK) {
        throw DatabaseError(
            {"Cannot open the database file \"" + path + "\": " + Describe(database.Handle())});
    }
    if (!readsOnly) {
        RequireWritable(database.Handle(), path);
    }
    database.Run(kCacheSize);
    return database;
}

bool SqliteDatabase::HasMoved() const {
    int moved = 0;
    sqlite3_file_control(handle_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
    return moved != 0;
}

SqliteStatement SqliteDatabase::Compile(std::string_view sql, std::string_view shownAs) const {
    const StatementGuard::OnDuty onDuty(*guard_);
    return {handle_.get(), sql, shownAs};
}

void SqliteDatabase::Run(std::string_view sql) const {
    SqliteStatement statement(handle_.get(), sql, sql);
    while (statement.Step()) {
    }
}

}  // namespace morvane::embedded
