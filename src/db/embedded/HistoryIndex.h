// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// An index for an update that finds the versions of one element by a day:
//     UPDATE t SET ... WHERE key = ? AND (datediff(day, ?, start_date) = 0)
// The table's own indexes cannot serve the comparison of days, and the key may not be indexed. This
// index holds both. It exists only inside a transaction: other connections never see it, and a
// rollback, a crash or the destructor removes it.
class HistoryIndex {
  public:
    // `sql` is the translated update. Null for a statement of another form.
    static std::unique_ptr<HistoryIndex> For(const SqliteDatabase& database, std::string_view sql);
    ~HistoryIndex();
    HistoryIndex(const HistoryIndex&) = delete;
    HistoryIndex& operator=(const HistoryIndex&) = delete;

    // The approximate cost of creating the index, in steps of SQLite's virtual machine.
    std::int64_t CostInSteps() const;

    // Creates the index. False if that fails and the transaction continues without it, for example
    // because a row holds an invalid date. Throws DatabaseError if the transaction is lost.
    bool Create();
    // Removes the index. Throws DatabaseError.
    void Drop();

    // The same update, comparing days in the form of the index.
    const std::string& Statement() const { return statement_; }

  private:
    explicit HistoryIndex(const SqliteDatabase& database) : database_(database.Watched()) {}
    // Null outside a transaction and after the database is closed.
    std::shared_ptr<sqlite3> InTransaction() const;

    std::weak_ptr<sqlite3> database_;
    std::string table_;
    std::string name_;     // quoted
    std::string columns_;  // indexed expressions, comma-separated
    std::string statement_;
    bool created_ = false;
};

}  // namespace morvane::embedded
