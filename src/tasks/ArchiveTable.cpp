// SPDX-License-Identifier: Apache-2.0
#include "tasks/ArchiveTable.h"

#include "core/Transaction.h"
#include "db/TableScript.h"

namespace morvane {

void CreateArchiveCopy(Connection& warehouse, Connection& archive, const std::string& table) {
    TableDefinition definition = warehouse.DescribeTable(table);
    definition.Name = table;
    // Half a table would be taken for a whole one by the next run.
    Transaction transaction(archive);
    archive.Execute(CreateTableScript(definition));
    archive.Execute("ALTER TABLE " + table +
                    " ADD date_of_archiving datetime NOT NULL DEFAULT getdate() WITH VALUES");
    if (definition.PrimaryKey) {
        const std::string& key = definition.PrimaryKey->Name;
        archive.Execute("ALTER TABLE " + table + " DROP CONSTRAINT " + key);
        std::string sql =
            "ALTER TABLE " + table + " ADD CONSTRAINT " + key + " PRIMARY KEY CLUSTERED (";
        for (const std::string& column : definition.PrimaryKey->Columns) {
            sql += column + ", ";
        }
        archive.Execute(sql + "date_of_archiving) ON [PRIMARY]");
    }
    transaction.Commit();
}

}  // namespace morvane
