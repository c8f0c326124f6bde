// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "core/Recordset.h"

namespace morvane::embedded {

// A column's type as the server would describe it.
struct ColumnType {
    DataType Type = DataType::VarChar;
    int DefinedSize = 0;
    int Precision = 0;
    int NumericScale = 0;
};

// Reads a declared type ("decimal(18,4)", "nvarchar(50)"). A type that the server does not have
// counts by SQLite's own rules of affinity.
ColumnType ParseColumnType(std::string_view declared);

// True for the types whose values are dates, with or without a time of day.
bool IsDateType(std::string_view declared);

}  // namespace morvane::embedded
