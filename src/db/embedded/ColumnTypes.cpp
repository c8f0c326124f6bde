// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/ColumnTypes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <vector>

#include "base/Text.h"

namespace morvane::embedded {

namespace {

struct KnownType {
    std::string_view Name;
    DataType Type;
    int Size;       // bytes, or characters when no length is declared
    int Precision;  // when none is declared
};

constexpr std::array kKnownTypes = {
    KnownType{"bit", DataType::Boolean, 2, 0},
    KnownType{"tinyint", DataType::TinyInt, 1, 3},
    KnownType{"smallint", DataType::SmallInt, 2, 5},
    KnownType{"int", DataType::Integer, 4, 10},
    KnownType{"integer", DataType::Integer, 4, 10},
    KnownType{"bigint", DataType::BigInt, 8, 19},
    KnownType{"real", DataType::Single, 4, 7},
    KnownType{"float", DataType::Double, 8, 15},
    KnownType{"money", DataType::Currency, 8, 19},
    KnownType{"smallmoney", DataType::Currency, 8, 10},
    KnownType{"decimal", DataType::Numeric, 19, 18},
    KnownType{"numeric", DataType::Numeric, 19, 18},
    KnownType{"char", DataType::Char, 1, 0},
    KnownType{"varchar", DataType::VarChar, 1, 0},
    // The server's old long text cannot be compared; SQLite's "text" is what a varchar is.
    KnownType{"text", DataType::VarChar, 2147483647, 0},
    KnownType{"nchar", DataType::WChar, 1, 0},
    KnownType{"nvarchar", DataType::VarWChar, 1, 0},
    KnownType{"ntext", DataType::LongVarWChar, 1073741823, 0},
    KnownType{"datetime", DataType::DBTimeStamp, 16, 23},
    KnownType{"datetime2", DataType::DBTimeStamp, 16, 27},
    KnownType{"smalldatetime", DataType::DBTimeStamp, 16, 16},
    KnownType{"date", DataType::DBTimeStamp, 16, 10},
    KnownType{"uniqueidentifier", DataType::Guid, 16, 0},
    KnownType{"binary", DataType::Binary, 1, 0},
    KnownType{"varbinary", DataType::VarBinary, 1, 0},
};

bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// SQLite's rules of column affinity, in their order.
DataType TypeByAffinity(std::string_view name) {
    const std::string upper = ToUpper(name);
    if (Contains(upper, "INT")) {
        return DataType::BigInt;
    }
    if (Contains(upper, "CHAR") || Contains(upper, "CLOB") || Contains(upper, "TEXT")) {
        return DataType::VarChar;
    }
    if (Contains(upper, "REAL") || Contains(upper, "FLOA") || Contains(upper, "DOUB")) {
        return DataType::Double;
    }
    return upper.empty() || Contains(upper, "BLOB") ? DataType::VarChar : DataType::Numeric;
}

std::vector<int> DeclaredNumbers(std::string_view declared, std::size_t open) {
    std::vector<int> numbers;
    const std::size_t close = declared.find(')', open);
    for (const std::string& piece : SplitColumnList(declared.substr(open + 1, close - open - 1))) {
        int number = 2147483647;  // "max"
        std::from_chars(piece.data(), piece.data() + piece.size(), number);
        numbers.push_back(number);
    }
    return numbers;
}

}  // namespace

ColumnType ParseColumnType(std::string_view declared) {
    const std::size_t open = declared.find('(');
    const std::string_view name = Trim(declared.substr(0, open));
    const auto* const known =
        std::find_if(kKnownTypes.begin(), kKnownTypes.end(),
                     [&](const KnownType& type) { return EqualsIgnoreCase(type.Name, name); });
    ColumnType type;
    if (known == kKnownTypes.end()) {
        type.Type = TypeByAffinity(name);
        return type;
    }
    type = {known->Type, known->Size, known->Precision, 0};
    if (open == std::string_view::npos) {
        return type;
    }
    const std::vector<int> numbers = DeclaredNumbers(declared, open);
    if (known->Type == DataType::Numeric) {
        type.Precision = numbers[0];
        type.NumericScale = numbers.size() > 1 ? numbers[1] : 0;
    } else if (known->Precision == 0) {
        type.DefinedSize = numbers[0];
    }
    return type;
}

bool IsDateType(std::string_view declared) {
    return ParseColumnType(declared).Type == DataType::DBTimeStamp;
}

}  // namespace morvane::embedded
