// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "db/odbc/OdbcParameters.h"
#include "db/odbc/OdbcStatement.h"

namespace morvane::odbc {

// Prepared and bound once for all executions of the same text.
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
    // Prepares what has changed and hands the values over.
    void Ready();

    std::shared_ptr<OdbcSession> session_;
    CommandType type_ = CommandType::Text;
    std::optional<int> timeoutSeconds_;  // without a value the default one
    std::string text_;
    bool prepared_ = false;
    std::vector<Parameter> parameters_;
    BoundParameters bound_;
    OdbcStatement statement_;
};

}  // namespace morvane::odbc
