// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcCommand.h"

#include <algorithm>
#include <string_view>

#include "base/Text.h"
#include "db/odbc/OdbcRecordset.h"
#include "sql/MaskPasswords.h"

namespace morvane::odbc {

namespace {

// The largest text sizes that Microsoft's driver accepts; 0 means varchar(max) or nvarchar(max).
constexpr SQLULEN kMostBytes = 8000;
constexpr SQLULEN kMostCharacters = 4000;

// Reserved, so that a longer value later does not move the buffer.
constexpr std::size_t kUsualLength = 255;

// Non-ASCII text is sent as nvarchar, because the server's code page may lack its characters. Other
// text is sent as varchar unless the column is wide: the index of a varchar column is not used for
// an nvarchar value. Dates and exact numbers are text too, which the server converts or refuses; as
// a timestamp, the driver would store an invalid text as some other date.
bool IsWide(const Parameter& parameter, std::string_view text) {
    return !IsAscii(text) || parameter.Type == DataType::WChar ||
           parameter.Type == DataType::VarWChar || parameter.Type == DataType::LongVarWChar;
}

SQLULEN TextSize(const Parameter& parameter, std::string_view text, bool wide) {
    const SQLULEN needed = wide ? Utf16Length(text) : text.size();
    const SQLULEN size =
        std::max<SQLULEN>({1, needed, static_cast<SQLULEN>(std::max(parameter.Size, 0))});
    return size > (wide ? kMostCharacters : kMostBytes) ? 0 : size;
}

// "{call name(?, ?)}"
std::string CallText(std::string_view procedure, std::size_t parameters) {
    std::string text = "{call " + std::string(procedure) + "(";
    for (std::size_t i = 0; i < parameters; ++i) {
        text += i == 0 ? "?" : ", ?";
    }
    return text + ")}";
}

}  // namespace

void BoundParameters::Bind(const OdbcStatement& statement, std::size_t position, const Shape& shape,
                           Cell& cell) {
    SQLPOINTER data = cell.Text.data();
    if (shape.CType == SQL_C_SBIGINT) {
        data = &cell.Integer;
    } else if (shape.CType == SQL_C_DOUBLE) {
        data = &cell.Real;
    }
    statement.Call([&] {
        return SQLBindParameter(statement.Get(), static_cast<SQLUSMALLINT>(position + 1),
                                SQL_PARAM_INPUT, shape.CType, shape.SqlType, shape.Size, 0, data,
                                static_cast<SQLLEN>(cell.Text.capacity()), &cell.Indicator);
    });
    cell.Bound = shape;
    cell.IsBound = true;
}

void BoundParameters::SetText(const OdbcStatement& statement, std::size_t position,
                              const Parameter& parameter, Cell& cell) {
    const bool null = parameter.Value.IsNull();
    const std::string text = parameter.Value.Text();
    const bool wide = IsWide(parameter, text);
    Shape shape{SQL_C_CHAR, static_cast<SQLSMALLINT>(wide ? SQL_WVARCHAR : SQL_VARCHAR),
                TextSize(parameter, text, wide)};
    if (cell.IsBound && cell.Bound.CType == SQL_C_CHAR &&
        (null || (cell.Bound.SqlType == shape.SqlType &&
                  (cell.Bound.Size == 0 || (shape.Size != 0 && shape.Size <= cell.Bound.Size))))) {
        shape = cell.Bound;
    }
    const char* former = cell.Text.data();
    cell.Text.reserve(kUsualLength);
    cell.Text.assign(text);
    cell.Indicator = null ? SQL_NULL_DATA : static_cast<SQLLEN>(text.size());
    if (!cell.IsBound || cell.Bound != shape || cell.Text.data() != former) {
        Bind(statement, position, shape, cell);
    }
}

void BoundParameters::SetValues(const OdbcStatement& statement,
                                const std::vector<Parameter>& parameters) {
    cells_.resize(parameters.size());
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        Cell& cell = cells_[i];
        const auto& value = parameters[i].Value.Data();
        Shape shape;
        if (const auto* integer = std::get_if<std::int64_t>(&value)) {
            cell.Integer = *integer;
            shape = {SQL_C_SBIGINT, SQL_BIGINT, 0};
        } else if (const auto* real = std::get_if<double>(&value)) {
            cell.Real = *real;
            shape = {SQL_C_DOUBLE, SQL_DOUBLE, 0};
        } else {
            SetText(statement, i, parameters[i], cell);
            continue;
        }
        cell.Indicator = 0;
        if (!cell.IsBound || cell.Bound != shape) {
            Bind(statement, i, shape, cell);
        }
    }
}

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
    if (!SetParameterValue(parameters_, name, value)) {
        throw DatabaseError({"The command has no parameter \"" + std::string(name) + "\"."},
                            MaskPasswords(text_));
    }
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
    prepared_ = false;  // unless the recordset returns the statement
    OdbcRecordset rows(std::move(statement_));
    auto buffered = BufferRecordset(rows);
    statement_ = rows.TakeStatement();
    prepared_ = true;
    return buffered;
}

}  // namespace morvane::odbc
