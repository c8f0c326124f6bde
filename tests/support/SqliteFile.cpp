// SPDX-License-Identifier: Apache-2.0
#include "support/SqliteFile.h"

#include <sqlite3.h>

#include <stdexcept>

namespace morvane::testing {

namespace {

using OnRow = int (*)(void*, int, char**, char**);

std::shared_ptr<sqlite3> Open(const std::string& path) {
    sqlite3* handle = nullptr;
    if (sqlite3_open(path.c_str(), &handle) != SQLITE_OK) {
        throw std::runtime_error("cannot open " + path);
    }
    sqlite3_busy_timeout(handle, 5000);
    // Tests do not need durable files, and syncing is slow.
    sqlite3_exec(handle, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    return {handle, sqlite3_close};
}

void Execute(sqlite3& file, const std::string& sql, OnRow onRow = nullptr, void* target = nullptr) {
    if (sqlite3_exec(&file, sql.c_str(), onRow, target, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(&file) + (" in: " + sql));
    }
}

}  // namespace

void SqliteFile::Run(const std::string& sql) const {
    Execute(*Open(path_), sql);
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
    Execute(*Open(path_), sql, addRow, &rows);
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

Loader::Loader(const SqliteFile& file) : file_(Open(file.Path())) {}

void Loader::Take() {
    Execute(*file_, "BEGIN EXCLUSIVE");
}

void Loader::Release() {
    if (sqlite3_get_autocommit(file_.get()) == 0) {
        Execute(*file_, "COMMIT");
    }
}

}  // namespace morvane::testing
