// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

struct sqlite3;

namespace morvane::testing {

// A database file that tests read and change directly through SQLite, independently of the engine
// under test. Every call opens the file again.
class SqliteFile {
  public:
    explicit SqliteFile(std::string path) : path_(std::move(path)) {}

    const std::string& Path() const { return path_; }

    // Executes SQLite statements separated by ";". Creates the file if it does not exist.
    void Run(const std::string& sql) const;

    // The rows of a query, columns joined by "|", NULL as "NULL".
    std::vector<std::string> Rows(const std::string& sql) const;
    // The rows joined by spaces.
    std::string Text(const std::string& sql) const;
    // The definitions and rows of all tables.
    std::string Dump() const;

  private:
    std::string path_;
};

// Locks a database file exclusively, as a load in another process does.
class Loader {
  public:
    explicit Loader(const SqliteFile& file);

    void Take();
    // Does nothing if the file is not locked.
    void Release();

  private:
    std::shared_ptr<sqlite3> file_;
};

}  // namespace morvane::testing
