// SPDX-License-Identifier: Apache-2.0
#include "db/TableScript.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "sql/Lexer.h"
#include "sql/Quoting.h"

namespace morvane {

namespace {

template <std::size_t N>
bool Holds(const std::array<std::string_view, N>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

constexpr std::array<std::string_view, 6> kTypesWithLength = {"char",     "varchar", "nchar",
                                                              "nvarchar", "binary",  "varbinary"};
constexpr std::array<std::string_view, 2> kTypesWithPrecision = {"decimal", "numeric"};
constexpr std::array<std::string_view, 3> kTypesWithFraction = {"time", "datetime2",
                                                                "datetimeoffset"};
// Row versions cannot be inserted; a copy stores their eight bytes.
constexpr std::array<std::string_view, 2> kRowVersions = {"timestamp", "rowversion"};

// In brackets a name may be a keyword and contain any character.
std::string Bracketed(std::string_view name) {
    return Quoted(name, '[', ']');
}

constexpr std::array<std::string_view, 34> kSystemTypes = {
    "bigint",        "binary",         "bit",
    "char",          "date",           "datetime",
    "datetime2",     "datetimeoffset", "decimal",
    "float",         "image",          "int",
    "money",         "nchar",          "ntext",
    "numeric",       "nvarchar",       "real",
    "smalldatetime", "smallint",       "smallmoney",
    "sql_variant",   "text",           "time",
    "timestamp",     "tinyint",        "uniqueidentifier",
    "varbinary",     "varchar",        "xml",
    "hierarchyid",   "geometry",       "geography",
    "sysname"};

// Whether the expression refers to a sequence, function or type of the warehouse, which the archive
// does not have. The server stores such names in brackets, like those of system types. Skips
// literals.
bool NamesObject(std::string_view expression) {
    constexpr std::array<std::string_view, 3> kNextValue = {"next", "value", "for"};
    std::size_t nextValue = 0;  // how many of these words precede
    bool afterType = false;
    Lexer lexer(expression);
    for (Lexeme lexeme; lexer.Next(lexeme);) {
        if (afterType && lexeme.Is(".")) {
            return true;
        }
        nextValue = lexeme.Is(kNextValue[nextValue]) ? nextValue + 1 : 0;
        afterType = lexeme.Text.starts_with('[');
        if (nextValue == kNextValue.size() ||
            (afterType && !Holds(kSystemTypes, ToLower(Unquoted(lexeme.Text))))) {
            return true;
        }
    }
    return false;
}

std::string ColumnText(const ColumnDefinition& column) {
    std::string text = Bracketed(column.Name) + " " + TypeText(column);
    if (!column.Collation.empty()) {
        text += " COLLATE " + column.Collation;
    }
    text += column.Nullable ? " NULL" : " NOT NULL";
    if (!column.Default.empty() && !Holds(kRowVersions, column.TypeName) &&
        !NamesObject(column.Default)) {
        text += " DEFAULT " + column.Default;
    }
    return text;
}

}  // namespace

std::string TypeText(const ColumnDefinition& column) {
    const std::string& name = column.TypeName;
    if (Holds(kRowVersions, name)) {
        return "binary(8)";
    }
    if (Holds(kTypesWithLength, name) && column.Length != 0) {
        return name + "(" + (column.Length < 0 ? "max" : std::to_string(column.Length)) + ")";
    }
    if (Holds(kTypesWithPrecision, name) && column.Precision > 0) {
        return name + "(" + std::to_string(column.Precision) + "," + std::to_string(column.Scale) +
               ")";
    }
    if (Holds(kTypesWithFraction, name)) {
        return name + "(" + std::to_string(column.Precision) + ")";
    }
    return name;
}

std::string CreateTableScript(const TableDefinition& table) {
    if (table.Columns.empty()) {
        throw DatabaseError({"The table " + table.Name + " has no columns to copy."});
    }
    std::vector<std::string> lines;
    for (const ColumnDefinition& column : table.Columns) {
        lines.push_back("\t" + ColumnText(column));
    }
    if (table.PrimaryKey) {
        std::vector<std::string> columns;
        for (const std::string& column : table.PrimaryKey->Columns) {
            columns.push_back(Bracketed(column));
        }
        lines.push_back("\tCONSTRAINT " + Bracketed(table.PrimaryKey->Name) +
                        " PRIMARY KEY CLUSTERED (" + Join(columns, ", ") + ")");
    }
    return "CREATE TABLE " + table.Name + " (\r\n" + Join(lines, ",\r\n") + "\r\n)";
}

}  // namespace morvane
