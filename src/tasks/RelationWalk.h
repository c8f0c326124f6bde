// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// A row of dwm_star_relations. The columns are comma-separated lists.
struct Relation {
    std::string PrimaryTable;
    std::string PrimaryColumns;
    std::string ForeignTable;
    std::string ForeignColumns;
};

// A pair of columns that must be equal for a row to refer to an element.
struct ColumnPair {
    std::string Primary;
    std::string Foreign;
};

// The column pairs of a relation, as written. Throws std::out_of_range if it has fewer foreign
// columns than primary columns.
std::vector<ColumnPair> ColumnPairs(const Relation& relation);

// The tables whose marks a run resets before it sets any: dimensions that are selected and have a
// relation. Throws DatabaseError.
std::vector<std::string> SelectedDimensions(Connection& connection);

// Walks the relations from the fact tables outwards, one table at a time: a table comes after all
// tables that refer to it. Only reads. All functions throw DatabaseError.
class RelationWalk {
  public:
    explicit RelationWalk(Connection& connection) : connection_(connection) {}

    // Finds the fact tables to begin with.
    void Begin();
    bool Waiting() const { return !workQueue_.empty(); }
    const std::string& Table() const { return workQueue_.front(); }
    // Whether the elements of the current table are marked: not those of a fact table or of a table
    // that refers to itself.
    bool IsMarked();
    // The relations whose primary table is the current table. Reads them all at once and checks
    // their names.
    std::vector<Relation> Relations();
    // Ends the work on the current table and queues the tables that are ready now.
    void Advance();

    bool IsFactTable(std::string_view table) {
        return Exists("SELECT * FROM dwm_tables WHERE table_name = '" + std::string(table) +
                      "' AND Upper(table_type) = 'FACT'");
    }

  private:
    std::vector<std::string> LoadTableList(const std::string& sql);
    void AddProcessed(const std::string& table);
    void Queue(const std::string& table);
    bool Exists(const std::string& sql) { return !connection_.OpenRecordset(sql)->Eof(); }

    Connection& connection_;
    std::deque<std::string> workQueue_;
    // Lower-case names.
    std::unordered_set<std::string> queuedTables_;  // including those that have left the queue
    std::unordered_set<std::string> processedTables_;
    std::string processedList_;  // the same names, quoted and comma-separated for SQL
};

}  // namespace morvane
