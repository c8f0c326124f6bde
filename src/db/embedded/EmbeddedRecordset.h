// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/Recordset.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// Streams the rows of a prepared query.
class EmbeddedRecordset : public Recordset {
  public:
    // Runs the query to its first row. MoveNext() throws once the database has expired.
    EmbeddedRecordset(std::weak_ptr<sqlite3> database, SqliteStatement statement);

    bool Eof() const override { return eof_; }
    void MoveNext() override;
    const std::vector<Field>& Fields() const override { return fields_; }

  private:
    void LoadRow();

    std::weak_ptr<sqlite3> database_;
    SqliteStatement statement_;
    std::vector<Field> fields_;
    bool eof_ = false;
};

// A column of a query's result as CREATE TABLE defines it, with the type and collation of the
// column that it comes from.
std::string ResultColumnDefinition(sqlite3_stmt* statement, int column);

}  // namespace morvane::embedded
