// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcCommand.h"

#include <string_view>

#include "base/Text.h"
#include "db/odbc/OdbcRecordset.h"
#include "sql/MaskPasswords.h"

namespace morvane::odbc {

namespace {

// "{call name(?, ?)}"
std::string CallText(std::string_view procedure, std::size_t parameters) {
    std::string text = "{call " + std::string(procedure) + "(";
    for (std::size_t i = 0; i < parameters; ++i) {
        text += i == 0 ? "?" : ", ?";
    }
    return text + ")}";
}

}  // namespace

void OdbcCommand::SetText(std::string_view sql) {
    text_ = sql;
    prepared_ = false;
}

void OdbcCommand::AppendParameter(Parameter parameter) {
    parameters_.push_back(std::move(parameter));
    prepared_ = false;
}

void OdbcCommand::DeleteParameter(std::size_t position) {
    parameters_.erase(parameters_.begin() + static_cast<std::ptrdiff_t>(position));
    prepared_ = false;
}

void OdbcCommand::SetParameter(std::string_view name, const Value& value) {
    for (Parameter& parameter : parameters_) {
        if (EqualsIgnoreCase(parameter.Name, name)) {
            parameter.Value = value;
            return;
        }
    }
    throw DatabaseError({"The command has no parameter \"" + std::string(name) + "\"."},
                        MaskPasswords(text_));
}

void OdbcCommand::Ready() {
    if (!prepared_) {
        statement_ = OdbcStatement(
            session_, type_ == CommandType::Text ? text_ : CallText(text_, parameters_.size()),
            timeoutSeconds_);
        statement_.Prepare();
        bound_.Forget();
        prepared_ = true;
    }
    bound_.SetValues(statement_, parameters_);
}

std::int64_t OdbcCommand::Execute() {
    Ready();
    statement_.ExecutePrepared();
    return statement_.Finish();
}

std::unique_ptr<Recordset> OdbcCommand::OpenRecordset() {
    Ready();
    statement_.ExecutePrepared();
    prepared_ = false;  // unless the statement comes back from the rows
    OdbcRecordset rows(std::move(statement_));
    auto buffered = BufferRecordset(rows);
    statement_ = rows.TakeStatement();
    prepared_ = true;
    return buffered;
}

}  // namespace morvane::odbc
