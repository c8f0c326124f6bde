// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace morvane {

// Column types by their OLE DB type codes (DBTYPEENUM of oledb.h), which both engines report.
enum class DataType {
    SmallInt = 2,
    Integer = 3,
    Single = 4,
    Double = 5,
    Currency = 6,
    Boolean = 11,
    TinyInt = 17,
    BigInt = 20,
    Guid = 72,
    Binary = 128,
    Char = 129,
    WChar = 130,
    Numeric = 131,
    DBTimeStamp = 135,
    VarChar = 200,
    LongVarChar = 201,
    VarWChar = 202,
    LongVarWChar = 203,
    VarBinary = 204,
};

}  // namespace morvane
