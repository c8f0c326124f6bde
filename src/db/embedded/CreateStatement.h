// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morvane::embedded {

// The expression that stands for getdate() as a column default. SQLite stores it in the schema,
// where other programs read it, so it uses only SQLite's own functions.
inline constexpr std::string_view kLocalTimeDefault = "datetime('now', 'localtime')";

// A default from SQLite's catalogue in T-SQL: getdate() for the above, a literal unchanged, any
// other expression in parentheses.
std::string ServerDefault(std::string_view sqliteDefault);

// A CREATE TABLE statement of SQLite's schema, taken apart to re-create the table with a column or
// constraint more or less.
class CreateStatement {
  public:
    // Throws DatabaseError for anything but CREATE TABLE name (...).
    explicit CreateStatement(std::string_view sql);

    // The name of the primary key constraint, "PK_" and the table's name by default. No value
    // without a primary key.
    std::optional<std::string> PrimaryKeyName(std::string_view table) const;

    void AddColumn(std::string text);
    void AddConstraint(std::string text) { items_.push_back(std::move(text)); }
    // Removes a primary key or table constraint. False if there is none of that name.
    bool DropConstraint(std::string_view name, std::string_view table);

    // The expression of a computed column, without its parentheses; empty for other columns.
    std::string ComputedBy(std::string_view column) const;

    // The statement for a table of that name.
    std::string TextFor(std::string_view table) const;

    const std::vector<std::string>& Items() const { return items_; }
    // The text after the closing parenthesis.
    const std::string& Options() const { return options_; }

  private:
    std::vector<std::string> items_;  // column definitions, then constraints
    std::string options_;
};

}  // namespace morvane::embedded
