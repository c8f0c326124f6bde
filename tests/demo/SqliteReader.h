#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct sqlite3;

namespace morvane::testing {

// Reads a database file that it never changes.
class SqliteReader {
  public:
    explicit SqliteReader(const std::string& path);
    ~SqliteReader();
    SqliteReader(const SqliteReader&) = delete;
    SqliteReader& operator=(const SqliteReader&) = delete;

    // Columns joined by "|", NULL as "NULL".
    std::vector<std::string> Rows(const std::string& sql) const;
    std::int64_t Number(const std::string& sql) const;
    // For temporary tables, which live beside the file.
    void Run(const std::string& sql) const;

    // A hash of every value of every table in the order of the rows.
    std::uint64_t ContentHash() const;

  private:
    sqlite3* db_ = nullptr;
};

}  // namespace morvane::testing
