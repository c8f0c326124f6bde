// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "db/odbc/OdbcSession.h"

namespace morvane::odbc {

// The parameters of a prepared statement, bound to buffers that do not move. Executing with other
// values does not bind again, because a driver may then prepare the statement again, which costs
// two round trips to the server.
class BoundParameters {
  public:
    // Call this after the statement has been prepared, which removes the bindings.
    void Forget() { cells_.clear(); }

    // Sets the values by position. Binds only those that do not fit the current binding. Throws
    // DatabaseError.
    void SetValues(const OdbcStatement& statement, const std::vector<Parameter>& parameters);

  private:
    // The types and size of a binding.
    struct Shape {
        SQLSMALLINT CType = 0;
        SQLSMALLINT SqlType = 0;
        SQLULEN Size = 0;
        bool operator==(const Shape&) const = default;
    };

    struct Cell {
        Shape Bound;
        std::string Text;  // bound with its capacity
        SQLBIGINT Integer = 0;
        SQLDOUBLE Real = 0;
        SQLLEN Indicator = 0;
        bool IsBound = false;
    };

    static void Bind(const OdbcStatement& statement, std::size_t position, const Shape& shape,
                     Cell& cell);
    static void SetText(const OdbcStatement& statement, std::size_t position,
                        const Parameter& parameter, Cell& cell);

    std::deque<Cell> cells_;
};

// A command whose statement is prepared and bound once per text.
class OdbcCommand : public Command {
  public:
    explicit OdbcCommand(std::shared_ptr<OdbcSession> session) : session_(std::move(session)) {}

    void SetText(std::string_view sql) override;
    void SetType(CommandType type) override { type_ = type; }
    void SetTimeout(int seconds) override { timeoutSeconds_ = seconds; }
    void AppendParameter(Parameter parameter) override;
    void DeleteParameter(std::size_t position) override;
    void SetParameter(std::string_view name, const Value& value) override;
    std::int64_t Execute() override;
    std::unique_ptr<Recordset> OpenRecordset() override;

  private:
    // Prepares the statement if the text has changed, and sets the parameter values.
    void Ready();

    std::shared_ptr<OdbcSession> session_;
    CommandType type_ = CommandType::Text;
    std::optional<int> timeoutSeconds_;  // the default timeout if not set
    std::string text_;
    bool prepared_ = false;
    std::vector<Parameter> parameters_;
    BoundParameters bound_;
    OdbcStatement statement_;
};

}  // namespace morvane::odbc
