// SPDX-License-Identifier: Apache-2.0
#include "demo/SqliteFile.h"

#include <sqlite3.h>

#include <system_error>

namespace morvane::demo {

namespace {

// Also bounds what an index takes to be sorted, so that memory stays flat at any scale.
constexpr int kCacheKib = 8192;
constexpr int kStepsBetweenStopQuestions = 100000;

int AskToStop(void* stop) {
    return (*static_cast<std::function<bool()>*>(stop))() ? 1 : 0;
}

}  // namespace

SqliteFile::SqliteFile(const std::string& path, std::function<bool()> stop)
    : path_(path), stop_(std::move(stop)) {
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    try {
        if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
            Fail();
        }
        sqlite3_progress_handler(db_, kStepsBetweenStopQuestions, AskToStop, &stop_);
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
    // One synced write at the end brings all that was written before to the disk as well. The
    // version number doubles as a first page, which a database without tables would not have.
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

}  // namespace morvane::demo
