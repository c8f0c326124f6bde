#pragma once

#include <map>
#include <string>
#include <vector>

#include "Site.h"

namespace morvane::testing {

using Row = std::vector<std::string>;

struct TableContents {
    std::string Definition;  // its CREATE statement
    std::vector<std::string> Columns;
    std::vector<Row> Rows;

    // The position of a column, letter case ignored.
    std::size_t Position(const std::string& column) const;
    // How often each row is there, of these columns alone, joined by "|".
    std::map<std::string, int> Count(const std::vector<std::string>& columns) const;
    std::map<std::string, int> Count() const { return Count(Columns); }
    std::vector<std::string> ColumnsWithout(const std::vector<std::string>& columns) const;
};

using DatabaseContents = std::map<std::string, TableContents>;  // by the table's name

// Everything in the two databases of a site, read through SQLite itself.
struct Contents {
    DatabaseContents Warehouse;
    DatabaseContents Archive;
};

Contents ReadContents(const Site& site);

std::string JoinRow(const Row& row);

}  // namespace morvane::testing
