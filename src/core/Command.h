// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/Recordset.h"

namespace morvane {

// An input parameter of a command, described like the column that it is compared with.
struct Parameter {
    std::string Name;
    DataType Type = DataType::VarChar;
    int Size = 0;
    int Precision = 0;
    int NumericScale = 0;
    morvane::Value Value;
};

// Sets the value of the parameter with this name, ignoring case; false if there is none.
bool SetParameterValue(std::vector<Parameter>& parameters, std::string_view name,
                       const Value& value);

enum class CommandType { Text, StoredProcedure };

// A prepared statement with "?" placeholders. Parameters are bound by position, in the order in
// which they were appended; a name identifies a parameter whose value is set later.
class Command {
  public:
    virtual ~Command() = default;

    // Keeps the parameters.
    virtual void SetText(std::string_view sql) = 0;
    // Whether the text is a statement (the default) or the name of a stored procedure.
    virtual void SetType(CommandType type) = 0;
    // Timeout in seconds; 0 for none.
    virtual void SetTimeout(int seconds) = 0;
    virtual void AppendParameter(Parameter parameter) = 0;
    // Positions start at 0.
    virtual void DeleteParameter(std::size_t position) = 0;
    // Throws DatabaseError if there is no such parameter.
    virtual void SetParameter(std::string_view name, const Value& value) = 0;

    // Executes the statement; returns the number of rows affected.
    virtual std::int64_t Execute() = 0;
    // Executes a query and buffers its rows in memory.
    virtual std::unique_ptr<Recordset> OpenRecordset() = 0;
};

// Statements executed one by one in the order in which they were added. An engine may send many of
// them in one request to save round trips. An error is then thrown by a later call than the one
// that added the statement; it names the statement, and none of the following ones is executed. Use
// it inside a transaction.
class StatementBatch {
  public:
    virtual ~StatementBatch() = default;

    // The parameters are bound to the "?" placeholders by position.
    virtual void Add(std::string_view sql, const std::vector<Parameter>& parameters) = 0;
    void Add(std::string_view sql) { Add(sql, {}); }
    // Executes the pending statements. Without it, statements added since the last call may never
    // be sent.
    virtual void Finish() = 0;
};

// Called for each executed statement in order, with its number (from 0) and its rows affected.
using RowCountSink = std::function<void(std::size_t statement, std::int64_t rows)>;

// Executes each statement as soon as it is added. A text with parameters is prepared once. The two
// functions are the engine's; they throw once the connection is closed or destroyed.
class ImmediateBatch : public StatementBatch {
  public:
    using ExecuteText = std::function<std::int64_t(std::string_view sql)>;
    using MakeCommand = std::function<std::unique_ptr<Command>()>;

    ImmediateBatch(ExecuteText execute, MakeCommand makeCommand, RowCountSink counted)
        : execute_(std::move(execute)),
          makeCommand_(std::move(makeCommand)),
          counted_(std::move(counted)) {}

    void Add(std::string_view sql, const std::vector<Parameter>& parameters) override;
    void Finish() override {}

  private:
    Command& CommandFor(std::string_view sql, const std::vector<Parameter>& parameters);

    ExecuteText execute_;
    MakeCommand makeCommand_;
    RowCountSink counted_;
    std::size_t added_ = 0;
    std::map<std::string, std::unique_ptr<Command>, std::less<>> commands_;
};

}  // namespace morvane
