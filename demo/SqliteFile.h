// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "demo/Dates.h"

struct sqlite3;
struct sqlite3_stmt;

namespace morvane::demo {

// The message names the file, what failed and why.
class DemoError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Decimal amounts as integers; the column gets the quotient.
struct Hundredths {
    std::int64_t Number;
};
struct Thousandths {
    std::int64_t Number;
};

// A nullable value. With std::optional, g++ gives false "maybe uninitialized" warnings here.
template <typename Type>
struct OrNull {
    Type Value;
    bool IsNull = false;
};

// A new database file, written without a journal: it is valid only after Finish() has returned.
class SqliteFile {
  public:
    // The file must not exist. `stop` is polled; when it returns true the current statement fails.
    SqliteFile(const std::string& path, std::function<bool()> stop);
    ~SqliteFile();
    SqliteFile(const SqliteFile&) = delete;
    SqliteFile& operator=(const SqliteFile&) = delete;

    void Execute(const std::string& sql);
    // Commits, syncs to disk and closes.
    void Finish();

  private:
    friend class Inserter;
    [[noreturn]] void Fail() const;

    std::string path_;
    std::function<bool()> stop_;
    sqlite3* db_ = nullptr;
};

// Inserts rows into one table through a prepared statement.
class Inserter {
  public:
    Inserter(SqliteFile& file, std::string_view table, int columns);
    ~Inserter();
    Inserter(const Inserter&) = delete;
    Inserter& operator=(const Inserter&) = delete;

    // One value per column, in the order of the table's columns.
    template <typename... Values>
    void Row(const Values&... values) {
        int place = 0;
        (Bind(++place, values), ...);
        Step(place);
    }
    std::int64_t Rows() const { return rows_; }

  private:
    // Texts are bound without copying; they outlive the call of Row().
    void Bind(int place, std::int64_t value);
    void Bind(int place, int value) { Bind(place, std::int64_t{value}); }
    void Bind(int place, unsigned value) { Bind(place, std::int64_t{value}); }
    void Bind(int place, bool value) { Bind(place, std::int64_t{value}); }
    void Bind(int place, double value);
    void Bind(int place, Hundredths value) { Bind(place, static_cast<double>(value.Number) / 100); }
    void Bind(int place, Thousandths value) {
        Bind(place, static_cast<double>(value.Number) / 1000);
    }
    void Bind(int place, std::string_view value);
    void Bind(int place, const std::string& value) { Bind(place, std::string_view(value)); }
    void Bind(int place, const char* value) { Bind(place, std::string_view(value)); }
    void Bind(int place, const DateTimeText& value) { Bind(place, value.View()); }
    void BindNull(int place);
    template <typename Type>
    void Bind(int place, const OrNull<Type>& value) {
        value.IsNull ? BindNull(place) : Bind(place, value.Value);
    }
    void Step(int places);

    SqliteFile& file_;
    int columns_;
    sqlite3_stmt* statement_ = nullptr;
    std::int64_t rows_ = 0;
};

// A file written under a temporary name beside its target. Commit() renames it to the target;
// without Commit() the destructor removes it.
class PendingFile {
  public:
    explicit PendingFile(std::string target);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    const std::string& TemporaryPath() const { return temporary_; }
    const std::string& Target() const { return target_; }

    // Replaces an existing database of that name. Throws DemoError.
    void Commit();

  private:
    std::string target_;
    std::string temporary_;
    bool committed_ = false;
};

}  // namespace morvane::demo
