// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// The fact tables of a warehouse, each with the condition that its rows meet when they are to be
// archived. An empty condition archives nothing.
class FactConditions {
  public:
    // Reads them. Throws DatabaseError. The connection is kept.
    explicit FactConditions(Connection& warehouse);

    std::size_t Count() const { return rows_.size(); }
    std::string Table(std::size_t row) const { return rows_[row].Table.Text(); }
    std::string Condition(std::size_t row) const { return rows_[row].Condition.Text(); }

    // Compiles a new condition and saves it at once, without the white space around it; an empty
    // one needs no compiling. False when the server refuses it, or when the table's row is not as
    // it was read: then `errorText` says why, and nothing has changed.
    bool Change(std::size_t row, std::string_view condition, std::string& errorText);

  private:
    struct Row {
        Value Table;
        Value Condition;
    };

    bool Compiles(const Row& row, const std::string& condition, std::string& errorText);
    void Save(Row& row, const std::string& condition);

    Connection& warehouse_;
    Field tableField_;
    Field conditionField_;
    std::vector<Row> rows_;
};

}  // namespace morvane
