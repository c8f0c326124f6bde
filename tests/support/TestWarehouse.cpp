// SPDX-License-Identifier: Apache-2.0
#include "support/TestWarehouse.h"

#include "base/Text.h"
#include "db/ConnectionFactory.h"
#include "sql/Quoting.h"

namespace morvane::testing {

namespace {

std::string QuotedOrNull(const std::string& text) {
    return text.empty() ? "NULL" : QuotedText(text);
}

}  // namespace

std::unique_ptr<Connection> ConnectTo(const std::string& server, const std::string& database) {
    auto connection = CreateConnection(server);
    connection->SetProperty("Data Source", server);
    connection->SetConnectionTimeout(20);
    connection->Open();
    connection->SetDefaultDatabase(database);
    return connection;
}

TestWarehouse::TestWarehouse() : SqliteFile(Folder() + "/dw.db") {
    Run("CREATE TABLE dwm_tables(table_name varchar(128) COLLATE NOCASE,"
        " table_type varchar(20) COLLATE NOCASE, where_clause varchar(8000), is_selected bit);"
        "CREATE TABLE dwm_star_relations(selected bit,"
        " foreign_table varchar(128) COLLATE NOCASE, foreign_columns varchar(1000),"
        " primary_table varchar(128) COLLATE NOCASE, primary_columns varchar(1000),"
        " slow_moving_dim bit, original_primary_key varchar(1000))");
}

void TestWarehouse::AddTable(const std::string& name, const std::string& type, bool selected,
                             const std::string& whereClause) const {
    Run("INSERT INTO dwm_tables VALUES(" + QuotedText(name) + "," + QuotedText(type) + "," +
        QuotedOrNull(whereClause) + "," + (selected ? "1" : "0") + ")");
}

void TestWarehouse::AddRelation(const std::string& foreignTable, const std::string& foreignColumns,
                                const std::string& primaryTable, const std::string& primaryColumns,
                                bool slowMoving, const std::string& originalKey) const {
    Run("INSERT INTO dwm_star_relations VALUES(1," + QuotedText(foreignTable) + "," +
        QuotedText(foreignColumns) + "," + QuotedText(primaryTable) + "," +
        QuotedText(primaryColumns) + "," + (slowMoving ? "1" : "0") + "," +
        QuotedOrNull(originalKey) + ")");
}

void TestWarehouse::AddDimension(const std::string& name, const std::string& columns,
                                 bool selected) const {
    Run("CREATE TABLE " + name + "(" + columns +
        ", is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0)");
    AddTable(name, "DIMENSION", selected);
}

void TestWarehouse::AddSlowMovingDimension(const std::string& name,
                                           const std::string& columns) const {
    AddDimension(name, columns + ", start_date datetime, end_date datetime, is_current bit");
}

void TestWarehouse::AddFact(const std::string& name, const std::string& columns,
                            const std::string& whereClause) const {
    const std::string firstColumn = columns.substr(0, columns.find_first_of(" ,"));
    Run("CREATE TABLE " + name + "(" + columns + ");CREATE INDEX ix_" + name + " ON " + name + "(" +
        firstColumn + ")");
    AddTable(name, "FACT", true, whereClause);
}

void TestWarehouse::MakeLock(bool set, const std::string& user) const {
    Run("CREATE TABLE dwm_multiuse(lock bit, user_name varchar(100) COLLATE NOCASE);"
        "INSERT INTO dwm_multiuse VALUES(" +
        std::string(set ? "1" : "0") + "," + QuotedText(user) + ")");
}

}  // namespace morvane::testing
