// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// Drops the indexes of a table for a large DELETE and re-creates them. The keys of deleted rows are
// scattered over an index: one larger than the cache costs a page read and a page write per row.
// Sorting it again costs a fraction of that.
class IndexRebuild {
  public:
    // Drops the indexes if about `rows` rows, a large part of the table, will be deleted. Does
    // nothing outside a transaction, where an error could leave the table without indexes. Throws
    // DatabaseError.
    IndexRebuild(const SqliteDatabase& database, std::string_view deleteSql, std::int64_t rows);
    // Rolls back the transaction unless Finish() was called.
    ~IndexRebuild();
    IndexRebuild(const IndexRebuild&) = delete;
    IndexRebuild& operator=(const IndexRebuild&) = delete;

    // Re-creates the indexes. Throws DatabaseError.
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
