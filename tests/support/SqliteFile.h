// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

struct sqlite3;

namespace morvane::testing {

// A database file, changed and read through SQLite itself, so that a fault in the program's engine
// cannot hide from a test. Every call opens it again.
class SqliteFile {
  public:
    explicit SqliteFile(std::string path) : path_(std::move(path)) {}

    const std::string& Path() const { return path_; }

    // Plain SQLite statements, separated by ";". Makes the file when there is none.
    void Run(const std::string& sql) const;

    // The rows of a query, columns joined by "|", NULL as "NULL".
    std::vector<std::string> Rows(const std::string& sql) const;
    // The rows in one text, joined by blanks.
    std::string Text(const std::string& sql) const;

  private:
    std::string path_;
};

// Another process's load, which lets nobody else into the file while it holds it.
class Loader {
  public:
    explicit Loader(const SqliteFile& file);

    void Take() { Run("BEGIN EXCLUSIVE"); }
    // Does nothing when it does not hold the file.
    void Release();

  private:
    struct Close {
        void operator()(sqlite3* handle) const;
    };
    void Run(const char* sql);

    std::unique_ptr<sqlite3, Close> file_;
};

}  // namespace morvane::testing
