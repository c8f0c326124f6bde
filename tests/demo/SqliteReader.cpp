#include "SqliteReader.h"

#include <sqlite3.h>

#include <stdexcept>

namespace morvane::testing {

namespace {

using OnRow = int (*)(void*, int, char**, char**);

void Exec(sqlite3* db, const std::string& sql, OnRow onRow, void* target) {
    if (sqlite3_exec(db, sql.c_str(), onRow, target, nullptr) != SQLITE_OK) {
        throw std::runtime_error(std::string(sqlite3_errmsg(db)) + " in: " + sql);
    }
}

const char* TextOf(const char* value) {
    return value == nullptr ? "NULL" : value;
}

int AddRow(void* target, int count, char** values, char**) {
    std::string row = TextOf(values[0]);
    for (int i = 1; i < count; ++i) {
        row += std::string("|") + TextOf(values[i]);
    }
    static_cast<std::vector<std::string>*>(target)->push_back(row);
    return 0;
}

// FNV-1a, the value's end included.
int HashRow(void* target, int count, char** values, char**) {
    auto& hash = *static_cast<std::uint64_t*>(target);
    for (int i = 0; i < count; ++i) {
        const char* at = TextOf(values[i]);
        do {
            hash = (hash ^ static_cast<unsigned char>(*at)) * 0x100000001b3U;
        } while (*at++ != '\0');
    }
    return 0;
}

}  // namespace

SqliteReader::SqliteReader(const std::string& path) {
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        sqlite3_close(db_);
        throw std::runtime_error("cannot open " + path);
    }
}

SqliteReader::~SqliteReader() {
    sqlite3_close(db_);
}

std::vector<std::string> SqliteReader::Rows(const std::string& sql) const {
    std::vector<std::string> rows;
    Exec(db_, sql, AddRow, &rows);
    return rows;
}

std::int64_t SqliteReader::Number(const std::string& sql) const {
    return std::stoll(Rows(sql).at(0));
}

void SqliteReader::Run(const std::string& sql) const {
    Exec(db_, sql, nullptr, nullptr);
}

std::uint64_t SqliteReader::ContentHash() const {
    std::uint64_t hash = 0xcbf29ce484222325U;
    Exec(db_, "SELECT name, sql FROM sqlite_master ORDER BY rowid", HashRow, &hash);
    for (const std::string& table : Rows("SELECT name FROM sqlite_master WHERE type='table'")) {
        Exec(db_, "SELECT * FROM " + table + " ORDER BY rowid", HashRow, &hash);
    }
    return hash;
}

}  // namespace morvane::testing
