// SPDX-License-Identifier: Apache-2.0
#include "inspect/Indexes.h"

#include <algorithm>

#include "base/Text.h"
#include "sql/Quoting.h"

namespace morvane {

namespace {

bool BeginsWith(const std::vector<std::string>& index, const std::vector<std::string>& columns) {
    // In any order: conditions compare all of the columns with "=".
    return index.size() >= columns.size() &&
           std::all_of(index.begin(), index.begin() + static_cast<std::ptrdiff_t>(columns.size()),
                       [&](const std::string& name) {
                           return std::ranges::any_of(columns, [&](const std::string& column) {
                               return EqualsIgnoreCase(column, name);
                           });
                       });
}

std::string IndexName(const std::string& table, const std::vector<std::string>& columns) {
    std::string name = "ix_" + table + "_" + Join(columns, "_");
    std::erase_if(name, [](char c) { return c == '[' || c == ']' || c == '"' || c == '.'; });
    return SqlName(name);
}

class Search {
  public:
    explicit Search(Connection& connection) : connection_(connection) {}

    void Add(const std::string& table, const std::vector<std::string>& columns) {
        const bool covered = HasIndex(connection_, table, columns);
        const bool known = std::ranges::any_of(missing_, [&](const MissingIndex& other) {
            return EqualsIgnoreCase(other.Table, table) &&
                   EqualsIgnoreCase(Join(other.Columns, ","), Join(columns, ","));
        });
        if (!covered && !known) {
            missing_.push_back({table, columns,
                                "CREATE INDEX " + IndexName(table, columns) + " ON " + table +
                                    " (" + Join(columns, ", ") + ")"});
        }
    }
    std::vector<MissingIndex> Missing() && { return std::move(missing_); }

  private:
    Connection& connection_;
    std::vector<MissingIndex> missing_;
};

}  // namespace

bool HasIndex(Connection& connection, const std::string& table,
              const std::vector<std::string>& columns) {
    return std::ranges::any_of(connection.IndexColumns(table),
                               [&](const auto& index) { return BeginsWith(index, columns); });
}

std::vector<MissingIndex> FindMissingIndexes(Connection& connection) {
    Search search(connection);
    const auto rows = connection.OpenRecordset(
        "SELECT DISTINCT foreign_table,foreign_columns,primary_table,slow_moving_dim,"
        "original_primary_key FROM dwm_star_relations");
    for (; !rows->Eof(); rows->MoveNext()) {
        const Recordset& row = *rows;
        search.Add(std::string(Trim(row[0].Text())), SplitColumnList(row[1].Text()));
        if (row[3].Flag()) {
            search.Add(std::string(Trim(row[2].Text())), SplitColumnList(row[4].Text()));
        }
    }
    return std::move(search).Missing();
}

}  // namespace morvane
