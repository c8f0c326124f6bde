// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"
#include "tasks/RelationWalk.h"

namespace morvane {

// Which facts there are: those of now, or those that archiving would leave.
enum class Facts { AsTheyAre, AfterArchiving };

// Told before each step that may take long.
using StepReport = std::function<void(const std::string& step)>;

// How a relation's primary table depends on its foreign table.
struct Reference {
    Relation Of;
    std::vector<ColumnPair> Columns;
    std::string KeyTable;  // temporary: the keys that rows which are kept refer to
};

// What a run would mark, found without writing to the warehouse: the keys that kept rows refer to
// are collected in temporary tables of the session, in the order in which a run marks. The SQL that
// the functions return holds as long as this object and its connection. Everything throws
// DatabaseError.
class MarkingForecast {
  public:
    MarkingForecast(Connection& connection, StepReport report);
    ~MarkingForecast();
    MarkingForecast(const MarkingForecast&) = delete;
    MarkingForecast& operator=(const MarkingForecast&) = delete;

    // Goes on to the next table that a run would mark and returns its name; empty after the last.
    std::string Next();

    // The references of a table that Next() has returned.
    const std::vector<Reference>& ReferencesOf(const std::string& table) const;
    bool IsMarked(const std::string& table) const;
    bool IsFactTable(const std::string& table) const;
    // Whether a run resets the marks of the table before it sets any.
    bool IsReset(const std::string& table) const;

    // 1 for a row of the table, which the statement names in its FROM, that would be marked or
    // archived, else 0. For a table that a run would not mark, the present mark.
    std::string GoesSql(const std::string& table, Facts facts) const;
    // The condition that a row of the reference's primary table is referred to by a row that stays.
    std::string UsedSql(const Reference& reference, Facts facts) const;

    // The conditions by which the rows of a fact table are archived, joined by OR; empty if there
    // is none.
    std::string ArchivingCondition(const std::string& table) const;
    // The fact tables that have a condition, in the order in which they are archived.
    const std::vector<std::string>& ArchivedTables() const { return archivedTables_; }

  private:
    void ReadFactTables();
    void CollectKeys(Reference& reference);

    Connection& connection_;
    StepReport report_;
    RelationWalk walk_;
    // By lower-case names.
    std::map<std::string, std::string> conditions_;  // of all fact tables
    std::map<std::string, std::vector<Reference>> marked_;
    std::vector<std::string> reset_;
    std::vector<std::string> archivedTables_;
    std::vector<std::string> temporaryTables_;
    bool begun_ = false;
};

// A name for a temporary table, different from all others of the process.
std::string NewTemporaryName();

// The name of a column of a temporary key table.
std::string KeyColumn(std::size_t position);

// The number in the first row and column of a query; 0 for NULL or without a row.
std::int64_t QueryNumber(Connection& connection, const std::string& sql);

// Drops a temporary table and ignores errors.
void DropTemporary(Connection& connection, const std::string& table);

}  // namespace morvane
