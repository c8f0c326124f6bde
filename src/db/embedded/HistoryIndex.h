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
// No index of the table's can serve the comparison of days, and the table may have none for the
// key. This one holds both. It exists inside a transaction only: no other connection sees it, a
// rollback or a crash removes it, and so does the destructor.
class HistoryIndex {
  public:
    // `sql` is the update as SQLite reads it. Null for a statement of any other form.
    static std::unique_ptr<HistoryIndex> For(const SqliteDatabase& database, std::string_view sql);
    ~HistoryIndex();
    HistoryIndex(const HistoryIndex&) = delete;
    HistoryIndex& operator=(const HistoryIndex&) = delete;

    // The steps of SQLite's machine, roughly, for which the index can be made.
    std::int64_t CostInSteps() const;

    // Makes the index. False when it cannot be made and the transaction goes on without it, as
    // when a row holds a text that is no date. Throws DatabaseError when the transaction is lost.
    bool Create();
    // Removes it again. Throws DatabaseError.
    void Drop();

    // The same update, with the days compared as the index holds them.
    const std::string& Statement() const { return statement_; }

  private:
    explicit HistoryIndex(const SqliteDatabase& database) : database_(database.Watched()) {}
    // Null outside a transaction, and once the database is closed.
    std::shared_ptr<sqlite3> InTransaction() const;

    std::weak_ptr<sqlite3> database_;
    std::string table_;
    std::string name_;     // quoted
    std::string columns_;  // what it holds, with commas between
    std::string statement_;
    bool created_ = false;
};

}  // namespace morvane::embedded
