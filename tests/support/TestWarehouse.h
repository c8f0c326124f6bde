// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "core/Connection.h"
#include "support/SqliteFile.h"
#include "support/TempFolder.h"

namespace morvane::testing {

// Opens a connection of the engine under test.
std::unique_ptr<Connection> ConnectTo(const std::string& server, const std::string& database);

// An embedded warehouse in a temporary folder: server "sqlite:<folder>", database "dw" with two
// empty meta tables.
class TestWarehouse : private TempFolder, public SqliteFile {
  public:
    TestWarehouse();

    std::string Server() const { return "sqlite:" + Folder(); }
    std::string Database() const { return "dw"; }
    const std::string& Folder() const { return TempFolder::Path(); }
    const std::string& File() const { return SqliteFile::Path(); }

    // Adds a row to a meta table.
    void AddTable(const std::string& name, const std::string& type, bool selected = true,
                  const std::string& whereClause = "") const;
    void AddRelation(const std::string& foreignTable, const std::string& foreignColumns,
                     const std::string& primaryTable, const std::string& primaryColumns,
                     bool slowMoving = false, const std::string& originalKey = "") const;

    // Creates a dimension table and its row in dwm_tables. Adds the control columns: is_sustainable
    // and is_deletable (default 0), for a slowly-moving one also start_date, end_date, is_current.
    void AddDimension(const std::string& name, const std::string& columns,
                      bool selected = true) const;
    void AddSlowMovingDimension(const std::string& name, const std::string& columns) const;
    // Creates a fact table, an index on its first column, and its row in dwm_tables.
    void AddFact(const std::string& name, const std::string& columns,
                 const std::string& whereClause = "") const;

    // Creates the table of the lock. Like a server's, it compares names ignoring case.
    void MakeLock(bool set, const std::string& user) const;
    std::string LockRow() const { return Text("SELECT lock, user_name FROM dwm_multiuse"); }

    std::unique_ptr<Connection> Connect() const { return ConnectTo(Server(), Database()); }
};

}  // namespace morvane::testing
