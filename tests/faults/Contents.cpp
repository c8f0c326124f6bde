#include "Contents.h"

#include <algorithm>
#include <stdexcept>

#include "core/Text.h"
#include "support/SqliteFile.h"

namespace morvane::testing {

namespace {

DatabaseContents ReadDatabase(const std::string& path) {
    const SqliteFile file(path);
    if (const std::string check = file.Text("PRAGMA integrity_check"); check != "ok") {
        throw std::runtime_error(path + " is damaged: " + check);
    }
    DatabaseContents tables;
    for (const std::string& name :
         file.Rows("SELECT name FROM sqlite_schema WHERE type = 'table'")) {
        TableContents& table = tables[name];
        table.Definition = file.Text("SELECT sql FROM sqlite_schema WHERE name = '" + name + "'");
        table.Columns = file.Rows("SELECT name FROM pragma_table_info('" + name + "')");
        for (const std::string& row : file.Rows("SELECT * FROM " + name)) {
            table.Rows.push_back(Split(row, '|'));
        }
    }
    return tables;
}

}  // namespace

std::string JoinRow(const Row& row) {
    return Join(row, "|");
}

std::size_t TableContents::Position(const std::string& column) const {
    const auto found = std::find_if(Columns.begin(), Columns.end(), [&](const std::string& held) {
        return EqualsIgnoreCase(held, Trim(column));
    });
    if (found == Columns.end()) {
        throw std::out_of_range("no column " + column);
    }
    return static_cast<std::size_t>(found - Columns.begin());
}

std::map<std::string, int> TableContents::Count(const std::vector<std::string>& columns) const {
    std::vector<std::size_t> positions;
    for (const std::string& column : columns) {
        positions.push_back(Position(column));
    }
    std::map<std::string, int> counts;
    for (const Row& row : Rows) {
        Row part;
        for (const std::size_t position : positions) {
            part.push_back(row[position]);
        }
        ++counts[JoinRow(part)];
    }
    return counts;
}

std::vector<std::string> TableContents::ColumnsWithout(
    const std::vector<std::string>& columns) const {
    std::vector<std::string> rest;
    for (const std::string& column : Columns) {
        if (std::find(columns.begin(), columns.end(), column) == columns.end()) {
            rest.push_back(column);
        }
    }
    return rest;
}

Contents ReadContents(const Site& site) {
    return {ReadDatabase(site.Warehouse()), ReadDatabase(site.Archive())};
}

}  // namespace morvane::testing
