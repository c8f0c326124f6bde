// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// The fact tables of a warehouse, each with its archiving condition. Rows that meet the condition
// are archived; with an empty condition none are.
class FactConditions {
  public:
    // Reads the conditions. Throws DatabaseError. The connection must outlive this object.
    explicit FactConditions(Connection& warehouse);

    std::size_t Count() const { return rows_.size(); }
    std::string Table(std::size_t row) const { return rows_[row].Table.Text(); }
    std::string Condition(std::size_t row) const { return rows_[row].Condition.Text(); }

    // Trims a new condition, compiles it unless it is empty, and saves it at once. Returns false,
    // with the reason in `errorText` and nothing changed, if the server refuses the condition or
    // another user has changed the row. Condition() is then what that user has saved.
    bool Change(std::size_t row, std::string_view condition, std::string& errorText);

  private:
    struct Row {
        Value Table;
        Value Condition;
    };

    bool Compiles(const Row& row, const std::string& condition, std::string& errorText);
    void Save(Row& row, const std::string& condition);
    void Reread(Row& row);

    Connection& warehouse_;
    Field tableField_;
    Field conditionField_;
    std::vector<Row> rows_;
};

}  // namespace morvane
