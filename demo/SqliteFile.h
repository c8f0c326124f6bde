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

// What a person has to know: the file, what failed and why.
class DemoError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Amounts in hundredths and thousandths, kept as whole numbers until they are written.
struct Hundredths {
    std::int64_t Number;
};
struct Thousandths {
    std::int64_t Number;
};

// A value that may be missing; a std::optional inlined into here makes compilers warn in error.
template <typename Type>
struct OrNull {
    Type Value;
    bool IsNull = false;
};

// A new database file that is filled without a journal: it is no use until Finish() returned.
class SqliteFile {
  public:
    // Makes the file, which must not exist. `stop` is asked now and then; when it answers true the
    // statement under way fails.
    SqliteFile(const std::string& path, std::function<bool()> stop);
    ~SqliteFile();
    SqliteFile(const SqliteFile&) = delete;
    SqliteFile& operator=(const SqliteFile&) = delete;

    void Execute(const std::string& sql);
    // Commits, brings everything to the disk and closes.
    void Finish();

  private:
    friend class Inserter;
    [[noreturn]] void Fail() const;

    std::string path_;
    std::function<bool()> stop_;
    sqlite3* db_ = nullptr;
};

// Adds rows to one table by a prepared statement.
class Inserter {
  public:
    Inserter(SqliteFile& file, std::string_view table, int columns);
    ~Inserter();
    Inserter(const Inserter&) = delete;
    Inserter& operator=(const Inserter&) = delete;

    // One value a column, in the table's order.
    template <typename... Values>
    void Row(const Values&... values) {
        int place = 0;
        (Bind(++place, values), ...);
        Step(place);
    }
    std::int64_t Rows() const { return rows_; }

  private:
    // Texts are bound without a copy: they live until the row is written.
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

}  // namespace morvane::demo
