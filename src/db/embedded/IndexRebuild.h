// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// Keeps the indexes of a table away while many of its rows are deleted, and makes them anew. The
// keys of rows that go together lie all over an index, so that an index larger than the cache costs
// a page read and a page written for each row; to sort it anew costs a fraction of that.
class IndexRebuild {
  public:
    // Drops the indexes of the table that `deleteSql` names when some `rows` rows will go, and that
    // is many for the table. Does nothing outside a transaction: an error could leave the table
    // without them. Throws DatabaseError.
    IndexRebuild(const SqliteDatabase& database, std::string_view deleteSql, std::int64_t rows);
    // Rolls the transaction back when Finish() was not reached.
    ~IndexRebuild();
    IndexRebuild(const IndexRebuild&) = delete;
    IndexRebuild& operator=(const IndexRebuild&) = delete;

    // Makes the indexes as they were. Throws DatabaseError.
    void Finish();

  private:
    bool IsWorthwhile(std::int64_t rows) const;
    void DropIndexes();
    std::int64_t Number(const std::string& sql) const;
    void RollBack() const;

    const SqliteDatabase& database_;
    std::string table_;
    std::vector<std::string> definitions_;
};

}  // namespace morvane::embedded
