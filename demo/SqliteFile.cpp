// SPDX-License-Identifier: Apache-2.0
#include "demo/SqliteFile.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <array>
#include <filesystem>
#include <random>
#include <system_error>

#include "base/modFileFunctions.h"

namespace morvane::demo {

namespace {

// SQLite's sorter respects this limit too, so memory does not grow with the scale.
constexpr int kCacheKib = 8192;
constexpr int kStepsBetweenPolls = 100000;

// Files that SQLite may leave beside a database when its process was killed.
constexpr std::array kCompanions = {"-journal", "-wal", "-shm"};

int PollStop(void* stop) {
    return (*static_cast<std::function<bool()>*>(stop))() ? 1 : 0;
}

void RemoveQuietly(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove(ToPath(path), ignored);
}

}  // namespace

SqliteFile::SqliteFile(const std::string& path, std::function<bool()> stop)
    : path_(path), stop_(std::move(stop)) {
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    try {
        if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
            Fail();
        }
        sqlite3_progress_handler(db_, kStepsBetweenPolls, PollStop, &stop_);
        Execute(
            "PRAGMA journal_mode=OFF;PRAGMA synchronous=OFF;PRAGMA locking_mode=EXCLUSIVE;"
            "PRAGMA cache_size=-" +
            std::to_string(kCacheKib) + ";BEGIN");
    } catch (...) {
        sqlite3_close(db_);
        throw;
    }
}

SqliteFile::~SqliteFile() {
    sqlite3_close(db_);
}

void SqliteFile::Execute(const std::string& sql) {
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail();
    }
}

void SqliteFile::Finish() {
    // One synced write at the end also syncs everything written before it. Setting the version
    // number makes SQLite write a first page even if there are no tables.
    Execute("COMMIT;PRAGMA synchronous=FULL;PRAGMA journal_mode=DELETE;PRAGMA user_version=1");
    if (sqlite3_close(db_) != SQLITE_OK) {
        Fail();
    }
    db_ = nullptr;
}

void SqliteFile::Fail() const {
    if (sqlite3_errcode(db_) == SQLITE_INTERRUPT) {
        throw DemoError("Stopped; nothing was made.");
    }
    std::string text = "Cannot write " + path_ + ": " + sqlite3_errmsg(db_);
    if (const int code = sqlite3_system_errno(db_); code != 0) {
        text += " (" + std::generic_category().message(code) + ")";
    }
    throw DemoError(text);
}

Inserter::Inserter(SqliteFile& file, std::string_view table, int columns)
    : file_(file), columns_(columns) {
    std::string sql = "INSERT INTO " + std::string(table) + " VALUES(?";
    for (int i = 1; i < columns; ++i) {
        sql += ",?";
    }
    if (sqlite3_prepare_v3(file.db_, (sql + ")").c_str(), -1, SQLITE_PREPARE_PERSISTENT,
                           &statement_, nullptr) != SQLITE_OK) {
        file.Fail();
    }
}

Inserter::~Inserter() {
    sqlite3_finalize(statement_);
}

void Inserter::Bind(int place, std::int64_t value) {
    sqlite3_bind_int64(statement_, place, value);
}

void Inserter::Bind(int place, double value) {
    sqlite3_bind_double(statement_, place, value);
}

void Inserter::Bind(int place, std::string_view value) {
    sqlite3_bind_text(statement_, place, value.data(), static_cast<int>(value.size()),
                      SQLITE_STATIC);
}

void Inserter::BindNull(int place) {
    sqlite3_bind_null(statement_, place);
}

void Inserter::Step(int places) {
    if (places != columns_) {
        throw std::logic_error("a row with " + std::to_string(places) + " values for " +
                               std::to_string(columns_) + " columns");
    }
    if (sqlite3_step(statement_) != SQLITE_DONE) {
        file_.Fail();
    }
    sqlite3_reset(statement_);
    ++rows_;
}

// The random part keeps two processes that write to the same folder apart.
PendingFile::PendingFile(std::string target)
    : target_(std::move(target)),
      temporary_(fmt::format("{}.{:08x}.part", target_, std::random_device()())) {}

PendingFile::~PendingFile() {
    if (!committed_) {
        RemoveQuietly(temporary_);
        RemoveQuietly(temporary_ + kCompanions[0]);
    }
}

void PendingFile::Commit() {
    std::error_code error;
    if (std::filesystem::is_directory(ToPath(target_), error)) {
        throw DemoError("Cannot replace " + target_ + ": it is a folder");
    }
    // SQLite would replay the old database's journal into the new one.
    RemoveQuietly(target_);
    for (const char* companion : kCompanions) {
        RemoveQuietly(target_ + companion);
    }
    std::filesystem::rename(ToPath(temporary_), ToPath(target_), error);
    if (error) {
        throw DemoError("Cannot make " + target_ + ": " + error.message());
    }
    committed_ = true;
}

}  // namespace morvane::demo
