// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "core/Connection.h"
#include "support/SqliteFile.h"
#include "support/TempFolder.h"

namespace morvane::testing {

// An open connection of the program's own, with the database as its default.
std::unique_ptr<Connection> ConnectTo(const std::string& server, const std::string& database);

// A small embedded warehouse in a temporary folder: server "sqlite:<folder>", database "dw" with
// the two meta tables, empty.
class TestWarehouse : private TempFolder, public SqliteFile {
  public:
    TestWarehouse();

    std::string Server() const { return "sqlite:" + Folder(); }
    std::string Database() const { return "dw"; }
    const std::string& Folder() const { return TempFolder::Path(); }
    const std::string& File() const { return SqliteFile::Path(); }

    // Rows of the meta tables. A quote in a name is doubled.
    void AddTable(const std::string& name, const std::string& type, bool selected = true,
                  const std::string& whereClause = "") const;
    void AddRelation(const std::string& foreignTable, const std::string& foreignColumns,
                     const std::string& primaryTable, const std::string& primaryColumns,
                     bool slowMoving = false, const std::string& originalKey = "") const;

    // Plain relations, each "foreign_table columns primary_table columns", whose element key is the
    // primary one.
    void Relate(const std::vector<std::string>& relations) const;

    // A dimension table with its row in dwm_tables: `columns` and the two control columns, both 0
    // by default; a slowly-moving one gets start_date, end_date and is_current too.
    void AddDimension(const std::string& name, const std::string& columns,
                      bool selected = true) const;
    void AddSlowMovingDimension(const std::string& name, const std::string& columns) const;
    // A fact table with its row in dwm_tables and an index on its first column.
    void AddFact(const std::string& name, const std::string& columns,
                 const std::string& whereClause = "") const;

    // The table of the lock: whether it is set, and by whom; as a server compares names, letter
    // case means nothing to it.
    void MakeLock(bool set, const std::string& user) const;
    std::string LockRow() const { return Text("SELECT lock, user_name FROM dwm_multiuse"); }

    std::unique_ptr<Connection> Connect() const { return ConnectTo(Server(), Database()); }
};

}  // namespace morvane::testing
