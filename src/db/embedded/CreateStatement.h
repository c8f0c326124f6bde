// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morvane::embedded {

// The text of a CREATE TABLE statement taken apart, so that a table can be made anew with a column
// or a constraint more or less. In the words of SQLite: what its schema table keeps.
class CreateStatement {
  public:
    // Throws DatabaseError for anything but CREATE TABLE name (...).
    explicit CreateStatement(std::string_view sql);

    // The name of the primary key's constraint: its own, or "PK_" and the table's. No value for a
    // table without a primary key.
    std::optional<std::string> PrimaryKeyName(std::string_view table) const;

    void AddColumn(std::string text);
    void AddConstraint(std::string text) { items_.push_back(std::move(text)); }
    // The primary key of that name, or another constraint of the table. False when there is none.
    bool DropConstraint(std::string_view name, std::string_view table);

    // The expression that a column is computed by, without its parentheses; empty for one that is
    // not.
    std::string ComputedBy(std::string_view column) const;

    // The statement for a table of another name.
    std::string TextFor(std::string_view table) const;

    const std::vector<std::string>& Items() const { return items_; }
    // What follows the closing parenthesis.
    const std::string& Options() const { return options_; }

  private:
    std::vector<std::string> items_;  // column definitions, then constraints, without the commas
    std::string options_;
};

}  // namespace morvane::embedded
