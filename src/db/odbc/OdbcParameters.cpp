// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcParameters.h"

#include <algorithm>

#include "base/Text.h"
#include "db/odbc/OdbcTypes.h"

namespace morvane::odbc {

namespace {

// Microsoft's driver refuses more for the size of a text; 0 says varchar(max) and nvarchar(max).
constexpr SQLULEN kMostBytes = 8000;
constexpr SQLULEN kMostCharacters = 4000;

// Room for the next, longer value of a place.
constexpr std::size_t kUsualLength = 255;

// A text that is not ASCII goes wide, since the server's code page may not have its letters. The
// others go narrow: compared with a wide text, a narrow column's index would not be used.
bool IsWide(const Parameter& parameter, std::string_view text) {
    return !IsAscii(text) || ParameterType(parameter.Type) == SQL_WVARCHAR;
}

SQLULEN TextSize(const Parameter& parameter, std::string_view text, bool wide) {
    const SQLULEN needed = wide ? Utf16Length(text) : text.size();
    const SQLULEN size =
        std::max<SQLULEN>({1, needed, static_cast<SQLULEN>(std::max(parameter.Size, 0))});
    return size > (wide ? kMostCharacters : kMostBytes) ? 0 : size;
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

}  // namespace morvane::odbc
