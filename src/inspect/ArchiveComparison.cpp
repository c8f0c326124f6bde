// SPDX-License-Identifier: Apache-2.0
#include "inspect/ArchiveComparison.h"

#include "base/Text.h"
#include "db/ConnectionFactory.h"
#include "inspect/TemporaryTable.h"
#include "tasks/modArchiveFactTables.h"

namespace morvane {

namespace {

// The columns by which rows are compared: the primary key, or all columns without one.
std::vector<std::string> ComparedColumns(const TableDefinition& table) {
    if (table.PrimaryKey) {
        return table.PrimaryKey->Columns;
    }
    std::vector<std::string> names;
    for (const ColumnDefinition& column : table.Columns) {
        names.push_back(column.Name);
    }
    return names;
}

// `archived`: the archive table as a statement of the warehouse names it.
void CompareTable(FindingCollector& found, const std::string& table, const std::string& archived) {
    const TableDefinition definition = found.Warehouse().DescribeTable(table);
    const std::vector<std::string> key = ComparedColumns(definition);
    const std::string columns = "[" + Join(key, "],[") + "]";
    const TemporaryTable both(found.Warehouse(), "SELECT * INTO * FROM (SELECT " + columns +
                                                     " FROM " + table + " INTERSECT SELECT " +
                                                     columns + " FROM " + archived +
                                                     ") AS in_both");
    found.AddIfAny({"in_archive", table,
                    definition.PrimaryKey ? "rows whose key is in the archive as well"
                                          : "rows that are in the archive as well"},
                   "SELECT * FROM " + both.Name(), key);
}

}  // namespace

void CompareWithArchive(FindingCollector& found, const StarSchema& star,
                        const ArchiveSettings& archive, const ArchiveOpener& open) {
    const std::string database(Trim(archive.Database));
    if (database.empty()) {
        found.AddNotChecked("the archive: dwm_archive names no database");
        return;
    }
    Connection& warehouse = found.Warehouse();
    const std::string server(Trim(archive.Login.Server));
    const bool sameServer = IsSameServer(server, Trim(warehouse.Property("Data Source")));
    if (!sameServer && archive.Login.NTAuthentication) {
        found.AddNotChecked("the archive: the warehouse server reaches " + server +
                            " only through a linked server, which exists only during a run");
        return;
    }
    std::unique_ptr<Connection> connection;
    found.CheckIfPossible("the archive", [&] { connection = open(archive); });
    if (connection == nullptr) {
        return;
    }
    if (IsSameDatabase(warehouse, *connection)) {
        found.AddNotChecked("the archive: dwm_archive names the warehouse itself");
        return;
    }
    warehouse.SetProperty("Copy Server", server);
    warehouse.SetProperty("Copy Database", database);
    for (const std::string& table : star.FactTables) {
        found.Report(table);
        found.CheckIfPossible("the archive table " + table, [&] {
            if (connection->TableExists(table)) {
                const std::string name = database + ".dbo." + table;
                CompareTable(found, table, sameServer ? name : RowsetOf(archive.Login, name));
            }
        });
    }
}

}  // namespace morvane
