// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"
#include "inspect/StepReport.h"
#include "inspect/TemporaryTable.h"
#include "tasks/RelationWalk.h"

namespace morvane {

// A copy of a dimension in a temporary table. The column goes_now is 1 in rows that a run would
// mark. If any fact table is archived, goes_later is 1 in rows that it would mark after that.
class RowCopy {
  public:
    RowCopy(Connection& connection, const std::string& table,
            const std::vector<std::string>& columns, const std::string& marks);

    const std::string& Name() const { return copy_.Name(); }
    // The copy of a column, qualified. Throws DatabaseError if it was not copied.
    std::string Column(std::string_view name) const;

  private:
    std::vector<std::string> columns_;
    TemporaryTable copy_;
};

// Computes what a run would mark without writing to the warehouse: marks copies of the dimensions
// in temporary tables with the kind of statement that a run uses. All functions throw
// DatabaseError.
class MarkingForecast {
  public:
    // `columns`: additional columns to copy from `table`.
    MarkingForecast(Connection& connection, StepReport report, const std::string& table = {},
                    const std::vector<std::string>& columns = {});

    // Marks the copy of the next table that a run would mark and returns its name; empty after the
    // last one.
    std::string Next();

    // The copy of a table that Next() has returned; null for other tables.
    const RowCopy* Copy(const std::string& table) const;
    // The relations by which other tables refer to a table that Next() has returned.
    const std::vector<Relation>& RelationsOf(const std::string& table) const;
    // Whether a run resets the marks of the table before it sets any.
    bool IsReset(const std::string& table) const;

    // The table to read in statements: the copy if there is one, else the table itself.
    std::string Source(const std::string& table) const;
    // A column of the source, qualified.
    std::string Column(const std::string& table, const std::string& column) const;
    // An expression that is 1 for a row of the source that would be marked or archived, else 0.
    std::string GoesNow(const std::string& table) const;
    std::string GoesLater(const std::string& table) const;
    // The condition that a row of the relation's foreign table refers to one of the primary table.
    std::string Refers(const Relation& relation) const;
    // Indexes the columns of a copy that the relation refers to, so that the element of each
    // foreign row can be looked up.
    void IndexCopy(const Relation& relation);

    // Whether any fact table has a condition. If none has, GoesLater() is GoesNow().
    bool Archives() const { return !archivedTables_.empty(); }
    // The fact tables that have a condition, in the order in which they are archived.
    const std::vector<std::string>& ArchivedTables() const { return archivedTables_; }

  private:
    void ReadFactTables();
    void ReadColumns();
    void NeedColumns(const std::string& table, const std::string& list);
    void Mark(const std::string& table);
    void KeepReferredRows(const Relation& relation);
    void KeepRowsOfFactsThatStay(const Relation& relation);

    Connection& connection_;
    StepReport report_;
    RelationWalk walk_;
    // The keys are names in lower case.
    std::map<std::string, std::string> conditions_;  // of all fact tables
    std::map<std::string, std::vector<std::string>> columns_;
    std::map<std::string, std::vector<Relation>> relations_;  // of the tables marked so far
    std::map<std::string, RowCopy> copies_;
    std::vector<std::string> reset_;
    std::vector<std::string> archivedTables_;
    int indexes_ = 0;
    bool begun_ = false;
};

}  // namespace morvane
