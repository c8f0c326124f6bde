// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "core/Connection.h"
#include "db/odbc/OdbcApi.h"

namespace morvane::odbc {

// The OLE DB code of an ODBC type; the name tells money from other decimals.
DataType DataTypeOf(SQLSMALLINT odbcType, std::string_view typeName);

// How a column is fetched without loss.
enum class FetchAs { Text, Integer, Real, Single, Binary };
FetchAs FetchKind(DataType type);

// The type under which a parameter is sent. Dates and exact numbers go as text, which the server
// converts or refuses; as a time stamp, the driver would store a bad text as a date of its own.
SQLSMALLINT ParameterType(DataType type);

// A text as an N'...' literal, quotes doubled.
std::string WideLiteral(std::string_view text);

}  // namespace morvane::odbc
