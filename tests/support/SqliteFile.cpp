// SPDX-License-Identifier: Apache-2.0
#include "support/SqliteFile.h"

#include <sqlite3.h>

#include <stdexcept>

namespace morvane::testing {

namespace {

class Handle {
  public:
    explicit Handle(const std::string& file) {
        if (sqlite3_open(file.c_str(), &db_) != SQLITE_OK) {
            throw std::runtime_error("cannot open " + file);
        }
        sqlite3_busy_timeout(db_, 5000);
        // Tests do not need durable files, and syncing is slow.
        sqlite3_exec(db_, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    }
    ~Handle() { sqlite3_close(db_); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    void Run(const std::string& sql, int (*onRow)(void*, int, char**, char**), void* target) {
        char* error = nullptr;
        if (sqlite3_exec(db_, sql.c_str(), onRow, target, &error) != SQLITE_OK) {
            const std::string text = error == nullptr ? "unknown error" : error;
            sqlite3_free(error);
            throw std::runtime_error(text + " in: " + sql);
        }
    }

  private:
    sqlite3* db_ = nullptr;
};

}  // namespace

void SqliteFile::Run(const std::string& sql) const {
    Handle(path_).Run(sql, nullptr, nullptr);
}

std::vector<std::string> SqliteFile::Rows(const std::string& sql) const {
    std::vector<std::string> rows;
    const auto addRow = [](void* target, int count, char** values, char**) {
        std::string row;
        for (int i = 0; i < count; ++i) {
            row += (i == 0 ? "" : "|") + std::string(values[i] == nullptr ? "NULL" : values[i]);
        }
        static_cast<std::vector<std::string>*>(target)->push_back(row);
        return 0;
    };
    Handle(path_).Run(sql, addRow, &rows);
    return rows;
}

std::string SqliteFile::Text(const std::string& sql) const {
    std::string text;
    for (const std::string& row : Rows(sql)) {
        text += (text.empty() ? "" : " ") + row;
    }
    return text;
}

std::string SqliteFile::Dump() const {
    std::string dump = Text("SELECT type, name, sql FROM sqlite_schema ORDER BY type, name");
    for (const std::string& table :
         Rows("SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name")) {
        dump += "\n" + table + ": " + Text("SELECT * FROM \"" + table + "\"");
    }
    return dump;
}

Loader::Loader(const SqliteFile& file) {
    sqlite3* handle = nullptr;
    sqlite3_open(file.Path().c_str(), &handle);
    file_.reset(handle);
}

void Loader::Release() {
    if (sqlite3_get_autocommit(file_.get()) == 0) {
        Run("COMMIT");
    }
}

void Loader::Close::operator()(sqlite3* handle) const {
    sqlite3_close(handle);
}

void Loader::Run(const char* sql) {
    if (sqlite3_exec(file_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw std::runtime_error(std::string(sql) + ": " + sqlite3_errmsg(file_.get()));
    }
}

}  // namespace morvane::testing
