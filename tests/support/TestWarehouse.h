#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "support/TempFolder.h"

namespace morvane::testing {

// A small embedded warehouse in a temporary folder: server "sqlite:<folder>", database "dw" with
// the two meta tables, empty. It is filled and read back through SQLite itself, so that a fault in
// the program's engine cannot hide from a test.
class TestWarehouse {
  public:
    TestWarehouse();

    std::string Server() const { return "sqlite:" + folder_.Path(); }
    std::string Database() const { return "dw"; }
    const std::string& Folder() const { return folder_.Path(); }
    std::string File() const { return folder_ / "dw.db"; }

    // Plain SQLite statements, separated by ";".
    void Run(const std::string& sql) const;

    // The rows of a query, columns joined by "|", NULL as "NULL".
    std::vector<std::string> Rows(const std::string& sql) const;
    // The rows in one text, joined by blanks.
    std::string Text(const std::string& sql) const;

    // Rows of the meta tables. A quote in a name is doubled.
    void AddTable(const std::string& name, const std::string& type, bool selected = true,
                  const std::string& whereClause = "") const;
    void AddRelation(const std::string& foreignTable, const std::string& foreignColumns,
                     const std::string& primaryTable, const std::string& primaryColumns,
                     bool slowMoving = false, const std::string& originalKey = "") const;

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

    // An open connection of the program's own, with the database as its default.
    std::unique_ptr<Connection> Connect() const;

  private:
    TempFolder folder_;
};

}  // namespace morvane::testing
