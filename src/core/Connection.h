// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Command.h"
#include "core/DatabaseError.h"
#include "core/Recordset.h"
#include "core/RunSettings.h"
#include "core/TableDefinition.h"

namespace morvane {

enum class RecordsetKind {
    Buffered,  // all rows in memory; the connection is free at once
    Streamed,  // rows are fetched on demand; the connection is busy until the recordset is
               // destroyed
};

// What a name in the meta tables refers to.
enum class NameOf { Table, Column };

// A connection to a database server, in ADO's terms. Every operation throws DatabaseError on
// failure. The destructor rolls back an open transaction and never throws.
//
// Commands, batches and streamed recordsets may outlive the connection. After it is closed or
// destroyed, their operations throw DatabaseError, even if it is opened again. Changing the default
// database invalidates streamed recordsets in the same way; commands and batches either work in the
// new database or are invalidated too. Buffered recordsets are independent of the connection.
class Connection {
  public:
    virtual ~Connection() = default;

    // Connection properties: "Data Source", "Integrated Security", "User ID", "Password" and
    // "Initial Catalog"; on an open connection also "Server Name" and, for SQL Server,
    // "Engine Edition" (SERVERPROPERTY's number). An unset property is empty. "Affected Rows" is
    // "Changed" if an UPDATE ... FROM does not count rows that already have the value.
    // "Copy Server" and "Copy Database" name the only other database that an INSERT may write to,
    // for engines that enforce this themselves. "Mode", set to "Read" before opening, makes such an
    // engine refuse everything but reading, also from that database, and writing to the session's
    // temporary tables, whose names begin with "#".
    virtual std::string Property(std::string_view name) const = 0;
    virtual void SetProperty(std::string_view name, std::string_view value) = 0;

    // The login properties as one record. SetLogin leaves out the user name and password under NT
    // authentication.
    ServerLogin Login() const;
    void SetLogin(const ServerLogin& login);

    virtual int ConnectionTimeout() const = 0;  // seconds
    virtual void SetConnectionTimeout(int seconds) = 0;

    // Opens the connection with its properties. A closed connection can be opened again.
    virtual void Open() = 0;
    virtual void Close() = 0;
    virtual bool IsOpen() const = 0;

    virtual std::string DefaultDatabase() const = 0;
    // On failure the database is unchanged.
    virtual void SetDefaultDatabase(std::string_view name) = 0;

    // Executes one statement. Returns the number of rows affected, or -1 if the server reports
    // none. `expectedRows`: how many rows a DELETE is expected to affect, if known; an engine may
    // choose its plan by it.
    virtual std::int64_t Execute(std::string_view sql, std::int64_t expectedRows = 0) = 0;
    virtual std::unique_ptr<Recordset> OpenRecordset(
        std::string_view sql, RecordsetKind kind = RecordsetKind::Buffered) = 0;
    virtual std::unique_ptr<Command> CreateCommand() = 0;
    virtual std::unique_ptr<StatementBatch> CreateBatch(RowCountSink counted = {}) = 0;

    virtual void BeginTrans() = 0;
    virtual void CommitTrans() = 0;
    virtual void RollbackTrans() = 0;

    // Table and column names from the meta tables are pasted into statements. Call this first: it
    // throws if the engine would parse the text as more than one name, for example with a condition
    // or a comment behind it. With SQL Server the login's permissions decide instead.
    virtual void RequireName(NameOf what, std::string_view name) const = 0;
    void RequireTableName(std::string_view name) const { RequireName(NameOf::Table, name); }
    // Checks each name of a comma-separated list.
    void RequireColumnNames(std::string_view list) const;

    // Catalogue queries in the default database. Names are compared as the server compares them,
    // never as patterns. All but DescribeTable and IndexColumns consider tables and views in any
    // schema.
    virtual bool TableExists(std::string_view table) = 0;
    // Everything that the meta data check needs, in one query; no value if there is no such table.
    virtual std::optional<NamedTable> FindTable(std::string_view table) = 0;
    bool ColumnExists(std::string_view table, std::string_view column);
    bool IsIndexed(std::string_view table);
    // The key columns of each index of a table, in order; empty if there is no such table.
    virtual std::vector<std::vector<std::string>> IndexColumns(std::string_view table) = 0;
    // Describes the table that a statement means by the unqualified name: the one in the login's
    // default schema, else in dbo. Throws DatabaseError if there is none.
    virtual TableDefinition DescribeTable(std::string_view table) = 0;
};

// Creates a closed connection with the engine for the server's name.
using ConnectionFactory = std::function<std::unique_ptr<Connection>(std::string_view server)>;

}  // namespace morvane
