// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/DataType.h"
#include "core/DatabaseError.h"
#include "core/Recordset.h"
#include "core/TableDefinition.h"

namespace morvane {

// An input parameter of a command, described as the column that it is compared with.
struct Parameter {
    std::string Name;
    DataType Type = DataType::VarChar;
    int Size = 0;
    int Precision = 0;
    int NumericScale = 0;
    morvane::Value Value;
};

enum class CommandType { Text, StoredProcedure };

// A prepared statement text with "?" places. The parameters fill the places by position, in the
// order in which they were appended; their names serve to find them again.
class Command {
  public:
    virtual ~Command() = default;

    // A new text keeps the parameters.
    virtual void SetText(std::string_view sql) = 0;
    // Text unless set: a statement, or the name of a stored procedure.
    virtual void SetType(CommandType type) = 0;
    // Seconds to wait for the server; 0 for as long as it takes.
    virtual void SetTimeout(int seconds) = 0;
    virtual void AppendParameter(Parameter parameter) = 0;
    // By position from 0.
    virtual void DeleteParameter(std::size_t position) = 0;
    // Throws DatabaseError when no parameter has the name.
    virtual void SetParameter(std::string_view name, const Value& value) = 0;

    // Runs the statement; returns the number of rows affected.
    virtual std::int64_t Execute() = 0;
    // Runs a query; the rows are in memory.
    virtual std::unique_ptr<Recordset> OpenRecordset() = 0;
};

// Statements that are executed one by one in the order in which they were added. An engine may
// send many of them together, so that not each waits for the server's answer: an error then comes
// from a later call than the statement's own. It names the statement, and nothing after it is
// executed. To be used inside a transaction.
class StatementBatch {
  public:
    virtual ~StatementBatch() = default;

    // The parameters fill the "?" places by position.
    virtual void Add(std::string_view sql, const std::vector<Parameter>& parameters) = 0;
    void Add(std::string_view sql) { Add(sql, {}); }
    // Executes what waits. What was added after the last Finish() may never have been sent.
    virtual void Finish() = 0;
};

// Called for each statement that was executed, in order: its number, from 0, and its rows affected.
using RowCountSink = std::function<void(std::size_t statement, std::int64_t rows)>;

enum class RecordsetKind {
    Buffered,  // in memory; the connection is free at once
    Streamed,  // read as asked for; the connection is busy until the recordset goes
};

// What a name from the meta tables is to name.
enum class NameOf { Table, Column };

// A connection to a database server, in ADO's terms. Everything that can fail throws
// DatabaseError; a destructor never does, and rolls an open transaction back.
//
// Commands, batches and streamed recordsets may outlive the connection. Once it is closed or gone,
// what is asked of them throws DatabaseError, also after it has been opened again. Another default
// database ends streamed recordsets in the same way; commands and batches either work in the new
// database or are ended too. Buffered recordsets are their owner's alone.
class Connection {
  public:
    virtual ~Connection() = default;

    // Connection properties: "Data Source", "Integrated Security", "User ID", "Password",
    // "Initial Catalog", and, once open, "Server Name" and, of a SQL Server,
    // "Engine Edition" (the number that SERVERPROPERTY gives). One never set is empty. "Expected
    // Rows" tells an engine that can use it how many rows the next DELETE will take. "Copy Server"
    // and "Copy Database" name the one other database that an INSERT may write to; an engine whose
    // server does not decide that itself reaches no other.
    virtual std::string Property(std::string_view name) const = 0;
    virtual void SetProperty(std::string_view name, std::string_view value) = 0;

    virtual int ConnectionTimeout() const = 0;  // seconds
    virtual void SetConnectionTimeout(int seconds) = 0;

    // Opens with the properties set before. A closed connection may be opened again.
    virtual void Open() = 0;
    virtual void Close() = 0;
    virtual bool IsOpen() const = 0;

    virtual std::string DefaultDatabase() const = 0;
    // On failure the database stays as it was.
    virtual void SetDefaultDatabase(std::string_view name) = 0;

    // Runs one statement as text; returns the rows affected, -1 where the server counts none.
    virtual std::int64_t Execute(std::string_view sql) = 0;
    virtual std::unique_ptr<Recordset> OpenRecordset(
        std::string_view sql, RecordsetKind kind = RecordsetKind::Buffered) = 0;
    virtual std::unique_ptr<Command> CreateCommand() = 0;
    virtual std::unique_ptr<StatementBatch> CreateBatch(RowCountSink counted = {}) = 0;

    virtual void BeginTrans() = 0;
    virtual void CommitTrans() = 0;
    virtual void RollbackTrans() = 0;

    // The meta tables' names of tables and columns stand in statements as they are. To be asked
    // before they do: throws where such a text would be more to the engine than one name, for
    // example a condition or a comment behind it. SQL Server is left to judge by the login's
    // rights.
    virtual void RequireName(NameOf what, std::string_view name) const = 0;
    void RequireTableName(std::string_view name) const { RequireName(NameOf::Table, name); }
    // Each of a comma-separated list.
    void RequireColumnNames(std::string_view list) const;

    // Questions to the catalogue of the default database; names are compared as the server does,
    // never as patterns. The first three mean tables and views of any schema.
    virtual bool TableExists(std::string_view table) = 0;
    // One question for all that a check of the meta data wants to know; no value for a table that
    // is not there.
    virtual std::optional<NamedTable> FindTable(std::string_view table) = 0;
    bool ColumnExists(std::string_view table, std::string_view column);
    bool IsIndexed(std::string_view table);
    // Of the table that a statement means by the bare name: the one in the login's own schema, else
    // in dbo. Throws DatabaseError for a table that is not there.
    virtual TableDefinition DescribeTable(std::string_view table) = 0;
};

// Makes a closed connection of the engine that the server's name asks for.
using ConnectionFactory = std::function<std::unique_ptr<Connection>(std::string_view server)>;

}  // namespace morvane
